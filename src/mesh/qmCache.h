#pragma once

#include "mesh/QmCol.h"
#include "shell/QmExport.h"

class QmPstMesh;
class qmCacheNode;

// The spatial cache of one mesh: up to three trees of boxes, over its vertices, its edges
// and its faces. Made by QmPstMesh::GetCache on first use and destroyed by every edit of
// the mesh. A tree is built on first demand as a single node over all the elements of its
// type, and subdivided only where queries descend (see qmCacheNode); QmCacheMgr may evict
// it between queries, after which it is rebuilt from scratch.
//
// The slots are public, for tests and memory reports; they are null until asked for and after
// eviction.
class QM_API qmCache
{
public:
    // The cache walks its mesh and never edits it.
    QmPstMesh const* mesh;
    qmCacheNode* vertexTree = nullptr;
    qmCacheNode* edgeTree = nullptr;
    qmCacheNode* faceTree = nullptr;

    explicit qmCache(QmPstMesh const* owner) : mesh(owner) {}
    // Takes each tree (vertex, edge, face) off the MRU list and destroys it, whoever
    // holds it: the mesh must not change while a query runs.
    ~qmCache();
    qmCache(qmCache const&) = delete;
    qmCache& operator=(qmCache const&) = delete;

    QmPstMesh const* GetMesh() const { return mesh; }

    // 1, 2 or 4 (QmPstMesh::TypeEle): the tree of vertices, edges or faces. Anything else,
    // a combination of bits included, gives null.
    qmCacheNode* GetTree(int type);
    // The root with one reference taken for the caller, who pays it with one Release.
    // null, with the slot and the MRU list untouched, when the mesh has no element of the
    // type.
    //
    // Asking for the tree makes it the most recently used, which may evict idle trees
    // over the limit in force, and the reference is taken only after that. So when every
    // other tree on the MRU list is held, the asked-for tree is itself the idle one that
    // goes: the result is then null (not a pointer to freed memory) and the slot is null.
    // Callers keep the number of trees they hold at once below the tree limit.
    qmCacheNode* GetVertexTree();
    qmCacheNode* GetEdgeTree();
    qmCacheNode* GetFaceTree();

    // If root is the face, the edge or the vertex tree of this cache (tested in that
    // order) and nobody holds it: takes it off the MRU list, destroys it, empties the slot
    // and returns true. false for a held tree or a root that is not one of these.
    bool DropTreeIfIdle(qmCacheNode* root);

private:
    // Off the MRU list, destroyed, slot emptied; nothing for an empty slot.
    static void destroyTree(qmCacheNode*& slot);
    template <typename T> qmCacheNode* getTree(qmCacheNode*& slot, QmCol<T> const& col);
};
