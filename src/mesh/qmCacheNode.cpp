#include "mesh/qmCacheNode.h"

#include "mesh/qmEleArray.h"

#include <cstring>
#include <new>
#include <vector>

// Trees can be as deep as they have elements (a fan of collinear edges sharing an end peels
// one edge per level), so nothing here recurses: walks keep their own stack, and a
// subtree is destroyed by rotations that need none.

#if defined(__SANITIZE_ADDRESS__)
#define QM_NODE_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QM_NODE_POOL 0
#endif
#endif
#ifndef QM_NODE_POOL
#define QM_NODE_POOL 1
#endif

namespace
{
#if QM_NODE_POOL
// A pool of node slots. Fresh slots are carved in address order from chunks that double
// from 256 to 65536 slots, so the two children made by a split are neighbours; freed slots
// go on a free list and are taken first. When the last node of the process goes, every
// chunk is returned: the pool holds, at most, the high-water mark of live nodes.
// Under AddressSanitizer the pool steps aside so that every stale node access is caught.
struct FreeSlot
{
    FreeSlot* next;
};

const std::size_t slotSize = (sizeof(qmCacheNode) + 15) / 16 * 16;
const std::size_t chunkHeader = 64;
const std::size_t chunkSlotsFirst = 256;
const std::size_t chunkSlotsMax = 65536;

void* chunkList = nullptr;
FreeSlot* freeSlots = nullptr;
char* carveAt = nullptr;
char* carveEnd = nullptr;
std::size_t chunkSlotsNext = chunkSlotsFirst;
long liveNodes = 0;

void* PoolTake()
{
    ++liveNodes;
    if (freeSlots != nullptr)
    {
        FreeSlot* s = freeSlots;
        freeSlots = s->next;
        return s;
    }
    if (carveAt == carveEnd)
    {
        const std::size_t bytes = chunkHeader + chunkSlotsNext * slotSize;
        void* chunk = ::operator new (bytes, std::align_val_t{64});
        *static_cast<void**>(chunk) = chunkList;
        chunkList = chunk;
        carveAt = static_cast<char*>(chunk) + chunkHeader;
        carveEnd = carveAt + chunkSlotsNext * slotSize;
        if (chunkSlotsNext < chunkSlotsMax)
            chunkSlotsNext *= 2;
    }
    void* s = carveAt;
    carveAt += slotSize;
    return s;
}

void PoolGive(void* p)
{
    auto* s = static_cast<FreeSlot*>(p);
    s->next = freeSlots;
    freeSlots = s;
    if (--liveNodes > 0)
        return;
    while (chunkList != nullptr)
    {
        void* older = *static_cast<void**>(chunkList);
        ::operator delete (chunkList, std::align_val_t{64});
        chunkList = older;
    }
    freeSlots = nullptr;
    carveAt = nullptr;
    carveEnd = nullptr;
    chunkSlotsNext = chunkSlotsFirst;
}
#endif

// Destroys a subtree without a stack: a node with a left child is rotated right until it
// has none, then it goes and its right child is next. Every node is deleted childless.
void DestroySubtree(qmCacheNode* n)
{
    while (n != nullptr)
    {
        if (n->left != nullptr)
        {
            qmCacheNode* l = n->left;
            n->left = l->right;
            l->right = n;
            n = l;
        }
        else
        {
            qmCacheNode* r = n->right;
            n->right = nullptr;
            delete n;
            n = r;
        }
    }
}

// The coordinate on axis of an element's representative point: the centroid for a face
// or an edge (the plain sum divided by the count), the vertex itself otherwise.
double RepresentativeCoo(QmPstMesh::ele* e, int axis)
{
    switch (e->GetType())
    {
    case QmPstMesh::typeFace:
    {
        const auto* f = static_cast<QmPstMesh::face*>(e);
        return (f->v[0]->coo[axis] + f->v[1]->coo[axis] + f->v[2]->coo[axis]) / 3.0;
    }
    case QmPstMesh::typeEdge:
    {
        const auto* ed = static_cast<QmPstMesh::edge*>(e);
        return (ed->v[0]->coo[axis] + ed->v[1]->coo[axis]) / 2.0;
    }
    default:
        return static_cast<QmPstMesh::vertex*>(e)->coo[axis];
    }
}

void AddCoo(ZgBBox3& box, double const* coo) { box.Add(ZgVector3(coo[0], coo[1], coo[2])); }
} // namespace

void* qmCacheNode::operator new(std::size_t size)
{
#if QM_NODE_POOL
    if (size == sizeof(qmCacheNode))
        return PoolTake();
#endif
    return ::operator new(size);
}

void qmCacheNode::operator delete(void* p, std::size_t size) noexcept
{
    if (p == nullptr)
        return;
#if QM_NODE_POOL
    if (size == sizeof(qmCacheNode))
    {
        PoolGive(p);
        return;
    }
#else
    (void)size;
#endif
    ::operator delete(p);
}

qmCacheNode::qmCacheNode() { QmCacheMgr::nodeAlloc(80); }

qmCacheNode::~qmCacheNode()
{
    QmCacheMgr::nodeFree(80);
    DestroySubtree(left);
    DestroySubtree(right);
    delete eles;
}

void qmCacheNode::Build(qmEleArray* array, int lvl)
{
    assert(array != nullptr);
    level = lvl;
    box = ComputeBox(array);
    mesh = array->count > 0 ? array->data[0]->mesh : nullptr;
    if (array->count == 1)
    {
        ele = array->data[0];
        delete array;
    }
    else
        eles = array;
}

ZgBBox3 qmCacheNode::ComputeBox(qmEleArray const* array)
{
    ZgBBox3 b = ZgBBox3::Empty(3);
    const std::uint32_t n = array->count;
    if (n == 0)
        return b;
    QmPstMesh::ele* const* e = array->data;
    switch (e[0]->GetType())
    {
    case QmPstMesh::typeFace:
        for (std::uint32_t i = 0; i < n; ++i)
        {
            const auto* f = static_cast<QmPstMesh::face*>(e[i]);
            AddCoo(b, f->v[0]->coo);
            AddCoo(b, f->v[1]->coo);
            AddCoo(b, f->v[2]->coo);
        }
        break;
    case QmPstMesh::typeEdge:
        for (std::uint32_t i = 0; i < n; ++i)
        {
            const auto* ed = static_cast<QmPstMesh::edge*>(e[i]);
            AddCoo(b, ed->v[0]->coo);
            AddCoo(b, ed->v[1]->coo);
        }
        break;
    default:
        for (std::uint32_t i = 0; i < n; ++i)
            AddCoo(b, static_cast<QmPstMesh::vertex*>(e[i])->coo);
        break;
    }
    return b;
}

void qmCacheNode::Split()
{
    assert(eles != nullptr && eles->count >= 2 && left == nullptr && right == nullptr);
    auto* l = new qmCacheNode;
    auto* r = new qmCacheNode;
    auto* leftArray = new qmEleArray(0);
    auto* rightArray = new qmEleArray(0);
    Partition(leftArray, rightArray);
    l->Build(leftArray, level + 1);
    r->Build(rightArray, level + 1);
    left = l;
    right = r;
    delete eles;
    eles = nullptr;
}

void qmCacheNode::Partition(qmEleArray* leftArray, qmEleArray* rightArray)
{
    const std::uint32_t n = eles->count;
    QmPstMesh::ele* const* e = eles->data;
    if (n == 2)
    {
        leftArray->SetCapacity(1);
        rightArray->SetCapacity(1);
        leftArray->Push(e[0]);
        rightArray->Push(e[1]);
        return;
    }

    const double dx = box.max.x - box.min.x;
    const double dy = box.max.y - box.min.y;
    const double dz = box.max.z - box.min.z;
    int axis = 2;
    if (!(dx < dy) && !(dx < dz))
        axis = 0;
    else if (!(dy < dx) && !(dy < dz))
        axis = 1;
    // The middle of the box, not a median: nothing is sorted or stored per element.
    const double cut = (box.max[axis] + box.min[axis]) / 2.0;

    leftArray->SetCapacity(n);
    rightArray->SetCapacity(n);
    // Both arrays hold n slots, so the pushes below never grow them: store directly.
    QmPstMesh::ele** toLeft = leftArray->data;
    QmPstMesh::ele** toRight = rightArray->data;
    std::uint32_t nbLeft = 0;
    std::uint32_t nbRight = 0;
    for (std::uint32_t i = 0; i < n; ++i)
    {
        if (cut <= RepresentativeCoo(e[i], axis))
            toRight[nbRight++] = e[i];
        else
            toLeft[nbLeft++] = e[i];
    }
    leftArray->count = nbLeft;
    rightArray->count = nbRight;
    if (nbLeft != 0 && nbRight != 0)
        return;

    // No spatial cut separates them (coincident points, a NaN): halve in array order so
    // that every split makes progress.
    leftArray->count = 0;
    rightArray->count = 0;
    leftArray->SetCapacity(n / 2);
    rightArray->SetCapacity(n - n / 2);
    for (std::uint32_t i = 0; i < n / 2; ++i)
        leftArray->Push(e[i]);
    for (std::uint32_t i = n / 2; i < n; ++i)
        rightArray->Push(e[i]);
}

void qmCacheNode::Collapse()
{
    assert(left != nullptr && right != nullptr);
    const long n = Collect(nullptr);
    auto* array = new qmEleArray(static_cast<std::uint32_t>(n));
    Collect(array);
    DestroySubtree(left);
    DestroySubtree(right);
    left = nullptr;
    right = nullptr;
    eles = array;
}

long qmCacheNode::Collect(qmEleArray* array) const
{
    long n = 0;
    std::vector<qmCacheNode const*> pending;
    pending.reserve(64);
    pending.push_back(this);
    while (!pending.empty())
    {
        qmCacheNode const* node = pending.back();
        pending.pop_back();
        if (node->left != nullptr && node->right != nullptr)
        {
            // Right below left, so left is walked first.
            pending.push_back(node->right);
            pending.push_back(node->left);
        }
        else if (node->eles != nullptr)
        {
            const std::uint32_t m = node->eles->count;
            n += m;
            if (array != nullptr && m > 0)
            {
                const std::uint32_t at = array->count;
                array->Resize(at + m);
                std::memcpy(array->data + at, node->eles->data, m * sizeof(QmPstMesh::ele*));
            }
        }
        else if (node->ele != nullptr)
        {
            ++n;
            if (array != nullptr)
                array->Push(node->ele);
        }
    }
    return n;
}

void qmCacheNode::Trim()
{
    const int maxLevel = QmCacheMgr::getNbMaxLevel();
    std::vector<qmCacheNode*> pending;
    pending.push_back(this);
    while (!pending.empty())
    {
        qmCacheNode* node = pending.back();
        pending.pop_back();
        if (node->left == nullptr || node->right == nullptr)
            continue;
        if (node->refCount == 0 && node->level >= maxLevel)
            node->Collapse();
        else if (node->level < maxLevel)
        {
            pending.push_back(node->right);
            pending.push_back(node->left);
        }
    }
}
