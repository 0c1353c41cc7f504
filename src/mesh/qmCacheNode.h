#pragma once

#include "kernel/ZgBBox3.h"
#include "mesh/QmCacheMgr.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

#include <cassert>
#include <cstddef>
#include <cstdint>

class qmEleArray;

// A node of a cache tree: a box over some elements of one type of one mesh.
//
// At rest a node has one of three shapes:
// - leaf: ele set; left, right, eles null;
// - unsplit: eles holds two or more elements; ele, left, right null;
// - split: left and right set; ele, eles null.
// Every element of the tree lies under exactly one leaf or unsplit node. box is the tight
// box of the vertices of the node's elements, with no margin.
//
// A query holds what it descends: GetTree gives the root with one reference, GetLeft and
// GetRight each give a child with one more, and every one is paid back with Release.
// Opening an unsplit node splits it; releasing the last reference of a split node at or
// past the level limit collapses it back (see QmCacheMgr).
//
// Fields are public, for tests and memory reports; only the cache writes them.
class QM_API qmCacheNode
{
public:
    std::int32_t refCount = 0;
    // 0 at the root; a child is its parent's level + 1.
    std::int32_t level = 0;
    ZgBBox3 box;
    QmPstMesh::ele* ele = nullptr;
    qmCacheNode* left = nullptr;
    qmCacheNode* right = nullptr;
    qmEleArray* eles = nullptr;
    // The mesh of the node's elements; eviction goes from a root back to its cache by it.
    QmPstMesh* mesh = nullptr;

    // Each charges or refunds 80 bytes to QmCacheMgr::dwRamAlloc. Destroying a node
    // destroys its subtree and its array, never the elements.
    qmCacheNode();
    ~qmCacheNode();
    qmCacheNode(qmCacheNode const&) = delete;
    qmCacheNode& operator=(qmCacheNode const&) = delete;

    // Nodes come from a pool of the library: a tree of a million nodes is built and torn
    // down often, and pooled nodes made together sit together in memory.
    static void* operator new(std::size_t size);
    static void operator delete(void* p, std::size_t size) noexcept;

    void AddRef() { ++refCount; }
    // Drops one reference. The last one, on a split node at or past the level limit in
    // force, collapses the node: its subtree is destroyed and its elements gathered again.
    void Release()
    {
        assert(refCount > 0);
        if (--refCount == 0 && left != nullptr && right != nullptr &&
            level >= QmCacheMgr::getNbMaxLevel())
            Collapse();
    }

    bool IsLeaf() const { return left == nullptr && right == nullptr && eles == nullptr; }
    ZgBBox3 const& GetBox() const { return box; }

    // The child with one reference taken for the caller; an unsplit node is split first.
    // Not to be called on a leaf.
    qmCacheNode* GetLeft()
    {
        if (left == nullptr)
            Split();
        left->AddRef();
        return left;
    }
    qmCacheNode* GetRight()
    {
        if (right == nullptr)
            Split();
        right->AddRef();
        return right;
    }

    // The element of a leaf, null otherwise; the typed forms assume the tree's type.
    QmPstMesh::ele* GetEle() const { return ele; }
    QmPstMesh::vertex* GetVertex() const { return static_cast<QmPstMesh::vertex*>(ele); }
    QmPstMesh::edge* GetEdge() const { return static_cast<QmPstMesh::edge*>(ele); }
    QmPstMesh::face* GetFace() const { return static_cast<QmPstMesh::face*>(ele); }

    // Takes the array, which holds one or more elements of one type: stores level and the
    // box, takes mesh from the first element, and becomes a leaf (the array destroyed)
    // or an unsplit node (the array kept).
    void Build(qmEleArray* array, int lvl);
    // The tight box of the vertices of the array's elements; the type of the first
    // element stands for all. Empty(3) for an empty array.
    static ZgBBox3 ComputeBox(qmEleArray const* array);
    // Unsplit to split: the elements are dealt to two new children one level down.
    void Split();
    // Deals the elements of eles to the two empty arrays, keeping their order:
    // - two elements: the first left, the second right;
    // - otherwise on the longest side of the box (ties to X, then Y, then Z), an element
    //   goes right when the cut (the middle of the box) is at or below its representative
    //   point: the centroid of a face or an edge, the vertex itself;
    // - if that leaves a side empty, the first n / 2 go left and the rest right.
    // Both sides are never empty.
    void Partition(qmEleArray* leftArray, qmEleArray* rightArray);
    // Split to unsplit: eles takes the elements of the subtree in the order of a walk, left
    // before right, and the subtree is destroyed. box, level and mesh stay.
    void Collapse();
    // The number of elements under the node, appended to array in walk order unless array
    // is null.
    long Collect(qmEleArray* array) const;
    // Collapses the idle split nodes at the level limit; below it descends through split
    // nodes, referenced or not. A referenced node at or past the limit keeps its subtree.
    void Trim();
};
