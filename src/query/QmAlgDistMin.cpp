#include "query/QmAlgDistMin.h"

#include "kernel/ZgBBox3.h"
#include "kernel/ZgDist.h"
#include "mesh/qmCache.h"
#include "mesh/qmCacheNode.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdlib>
#include <vector>

// The descents keep their own stack instead of recursing: a tree may be as deep as it has
// elements on degenerate input. A frame holds a node (or pair of nodes) whose two children
// are taken; it visits the nearer child, then the other if its box still passes the best
// distance read afresh, and releases both children only after both visits.
//
// A tree holds one element type, and the mask bit being searched names it, so the element
// tests are chosen once per tree by template instead of asking each element.

namespace
{
using Sol = QmAlgDistMin::Sol;

// The state of one search. The query shape is q[0] for a point, q[0] q[1] for a segment,
// q[0] q[1] q[2] for a triangle; a mesh-against-mesh search loads the current element of A
// into it at each pair of leaves.
struct Context
{
    Sol* sol;
    QmAlgDistMin::CbFiltre cbFiltre;
    void* cbFiltreData;
    QmAlgDistMin::CbFiltreAB cbFiltreAB;
    void* cbFiltreABData;
    QmPstMesh* meshA;
    int typeA;
    QmPstMesh* meshB;
    int typeB;
    ZgVector3 q[3];
    ZgBBox3 qBox;
};

const int typeOrder[3] = {QmPstMesh::typeVertex, QmPstMesh::typeEdge, QmPstMesh::typeFace};

// A stack that lives in its own storage up to a typical tree depth and on the heap past it.
template <typename T> class FrameStack
{
public:
    FrameStack() = default;
    FrameStack(FrameStack const&) = delete;
    FrameStack& operator=(FrameStack const&) = delete;

    bool Empty() const { return size == 0; }
    // Valid until the next Push.
    T& Top() { return data[size - 1]; }
    void Pop() { --size; }
    void Push(T const& f)
    {
        if (size == capacity)
        {
            std::vector<T> bigger(capacity * 2);
            std::copy(data, data + size, bigger.begin());
            heap.swap(bigger);
            data = heap.data();
            capacity *= 2;
        }
        data[size++] = f;
    }

private:
    static const std::size_t inlineSize = 64;
    T local[inlineSize];
    std::vector<T> heap;
    T* data = local;
    std::size_t capacity = inlineSize;
    std::size_t size = 0;
};

ZgVector3 Coo(QmPstMesh::vertex const* v) { return {v->coo[0], v->coo[1], v->coo[2]}; }

// The corners of an element of type T, in the element's own order.
template <int T> void LoadCorners(QmPstMesh::ele* e, ZgVector3* p)
{
    if constexpr (T == QmPstMesh::typeVertex)
        p[0] = Coo(static_cast<QmPstMesh::vertex*>(e));
    else if constexpr (T == QmPstMesh::typeEdge)
    {
        auto* ed = static_cast<QmPstMesh::edge*>(e);
        p[0] = Coo(ed->v[0]);
        p[1] = Coo(ed->v[1]);
    }
    else
    {
        auto* f = static_cast<QmPstMesh::face*>(e);
        p[0] = Coo(f->v[0]);
        p[1] = Coo(f->v[1]);
        p[2] = Coo(f->v[2]);
    }
}

// The kernel for a query shape Q against an element shape T (both TypeEle values: 1 a
// point, 2 a segment, 4 a triangle). The smaller shape goes first; onQ always receives the
// witness on the query and onE the one on the element.
template <int Q, int T>
void Kernel(ZgVector3 const* q, ZgVector3 const* e, double& d, ZgVector3& onQ, ZgVector3& onE)
{
    constexpr int vertex = QmPstMesh::typeVertex;
    constexpr int edge = QmPstMesh::typeEdge;
    if constexpr (Q == vertex && T == vertex)
        ZgDist2MinPtPt(q[0], e[0], d, &onQ, &onE);
    else if constexpr (Q == vertex && T == edge)
        ZgDist2MinPtSeg(q[0], e[0], e[1], d, &onQ, &onE);
    else if constexpr (Q == vertex)
        ZgDist2MinPtTri(q[0], e[0], e[1], e[2], d, &onQ, &onE);
    else if constexpr (Q == edge && T == vertex)
        ZgDist2MinPtSeg(e[0], q[0], q[1], d, &onE, &onQ);
    else if constexpr (Q == edge && T == edge)
        ZgDist2MinSegSeg(q[0], q[1], e[0], e[1], d, &onQ, &onE);
    else if constexpr (Q == edge)
        ZgDist2MinSegTri(q[0], q[1], e[0], e[1], e[2], d, &onQ, &onE);
    else if constexpr (T == vertex)
        ZgDist2MinPtTri(e[0], q[0], q[1], q[2], d, &onE, &onQ);
    else if constexpr (T == edge)
        ZgDist2MinSegTri(e[0], e[1], q[0], q[1], q[2], d, &onE, &onQ);
    else
        ZgDist2MinTriTri(q[0], q[1], q[2], e[0], e[1], e[2], d, &onQ, &onE);
}

// The element test: a candidate at the best distance also replaces it, so of equal
// candidates the last tested stands. true on an improvement.
template <int Q, int T> bool TestElement(Context& c, QmPstMesh::ele* e)
{
    ZgVector3 corners[3];
    LoadCorners<T>(e, corners);
    double d = 0.0;
    ZgVector3 onQ;
    ZgVector3 onE;
    Kernel<Q, T>(c.q, corners, d, onQ, onE);
    Sol& sol = *c.sol;
    if (!(d <= sol.dist2))
        return false;
    sol.found = true;
    sol.dist2 = d;
    sol.ptA = onQ;
    sol.ptB = onE;
    sol.eleB = e;
    sol.typeB = static_cast<unsigned char>(T);
    return true;
}

// Squared distance from the fixed query to a box: a point's own, or its box's for a
// segment or a triangle.
template <int Q> double QueryBoxDist2(Context const& c, ZgBBox3 const& box)
{
    double d = 0.0;
    if constexpr (Q == QmPstMesh::typeVertex)
        ZgDist2MinPtBox(c.q[0], box, d);
    else
        ZgDist2MinBoxBox(box, c.qBox, d);
    return d;
}

template <int Q, int T> void VisitLeaf(Context& c, qmCacheNode* leaf)
{
    QmPstMesh::ele* e = leaf->GetEle();
    if (c.cbFiltre != nullptr && !c.cbFiltre(c.cbFiltreData, c.meshB, e))
        return;
    TestElement<Q, T>(c, e);
}

// The visit of a split node's two children, in three steps across the loop of a descent:
// open (take both, enter the nearer), resume (enter the other if it still can hold the
// best), close (release both). Nearer first, right on a tie; a box at exactly the best is
// still entered, because a candidate equal to the best replaces it.
struct ChildVisit
{
    qmCacheNode* left = nullptr;
    qmCacheNode* right = nullptr;
    qmCacheNode* second = nullptr;
    double dSecond = 0.0;
    int stage = 0;

    qmCacheNode* Open(double dL, double dR, double best)
    {
        const bool rightFirst = dR <= dL;
        second = rightFirst ? left : right;
        dSecond = rightFirst ? dL : dR;
        stage = 1;
        return (rightFirst ? dR : dL) <= best ? (rightFirst ? right : left) : nullptr;
    }

    qmCacheNode* Resume(double best)
    {
        stage = 2;
        return dSecond <= best ? second : nullptr;
    }

    void Close()
    {
        left->Release();
        right->Release();
    }
};

// One tree against the fixed query shape Q; the tree holds elements of type T.
template <int Q, int T> void DescendTree(Context& c, qmCacheNode* root)
{
    if (root->IsLeaf())
    {
        VisitLeaf<Q, T>(c, root);
        return;
    }
    struct Frame
    {
        qmCacheNode* node;
        ChildVisit v;
    };
    FrameStack<Frame> stack;
    stack.Push({root, {}});
    double const& best = c.sol->dist2;
    while (!stack.Empty())
    {
        Frame& f = stack.Top();
        qmCacheNode* next = nullptr;
        if (f.v.stage == 0)
        {
            f.v.left = f.node->GetLeft();
            f.v.right = f.node->GetRight();
            next = f.v.Open(QueryBoxDist2<Q>(c, f.v.left->GetBox()),
                            QueryBoxDist2<Q>(c, f.v.right->GetBox()), best);
        }
        else if (f.v.stage == 1)
            next = f.v.Resume(best);
        else
        {
            f.v.Close();
            stack.Pop();
            continue;
        }
        if (next == nullptr)
            continue;
        if (next->IsLeaf())
            VisitLeaf<Q, T>(c, next);
        else
            stack.Push({next, {}});
    }
}

template <int Q> void DescendTreeOfType(Context& c, qmCacheNode* root, int type)
{
    switch (type)
    {
    case QmPstMesh::typeVertex:
        DescendTree<Q, QmPstMesh::typeVertex>(c, root);
        break;
    case QmPstMesh::typeEdge:
        DescendTree<Q, QmPstMesh::typeEdge>(c, root);
        break;
    default:
        DescendTree<Q, QmPstMesh::typeFace>(c, root);
        break;
    }
}

// Searches 1 to 3: every type of the mask in order, sharing the best distance.
template <int Q> void SearchFixedShape(Context& c, QmPstMesh& mesh, int mask)
{
    qmCache* cache = mesh.GetCache();
    if (cache != nullptr)
    {
        for (int type : typeOrder)
        {
            if ((mask & type) == 0)
                continue;
            qmCacheNode* root = cache->GetTree(type);
            if (root == nullptr)
                continue;
            DescendTreeOfType<Q>(c, root, type);
            root->Release();
        }
    }
    Sol& sol = *c.sol;
    sol.eleA = sol.eleB;
    sol.typeA = sol.typeB;
}

// The largest extent of a box, 0 for an empty one.
double Size(ZgBBox3 const& b)
{
    double s = 0.0;
    for (int i = 0; i < 3; ++i)
        s = std::max(s, b.max[i] - b.min[i]);
    return s;
}

template <int TA, int TB> void VisitLeafPair(Context& c, qmCacheNode* a, qmCacheNode* b)
{
    QmPstMesh::ele* eA = a->GetEle();
    QmPstMesh::ele* eB = b->GetEle();
    if (c.cbFiltre != nullptr &&
        (!c.cbFiltre(c.cbFiltreData, c.meshA, eA) || !c.cbFiltre(c.cbFiltreData, c.meshB, eB)))
        return;
    if (c.cbFiltreAB != nullptr && !c.cbFiltreAB(c.cbFiltreABData, c.meshA, eA, c.meshB, eB))
        return;
    LoadCorners<TA>(eA, c.q);
    if (TestElement<TA, TB>(c, eB))
    {
        c.sol->eleA = eA;
        c.sol->typeA = static_cast<unsigned char>(TA);
    }
}

// Two trees together: a tree of type TA of mesh A and one of type TB of mesh B. A leaf
// against a node divides the node; two nodes divide the larger box, B on a tie.
template <int TA, int TB> void DescendPair(Context& c, qmCacheNode* rootA, qmCacheNode* rootB)
{
    if (rootA->IsLeaf() && rootB->IsLeaf())
    {
        VisitLeafPair<TA, TB>(c, rootA, rootB);
        return;
    }
    struct Frame
    {
        qmCacheNode* a;
        qmCacheNode* b;
        bool divideA;
        ChildVisit v;
    };
    FrameStack<Frame> stack;
    stack.Push({rootA, rootB, false, {}});
    double const& best = c.sol->dist2;
    while (!stack.Empty())
    {
        Frame& f = stack.Top();
        qmCacheNode* next = nullptr;
        if (f.v.stage == 0)
        {
            if (f.b->IsLeaf())
                f.divideA = true;
            else if (f.a->IsLeaf())
                f.divideA = false;
            else
                f.divideA = Size(f.b->GetBox()) < Size(f.a->GetBox());
            qmCacheNode* divided = f.divideA ? f.a : f.b;
            ZgBBox3 const& other = (f.divideA ? f.b : f.a)->GetBox();
            f.v.left = divided->GetLeft();
            f.v.right = divided->GetRight();
            double dL = 0.0;
            double dR = 0.0;
            ZgDist2MinBoxBox(f.v.left->GetBox(), other, dL);
            ZgDist2MinBoxBox(f.v.right->GetBox(), other, dR);
            next = f.v.Open(dL, dR, best);
        }
        else if (f.v.stage == 1)
            next = f.v.Resume(best);
        else
        {
            f.v.Close();
            stack.Pop();
            continue;
        }
        if (next == nullptr)
            continue;
        qmCacheNode* a = f.divideA ? next : f.a;
        qmCacheNode* b = f.divideA ? f.b : next;
        if (a->IsLeaf() && b->IsLeaf())
            VisitLeafPair<TA, TB>(c, a, b);
        else
            stack.Push({a, b, false, {}});
    }
}

template <int TA> void DescendPairOfTypes(Context& c, qmCacheNode* a, qmCacheNode* b, int typeB)
{
    switch (typeB)
    {
    case QmPstMesh::typeVertex:
        DescendPair<TA, QmPstMesh::typeVertex>(c, a, b);
        break;
    case QmPstMesh::typeEdge:
        DescendPair<TA, QmPstMesh::typeEdge>(c, a, b);
        break;
    default:
        DescendPair<TA, QmPstMesh::typeFace>(c, a, b);
        break;
    }
}

void DescendPairOfTypes(Context& c, qmCacheNode* a, int typeA, qmCacheNode* b, int typeB)
{
    switch (typeA)
    {
    case QmPstMesh::typeVertex:
        DescendPairOfTypes<QmPstMesh::typeVertex>(c, a, b, typeB);
        break;
    case QmPstMesh::typeEdge:
        DescendPairOfTypes<QmPstMesh::typeEdge>(c, a, b, typeB);
        break;
    default:
        DescendPairOfTypes<QmPstMesh::typeFace>(c, a, b, typeB);
        break;
    }
}

qmCacheNode* TakeTree(QmPstMesh& mesh, int type)
{
    qmCache* cache = mesh.GetCache();
    return cache != nullptr ? cache->GetTree(type) : nullptr;
}

// The box of the masked trees of a mesh; each tree is let go at once.
ZgBBox3 MaskedBox(QmPstMesh& mesh, int mask)
{
    ZgBBox3 box = ZgBBox3::Empty(3);
    for (int type : typeOrder)
    {
        if ((mask & type) == 0)
            continue;
        qmCacheNode* root = TakeTree(mesh, type);
        if (root == nullptr)
            continue;
        box.Add(root->GetBox());
        root->Release();
    }
    return box;
}

struct MeshRecord
{
    double dist2;
    QmPstMesh* mesh;
};

// Ascending distance. A NaN (a box of NaN coordinates) sorts after every number, so the
// order stays a total one, which the sort relies on.
int CompareRecords(void const* x, void const* y)
{
    const double a = static_cast<MeshRecord const*>(x)->dist2;
    const double b = static_cast<MeshRecord const*>(y)->dist2;
    if (a < b)
        return -1;
    if (a > b)
        return 1;
    const bool nanA = std::isnan(a);
    const bool nanB = std::isnan(b);
    if (nanA != nanB)
        return nanA ? 1 : -1;
    return 0;
}

// A bound of exactly 0.0 is the absence of a bound, never a distance of zero.
bool IsNoBound(double bound) { return bound == 0.0; }

double StartDist2(double bound) { return IsNoBound(bound) ? ZgGetInfini() : bound; }

// The common start of searches 1 to 4: the answer reset to the bound, the context filled.
Context Start(Sol& sol, QmAlgDistMin::CbFiltre cb, void* cbData, QmAlgDistMin::CbFiltreAB cbAB,
              void* cbABData, QmPstMesh* meshA, int typeA, QmPstMesh* meshB, int typeB,
              double bound)
{
    sol.meshA = meshA;
    sol.meshB = meshB;
    sol.dist2 = StartDist2(bound);
    sol.found = false;
    return Context{&sol, cb, cbData, cbAB, cbABData, meshA, typeA, meshB, typeB, {}, {}};
}
} // namespace

void QmAlgDistMin::SetCbFiltre(CbFiltre cb, void* user)
{
    cbFiltre = cb;
    cbFiltreData = user;
}

void QmAlgDistMin::SetCbFiltreAB(CbFiltreAB cb, void* user)
{
    cbFiltreAB = cb;
    cbFiltreABData = user;
}

void QmAlgDistMin::DistMin(ZgVector3 const& point, QmPstMesh& mesh, QmPstMesh::TypeEle type,
                           Sol& sol, double bound)
{
    Context c = Start(sol, cbFiltre, cbFiltreData, cbFiltreAB, cbFiltreABData, &mesh, type, &mesh,
                      type, bound);
    c.q[0] = point;
    SearchFixedShape<QmPstMesh::typeVertex>(c, mesh, type);
}

void QmAlgDistMin::DistMin(ZgVector3 const& p0, ZgVector3 const& p1, QmPstMesh& mesh,
                           QmPstMesh::TypeEle type, Sol& sol, double bound)
{
    Context c = Start(sol, cbFiltre, cbFiltreData, cbFiltreAB, cbFiltreABData, &mesh, type, &mesh,
                      type, bound);
    c.q[0] = p0;
    c.q[1] = p1;
    c.qBox = ZgBBox3::Empty(3);
    c.qBox.Add(p0);
    c.qBox.Add(p1);
    SearchFixedShape<QmPstMesh::typeEdge>(c, mesh, type);
}

void QmAlgDistMin::DistMin(ZgVector3 const& p0, ZgVector3 const& p1, ZgVector3 const& p2,
                           QmPstMesh& mesh, QmPstMesh::TypeEle type, Sol& sol, double bound)
{
    Context c = Start(sol, cbFiltre, cbFiltreData, cbFiltreAB, cbFiltreABData, &mesh, type, &mesh,
                      type, bound);
    c.q[0] = p0;
    c.q[1] = p1;
    c.q[2] = p2;
    c.qBox = ZgBBox3::Empty(3);
    c.qBox.Add(p0);
    c.qBox.Add(p1);
    c.qBox.Add(p2);
    SearchFixedShape<QmPstMesh::typeFace>(c, mesh, type);
}

void QmAlgDistMin::DistMin(QmPstMesh& meshA, QmPstMesh::TypeEle typeA, QmPstMesh& meshB,
                           QmPstMesh::TypeEle typeB, Sol& sol, double bound)
{
    Context c = Start(sol, cbFiltre, cbFiltreData, cbFiltreAB, cbFiltreABData, &meshA, typeA,
                      &meshB, typeB, bound);
    for (int tA : typeOrder)
    {
        if ((typeA & tA) == 0)
            continue;
        for (int tB : typeOrder)
        {
            if ((typeB & tB) == 0)
                continue;
            qmCacheNode* rootA = TakeTree(meshA, tA);
            qmCacheNode* rootB = TakeTree(meshB, tB);
            if (rootA != nullptr && rootB != nullptr)
                DescendPairOfTypes(c, rootA, tA, rootB, tB);
            if (rootA != nullptr)
                rootA->Release();
            if (rootB != nullptr)
                rootB->Release();
        }
    }
}

void QmAlgDistMin::DistMin(QmPstMesh& meshA, QmPstMesh::TypeEle typeA, int nbMesh,
                           QmPstMesh** const meshes, QmPstMesh::TypeEle typeB, Sol& sol,
                           double bound)
{
    const ZgBBox3 boxA = MaskedBox(meshA, typeA);
    std::vector<MeshRecord> records(nbMesh > 0 ? static_cast<std::size_t>(nbMesh) : 0);
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        assert(meshes != nullptr && meshes[i] != nullptr);
        records[i].mesh = meshes[i];
        ZgDist2MinBoxBox(boxA, MaskedBox(*meshes[i], typeB), records[i].dist2);
    }
    if (!records.empty())
        std::qsort(records.data(), records.size(), sizeof(MeshRecord), CompareRecords);

    sol.dist2 = StartDist2(bound);
    sol.found = false;
    Sol local;
    for (MeshRecord const& r : records)
    {
        // The margin is dZgZero, a length, taken from a squared distance. It only decides
        // where the run stops, and callers rely on exactly this rule, so it stays as it is.
        if (!IsNoBound(bound) && !(r.dist2 - dZgZero <= bound))
            break;
        DistMin(meshA, typeA, *r.mesh, typeB, local, bound);
        if (!local.found)
            continue;
        bound = local.dist2;
        sol = local;
        // Nothing beats an exact contact; and a bound of 0.0 would read as none.
        if (local.dist2 == 0.0)
            break;
    }
}
