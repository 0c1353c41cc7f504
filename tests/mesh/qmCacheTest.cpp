#include "mesh/qmCache.h"

#include "mesh/QmCacheMgr.h"
#include "mesh/qmCacheNode.h"
#include "mesh/qmEleArray.h"
#include "support/SoupMesh.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using qmtest::AddE;
using qmtest::AddF;
using qmtest::AddV;
using qmtest::MeshPtr;
using qmtest::NewMesh;
using Ele = QmPstMesh::ele;
using Nodes = std::vector<qmCacheNode*>;

namespace
{
// Every test starts with no tree alive in the process: each test destroys its meshes, and
// a destroyed cache takes its trees off the MRU list.
class Cache : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(QmCacheMgr::GetNbCacheMru(), 0) << "a tree outlived its test";
        ASSERT_EQ(QmCacheMgr::GetActualSize(), 0u);
    }
};

Nodes Mru()
{
    Nodes list;
    for (int i = 0; i < QmCacheMgr::GetNbCacheMru(); ++i)
        list.push_back(QmCacheMgr::GetCacheMru(i));
    return list;
}

std::vector<Ele*> Items(qmCacheNode const* n)
{
    if (n->IsLeaf())
        return {n->GetEle()};
    return n->eles == nullptr ? std::vector<Ele*>()
                              : std::vector<Ele*>(n->eles->data, n->eles->data + n->eles->count);
}

std::vector<Ele*> VertexOrder(QmPstMesh& m)
{
    std::vector<Ele*> out;
    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    return out;
}

MeshPtr Points(int n, ZgVector3 const& at)
{
    MeshPtr m = NewMesh();
    for (int i = 0; i < n; ++i)
        m->AddVertex(at);
    return m;
}

// Opens every node under n, holding the path as a query does; leaf elements are appended
// in walk order.
void SplitAll(qmCacheNode* n, std::vector<Ele*>* leaves = nullptr)
{
    if (n->IsLeaf() && leaves != nullptr)
        leaves->push_back(n->GetEle());
    if (n->IsLeaf())
        return;
    qmCacheNode* l = n->GetLeft();
    qmCacheNode* r = n->GetRight();
    SplitAll(l, leaves);
    SplitAll(r, leaves);
    l->Release();
    r->Release();
}

long CountNodes(qmCacheNode const* n)
{
    return n == nullptr ? 0 : 1 + CountNodes(n->left) + CountNodes(n->right);
}

int MaxLevel(qmCacheNode const* n)
{
    return n->left == nullptr ? n->level : std::max(MaxLevel(n->left), MaxLevel(n->right));
}

double Representative(Ele* e, int axis)
{
    double sum = 0.0;
    const std::vector<ZgVector3> c = qmtest::Corners(e);
    for (ZgVector3 const& p : c)
        sum += p[axis];
    return sum / static_cast<double>(c.size());
}

// Checks an opened tree against the rules, from the elements' own coordinates; returns the
// elements under n.
std::vector<Ele*> CheckSubtree(qmCacheNode const* n, std::string const& where)
{
    if (n->IsLeaf())
        return {n->GetEle()};
    EXPECT_TRUE(n->ele == nullptr && n->eles == nullptr) << where;
    EXPECT_TRUE(n->left->level == n->level + 1 && n->right->level == n->level + 1) << where;
    const std::vector<Ele*> l = CheckSubtree(n->left, where);
    const std::vector<Ele*> r = CheckSubtree(n->right, where);
    std::vector<Ele*> all = l;
    all.insert(all.end(), r.begin(), r.end());
    ZgBBox3 tight = ZgBBox3::Empty(3);
    for (Ele* e : all)
        for (ZgVector3 const& p : qmtest::Corners(e))
            tight.Add(p);
    int axis = 0;
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(n->box.min[i] == tight.min[i] && n->box.max[i] == tight.max[i]) << where;
        if (tight.max[i] - tight.min[i] > tight.max[axis] - tight.min[axis])
            axis = i;
    }
    const double cut = (tight.min[axis] + tight.max[axis]) / 2.0;
    const auto nbRight = std::count_if(all.begin(), all.end(),
                                       [&](Ele* e) { return Representative(e, axis) >= cut; });
    if (all.size() == 2)
        return all;
    if (nbRight == 0 || nbRight == static_cast<long>(all.size()))
        EXPECT_EQ(l.size(), all.size() / 2) << where << ": halving";
    else
        for (Ele* e : all)
        {
            const bool isLeft = std::find(l.begin(), l.end(), e) != l.end();
            EXPECT_EQ(isLeft, Representative(e, axis) < cut) << where;
        }
    return all;
}
} // namespace

TEST(qmEleArray, GrowsByPowersOfTwoFromSixteenAndKeepsSlotsZero)
{
    QmPstMesh::vertex v[3];
    qmEleArray a(20);
    EXPECT_TRUE(a.count == 0 && a.capacity == 32);
    a.SetAt(2, &v[0]);
    EXPECT_TRUE(a.count == 3 && a.data[0] == nullptr);
    EXPECT_EQ(a.Push(&v[1]), 3u);
    a.SetAt(1, &v[2]);
    a.Resize(1);
    a.Resize(2);
    EXPECT_EQ(a.data[1], nullptr) << "a slot regained within the capacity is zeroed";
    a.SetAt(0, &v[1]);
    a.Resize(33);
    EXPECT_TRUE(a.capacity == 64 && a.data[0] == &v[1] && a.data[32] == nullptr);
    a.SetCapacity(5);
    EXPECT_TRUE(a.capacity == 5 && a.count == 5);
    for (int i = 0; i < 3; ++i)
        a.Push(&v[2]);
    EXPECT_TRUE(a.capacity == 16 && a.count == 8 && a.data[7] == &v[2]);
    a.Resize(0);
    EXPECT_TRUE(a.data == nullptr && a.count == 0 && a.capacity == 0);
}

TEST_F(Cache, SmallTreesHaveTheDocumentedShape)
{
    // One element of a type: a leaf at level 0 with the element's box.
    MeshPtr m = NewMesh();
    QmPstMesh::vertex* a = AddV(*m, 1, -2, 3);
    QmPstMesh::vertex* b = AddV(*m, -4, 5, 0.5);
    QmPstMesh::face* f = AddF(*m, a, b, AddV(*m, 2, 0, -1));
    QmPstMesh::edge* e = AddE(*m, a, b);
    for (auto [type, ele, lo, hi] :
         {std::tuple<int, Ele*, ZgVector3, ZgVector3>{2, e, {-4, -2, 0.5}, {1, 5, 3}},
          {4, f, {-4, -2, -1}, {2, 5, 3}}})
    {
        qmCacheNode* root = m->GetCache()->GetTree(type);
        ASSERT_TRUE(root != nullptr && root->IsLeaf());
        EXPECT_TRUE(root->GetEle() == ele && root->level == 0 && root->refCount == 1);
        EXPECT_EQ(root->mesh, m.get());
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(root->box.min[i] == lo[i] && root->box.max[i] == hi[i]) << type;
        root->Release();
        EXPECT_EQ(root->refCount, 0);
    }

    // Two identical faces: one each, the first of the array left.
    AddF(*m, f->v[0], f->v[1], f->v[2]);
    qmCacheNode* root = m->GetCache()->GetFaceTree();
    const std::vector<Ele*> order = Items(root);
    ASSERT_EQ(order.size(), 2u);
    qmCacheNode* l = root->GetLeft();
    qmCacheNode* r = root->GetRight();
    EXPECT_EQ(Items(l), std::vector<Ele*>{order[0]});
    EXPECT_EQ(Items(r), std::vector<Ele*>{order[1]});
    EXPECT_TRUE(l->IsLeaf() && l->level == 1 && root->eles == nullptr);
    l->Release();
    r->Release();
    root->Release();
}

TEST_F(Cache, CoincidentPointsAreHalvedDownToLeaves)
{
    for (int n : {100, 101})
    {
        MeshPtr m = Points(n, ZgVector3(0.25, 0.25, 0.25));
        qmCacheNode* root = m->GetCache()->GetVertexTree();
        const std::vector<Ele*> order = VertexOrder(*m);
        EXPECT_EQ(Items(root), order) << "the root holds the mesh's walk order";
        qmCacheNode* l = root->GetLeft();
        qmCacheNode* r = root->GetRight();
        EXPECT_EQ(Items(l), std::vector<Ele*>(order.begin(), order.begin() + n / 2)) << n;
        EXPECT_EQ(Items(r), std::vector<Ele*>(order.begin() + n / 2, order.end())) << n;
        EXPECT_TRUE(l->eles->capacity == n / 2u && r->eles->capacity == n - n / 2u) << n;
        l->Release();
        r->Release();
        std::vector<Ele*> leaves;
        SplitAll(root, &leaves);
        EXPECT_EQ(leaves, order) << "halving keeps the order";
        EXPECT_TRUE(CountNodes(root) == 2 * n - 1 && MaxLevel(root) == 7) << n;
        EXPECT_EQ(QmCacheMgr::GetActualSize(), 80u * (2 * n - 1));
        root->Release();
    }
}

TEST_F(Cache, PartitionCutsTheLongestSideAtItsMiddle)
{
    // Three points; which of them go right. The third point sides differently under the
    // other axes' cuts, so the axis shows.
    const std::vector<std::pair<std::vector<ZgVector3>, std::vector<int>>> cases = {
        {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {1, 2}},       // on the cut: right
        {{{0, 0, 0}, {2, 2, 0}, {0.5, 1.5, 0}}, {1}},      // X before Y
        {{{0, 0, 0}, {0, 2, 2}, {0, 0.5, 1.5}}, {1}},      // Y before Z
        {{{0, 0, 0}, {1, 1, 3}, {0.2, 0.2, 1.6}}, {1, 2}}, // Z longest
    };
    for (auto const& [pts, right] : cases)
    {
        MeshPtr m = NewMesh();
        std::vector<Ele*> v;
        for (ZgVector3 const& p : pts)
            v.push_back(m->AddVertex(p));
        qmCacheNode* root = m->GetCache()->GetVertexTree();
        qmCacheNode* r = root->GetRight();
        std::vector<Ele*> expected;
        for (Ele* e : VertexOrder(*m)) // array order is the mesh's walk order
            if (std::find(right.begin(), right.end(),
                          std::find(v.begin(), v.end(), e) - v.begin()) != right.end())
                expected.push_back(e);
        EXPECT_EQ(Items(r), expected) << pts[2].x << " " << pts[2].y << " " << pts[2].z;
        r->Release();
        root->Release();
    }
}

TEST_F(Cache, RandomSoupsKeepTheTreeInvariants)
{
    QmCacheMgr deep(10, 64);
    for (unsigned seed : {11u, 12u, 13u})
    {
        std::mt19937 rng(seed);
        MeshPtr m = NewMesh();
        qmtest::AddSoup(*m, rng, 150, 120, 200, 1.0, ZgVector3(), true);
        for (int type : {1, 2, 4})
        {
            qmCacheNode* root = m->GetCache()->GetTree(type);
            SplitAll(root);
            std::vector<Ele*> all = CheckSubtree(root, "seed " + std::to_string(seed));
            std::sort(all.begin(), all.end());
            const long nb = type == 1   ? m->GetNbVertex()
                            : type == 2 ? m->GetNbEdge()
                                        : m->GetNbFace();
            EXPECT_EQ(static_cast<long>(all.size()), nb) << seed;
            EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end()) << seed;
            root->Release();
        }
    }
}

TEST_F(Cache, ReleaseAtTheLevelLimitCollapsesInWalkOrder)
{
    std::mt19937 rng(5);
    MeshPtr m = NewMesh();
    qmtest::AddSoup(*m, rng, 64, 0, 0, 1.0, ZgVector3(), false);
    std::vector<Ele*> walk;
    {
        QmCacheMgr shallow(10, 2);
        qmCacheNode* root = m->GetCache()->GetVertexTree();
        SplitAll(root, &walk);
        root->Release();
        EXPECT_LE(MaxLevel(root), 2);
        EXPECT_EQ(QmCacheMgr::GetActualSize(), 80u * CountNodes(root));
        qmEleArray gathered(0);
        EXPECT_EQ(root->Collect(&gathered), 64);
        EXPECT_EQ(std::vector<Ele*>(gathered.data, gathered.data + 64), walk)
            << "collapsed arrays keep the walk order";
        EXPECT_NE(walk, VertexOrder(*m)) << "the test needs a walk that reorders";
    }
    // Under the default limits a 64-element tree opens fully and stays so.
    qmCacheNode* root = m->GetCache()->GetVertexTree();
    SplitAll(root);
    root->Release();
    EXPECT_EQ(QmCacheMgr::GetActualSize(), 80u * CountNodes(root));
    EXPECT_EQ(CountNodes(root), 127);
}

TEST_F(Cache, LeastRecentlyUsedIdleTreeIsEvictedAndHeldOnesPassedOver)
{
    std::vector<MeshPtr> meshes;
    for (int i = 0; i < 12; ++i)
        meshes.push_back(Points(4, ZgVector3(i, 0, 0)));
    auto take = [&](size_t i) // a tree of three nodes
    {
        qmCacheNode* root = meshes[i]->GetCache()->GetVertexTree();
        root->GetLeft()->Release();
        root->GetRight()->Release();
        return root;
    };
    auto tree = [&](size_t i) { return meshes[i]->GetCache()->vertexTree; };
    qmCacheNode* held = take(0);
    for (size_t i = 1; i < 10; ++i)
        take(i)->Release();
    EXPECT_EQ(QmCacheMgr::GetActualSize(), 10u * 3u * 80u);

    qmCacheNode* tenth = take(10);
    EXPECT_TRUE(tree(0) == held && tree(1) == nullptr) << "held passed over, next idle dropped";
    EXPECT_EQ(QmCacheMgr::GetActualSize(), (30u - 3u + 3u) * 80u);
    EXPECT_TRUE(Mru().size() == 10 && Mru().front() == tenth && Mru().back() == held);
    tenth->Release();
    held->Release();

    take(11)->Release();
    EXPECT_EQ(tree(0), nullptr) << "idle now, and the least recently used";
    EXPECT_TRUE(Mru().size() == 10 && Mru().back() == tree(2));
    EXPECT_EQ(QmCacheMgr::GetActualSize(), 30u * 80u);
}

TEST_F(Cache, TreeAskedForWhenEveryOtherIsHeldComesBackNull)
{
    MeshPtr a = Points(1, ZgVector3());
    MeshPtr b = Points(1, ZgVector3());
    MeshPtr c = Points(1, ZgVector3());
    QmCacheMgr two(2, 11);
    qmCacheNode* ra = a->GetCache()->GetVertexTree();
    qmCacheNode* rb = b->GetCache()->GetVertexTree();
    EXPECT_EQ(c->GetCache()->GetVertexTree(), nullptr);
    EXPECT_EQ(c->GetCache()->vertexTree, nullptr);
    EXPECT_EQ(Mru(), (Nodes{rb, ra}));
    EXPECT_EQ(QmCacheMgr::GetActualSize(), 2u * 80u);
    ra->Release();
    qmCacheNode* rc = c->GetCache()->GetVertexTree();
    EXPECT_TRUE(rc != nullptr && a->GetCache()->vertexTree == nullptr);
    EXPECT_EQ(Mru(), (Nodes{rc, rb}));
    rc->Release();
    rb->Release();
}

TEST_F(Cache, AbsentTypesBadTypesAndDropsTouchOnlyWhatTheyName)
{
    MeshPtr a = NewMesh();
    MeshPtr b = NewMesh();
    for (QmPstMesh* m : {a.get(), b.get()})
    {
        AddF(*m, AddV(*m, 0, 0, 0), AddV(*m, 1, 0, 0), AddV(*m, 0, 1, 0));
        for (int type : {1, 4})
            m->GetCache()->GetTree(type)->Release();
    }
    const Nodes before = Mru();
    for (int type : {2, 0, 3, 5, 7, 8, -1})
        EXPECT_EQ(a->GetCache()->GetTree(type), nullptr) << type;
    EXPECT_EQ(a->GetCache()->edgeTree, nullptr);
    EXPECT_EQ(Mru(), before);

    qmCache* ca = a->GetCache();
    qmCacheNode* held = ca->GetVertexTree();
    EXPECT_FALSE(ca->DropTreeIfIdle(held));
    EXPECT_FALSE(ca->DropTreeIfIdle(b->GetCache()->faceTree)) << "not a's";
    EXPECT_FALSE(ca->DropTreeIfIdle(nullptr));
    held->Release();
    EXPECT_TRUE(ca->DropTreeIfIdle(held));
    EXPECT_TRUE(ca->vertexTree == nullptr && ca->faceTree != nullptr);

    AddE(*b, b->GetIterVertex().Get(), b->GetIterVertex().Get()); // drops b's cache
    for (int type : {1, 2, 4})
        b->GetCache()->GetTree(type)->Release();
    qmCache* cb = b->GetCache();
    const Nodes bTrees = {cb->faceTree, cb->edgeTree, cb->vertexTree};
    a->InvalidCache();
    EXPECT_EQ(Mru(), bTrees);
    EXPECT_EQ(QmCacheMgr::GetActualSize(), 3u * 80u);
    b.reset();
    EXPECT_TRUE(QmCacheMgr::GetNbCacheMru() == 0 && QmCacheMgr::GetActualSize() == 0);
}

TEST_F(Cache, LimitScopesActAtTheNextEvictionPointAndRestoreOnExit)
{
    MeshPtr a = Points(64, ZgVector3()); // perfect halving: level k has 2^k nodes
    MeshPtr b = Points(1, ZgVector3(1, 1, 1));
    qmCacheNode* ra = a->GetCache()->GetVertexTree();
    SplitAll(ra);
    ra->Release();
    b->GetCache()->GetVertexTree()->Release();
    {
        QmCacheMgr tight(1, 3);
        EXPECT_EQ(QmCacheMgr::GetNbCacheMru(), 2) << "no check when a scope opens";
        qmCacheNode* path[4] = {a->GetCache()->GetVertexTree()};
        EXPECT_EQ(b->GetCache()->vertexTree, nullptr) << "the tree limit acts at GetTree";
        for (int k = 1; k < 4; ++k)
            path[k] = path[k - 1]->GetLeft();
        for (int k = 3; k >= 0; --k)
            path[k]->Release();
        EXPECT_TRUE(path[3]->eles != nullptr && path[3]->left == nullptr) << "let go: collapsed";
        EXPECT_NE(path[2]->right->left, nullptr) << "a level-3 node never let go stays";
        EXPECT_EQ(QmCacheMgr::GetActualSize(), (127u - 14u) * 80u);
    }
    EXPECT_EQ(QmCacheMgr::GetActualSize(), 113u * 80u) << "within the defaults: no collapse";

    // A deeper scope left while one level-11 node is held: every other node past the default
    // level goes when the scope closes, the held one when it is let go.
    MeshPtr c = Points(4096, ZgVector3());
    const unsigned long outside = QmCacheMgr::GetActualSize();
    Nodes path;
    {
        QmCacheMgr deep(10, 30);
        path.push_back(c->GetCache()->GetVertexTree());
        SplitAll(path[0]);
        while (path.back()->level < 11)
            path.push_back(path.back()->GetLeft());
        EXPECT_EQ(QmCacheMgr::GetActualSize(), outside + 8191u * 80u);
    }
    EXPECT_EQ(QmCacheMgr::GetActualSize(), outside + (8191u - 2047u * 2u) * 80u);
    EXPECT_NE(path.back()->left, nullptr) << "held: left alone";
    for (size_t k = path.size(); k-- > 0;)
        path[k]->Release();
    EXPECT_EQ(QmCacheMgr::GetActualSize(), outside + (8191u - 2048u * 2u) * 80u);
}

TEST(QmCacheMgr, GetSizeRamComputesIn32Bits)
{
    auto wrapped = [](std::uint64_t nbCache, int nbLevel)
    { return static_cast<std::int32_t>(static_cast<std::uint32_t>((nbCache << nbLevel) * 80u)); };
    EXPECT_EQ(QmCacheMgr::GetSizeRam(10, 11), 1638400);
    EXPECT_EQ(QmCacheMgr::GetSizeRam(1, 0), 80);
    EXPECT_LT(QmCacheMgr::GetSizeRam(1, 25), 0) << "2^25 * 80 passes 2^31";
    for (auto [nbCache, nbLevel] : {std::pair<int, int>{1, 25}, {10, 30}, {3, 31}, {1000, 17}})
        EXPECT_EQ(QmCacheMgr::GetSizeRam(nbCache, nbLevel), wrapped(nbCache, nbLevel));
}
