#include "mesh/qmCache.h"

#include "mesh/QmCacheMgr.h"
#include "mesh/QmPstMesh.h"
#include "mesh/qmCacheNode.h"
#include "mesh/qmEleArray.h"

void qmCache::destroyTree(qmCacheNode*& slot)
{
    if (slot == nullptr)
        return;
    QmCacheMgr::removeCache(slot);
    delete slot;
    slot = nullptr;
}

template <typename T> qmCacheNode* qmCache::getTree(qmCacheNode*& slot, QmCol<T> const& col)
{
    const int n = col.GetCount();
    if (n == 0)
        return nullptr;
    if (slot == nullptr)
    {
        // The order of the mesh's walk, newest element first.
        auto* array = new qmEleArray(static_cast<std::uint32_t>(n));
        for (typename QmCol<T>::Iter it = col.Begin(); !it.IsEnd(); it.Next())
            array->Push(it.Get());
        slot = new qmCacheNode;
        slot->Build(array, 0);
    }
    qmCacheNode* root = slot;
    QmCacheMgr::setCacheMru(root);
    // The eviction that setCacheMru may run can take this very tree while it is still
    // idle; the slot tells, since nothing but a drop empties it here.
    if (slot == nullptr)
        return nullptr;
    root->AddRef();
    return root;
}

qmCache::~qmCache()
{
    destroyTree(vertexTree);
    destroyTree(edgeTree);
    destroyTree(faceTree);
}

qmCacheNode* qmCache::GetTree(int type)
{
    switch (type)
    {
    case QmPstMesh::typeVertex:
        return GetVertexTree();
    case QmPstMesh::typeEdge:
        return GetEdgeTree();
    case QmPstMesh::typeFace:
        return GetFaceTree();
    default:
        return nullptr;
    }
}

qmCacheNode* qmCache::GetVertexTree() { return getTree(vertexTree, mesh->GetColVertex()); }

qmCacheNode* qmCache::GetEdgeTree() { return getTree(edgeTree, mesh->GetColEdge()); }

qmCacheNode* qmCache::GetFaceTree() { return getTree(faceTree, mesh->GetColFace()); }

bool qmCache::DropTreeIfIdle(qmCacheNode* root)
{
    qmCacheNode** slot = nullptr;
    if (root == faceTree)
        slot = &faceTree;
    else if (root == edgeTree)
        slot = &edgeTree;
    else if (root == vertexTree)
        slot = &vertexTree;
    if (slot == nullptr || root == nullptr || root->refCount != 0)
        return false;
    destroyTree(*slot);
    return true;
}
