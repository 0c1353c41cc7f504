#include "surface/QmAlgStrip.h"

#include "query/QmAlgNeib.h"
#include "query/QmAlgNeibWalk.h"
#include "support/OwnedMesh.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace
{
using Mesh = QmPstMesh;
using qmtest::Edge;
using Strips = std::vector<std::vector<int>>;

// The strips as vertex numbers, read back from the point records (vertex i stands at
// (i, 2i, 3i), so its record must be (i, 3i, 0)). Checks the form on the way: every visit
// a new point, numbered in order; every strip closed; the array ending in -1.
Strips decode(QmAlgStrip const& s)
{
    Strips out(1);
    int next = 0;
    for (int k = 0; k + 1 < s.nbIndex; ++k)
    {
        const int n = s.indices[k];
        if (n == -1)
        {
            EXPECT_FALSE(out.back().empty()) << "empty strip at " << k;
            out.emplace_back();
            continue;
        }
        EXPECT_EQ(n, next++);
        const ZgVector3 p = s.points[n];
        EXPECT_TRUE(p.y == 3 * p.x && p.z == 0.0) << "record " << n;
        out.back().push_back(static_cast<int>(p.x));
    }
    EXPECT_TRUE(out.back().empty()) << "last strip not closed";
    out.pop_back();
    EXPECT_EQ(s.indices[s.nbIndex - 1], -1);
    EXPECT_EQ(s.nbPoint, next);
    return out;
}

int num(Mesh::vertex* x) { return static_cast<int>(x->coo[0]); }

// Whether vertex i is a plain joint: two ends there, one edge's end 1 and another's end 0.
bool joint(std::vector<Mesh::edge*> const& es, std::map<int, int>& ends, int i)
{
    int in = 0, out = 0;
    for (Mesh::edge* e : es)
        in += num(e->v[1]) == i, out += num(e->v[0]) == i;
    return ends[i] == 2 && in == 1 && out == 1;
}

bool anyEdgeHolds(Mesh& m, long classId)
{
    for (auto it = m.GetIterEdge(); !it.IsEnd(); it.Next())
        if (m.GetEleAttr(it.Get(), classId) != nullptr)
            return true;
    return false;
}
} // namespace

TEST(QmAlgStrip, ChainsJunctionsAndEmptyMesh)
{
    QmAlgStrip strip;
    auto m = qmtest::NewOwnedMesh();
    strip.GetLineStrip(*m);
    EXPECT_TRUE(strip.nbIndex == 1 && strip.indices[0] == -1 && strip.nbPoint == 0);

    auto v = qmtest::Vertices(*m, 9);
    Edge(*m, v[1], v[2]);
    strip.GetLineStrip(*m);
    EXPECT_EQ(std::vector<int>(strip.indices, strip.indices + strip.nbIndex),
              (std::vector<int>{0, 1, -1, -1}));
    EXPECT_EQ(decode(strip), (Strips{{1, 2}}));
    Edge(*m, v[0], v[1]); // head to tail before it: still one strip
    strip.GetLineStrip(*m);
    EXPECT_EQ(decode(strip), (Strips{{0, 1, 2}}));
    Edge(*m, v[3], v[2]); // head to head at 2: two strips, vertex 2 in both
    strip.GetLineStrip(*m);
    EXPECT_EQ(decode(strip), (Strips{{3, 2}, {0, 1, 2}}));
    // Three ends at 4: no strip runs through it; 7 is a plain joint.
    Edge(*m, v[5], v[4]);
    Edge(*m, v[4], v[6]);
    Edge(*m, v[4], v[7]);
    Edge(*m, v[7], v[8]);
    strip.GetLineStrip(*m);
    Strips got = decode(strip);
    EXPECT_EQ(std::multiset<std::vector<int>>(got.begin(), got.end()),
              (std::multiset<std::vector<int>>{{0, 1, 2}, {3, 2}, {5, 4}, {4, 6}, {4, 7, 8}}));
    EXPECT_FALSE(anyEdgeHolds(*m, QmAlgNeibWalk::AttrEdge::GetClassId()));
    EXPECT_FALSE(anyEdgeHolds(*m, QmAlgNeib::AttrEdge::GetClassId())) << "built here";
}

TEST(QmAlgStrip, RingsAndGroupChanges)
{
    QmAlgStrip strip;
    auto m = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*m, 5);
    for (int i : {3, 0, 4, 1, 2})
        Edge(*m, v[i], v[(i + 1) % 5]);
    strip.GetLineStrip(*m);
    Strips got = decode(strip);
    ASSERT_EQ(got.size(), 1u);
    ASSERT_EQ(got[0].size(), 6u) << "a ring of n edges makes n + 1 points";
    for (size_t k = 1; k < 6; ++k)
        EXPECT_EQ(got[0][k], (got[0][k - 1] + 1) % 5);

    // A change of group shows one edge late: the strip stops after the edge that follows
    // it, and that edge starts the next strip too. On a chain's last edge it never shows.
    auto c = qmtest::NewOwnedMesh();
    auto w = qmtest::Vertices(*c, 6);
    for (int i : {0, 1, 2, 3})
        Edge(*c, w[i], w[i + 1], i < 2 ? 1 : 2);
    strip.GetLineStrip(*c);
    EXPECT_EQ(decode(strip), (Strips{{0, 1, 2, 3, 4}}));
    Edge(*c, w[4], w[5], 2);
    strip.GetLineStrip(*c);
    EXPECT_EQ(decode(strip), (Strips{{0, 1, 2, 3, 4}, {3, 4, 5}}));
    // A ring with two groups: the strip after the split stops where the first began.
    auto r = qmtest::NewOwnedMesh();
    auto u = qmtest::Vertices(*r, 4);
    for (int i : {0, 1, 2, 3})
        Edge(*r, u[i], u[(i + 1) % 4], i < 2 ? 1 : 2);
    strip.GetLineStrip(*r);
    EXPECT_EQ(decode(strip), (Strips{{3, 0, 1, 2}, {1, 2, 3}}));

    // Links the caller built are used and kept; a rerun frees and remakes the result.
    QmAlgNeib().BuildAttrEdge(*c);
    QmAlgStrip other;
    other.GetLineStrip(*c);
    strip.GetLineStrip(*c);
    EXPECT_EQ(decode(other), decode(strip));
    EXPECT_TRUE(anyEdgeHolds(*c, QmAlgNeib::AttrEdge::GetClassId()));
}

// Polylines over shuffled vertices, some closed, a few edges reversed, plus loose edges
// that make junctions. Brute force: every edge drawn, only through plain joints; with one
// group each edge once and every strip maximal, with mixed groups at most twice (a
// restart). Mixed groups on rings and stars are where a walk can spin.
TEST(QmAlgStrip, RandomEdgeSetsAgainstBruteForce)
{
    for (unsigned seed = 1; seed <= 200; ++seed)
    {
        std::mt19937 rng(seed);
        auto m = qmtest::NewOwnedMesh();
        auto v = qmtest::Vertices(*m, 3 + static_cast<int>(rng() % 10));
        const bool oneGroup = seed % 2 == 0;
        auto add = [&](Mesh::vertex* a, Mesh::vertex* b)
        {
            if (a != b)
                Edge(*m, a, b, oneGroup ? 0 : static_cast<long>(rng() % 3));
        };
        for (int line = static_cast<int>(rng() % 3); line >= 0; --line)
        {
            std::shuffle(v.begin(), v.end(), rng);
            const size_t n = 2 + rng() % (v.size() - 1);
            const size_t nbEdge = rng() % 2 ? n : n - 1;
            for (size_t k = 0; k < nbEdge; ++k)
                rng() % 6 ? add(v[k], v[(k + 1) % n]) : add(v[(k + 1) % n], v[k]);
        }
        for (int i = static_cast<int>(rng() % 4); i > 0; --i)
            add(v[rng() % v.size()], v[rng() % v.size()]);

        QmAlgStrip strip;
        strip.GetLineStrip(*m);
        ASSERT_LE(strip.nbIndex, 3 * m->GetNbEdge() + 1) << "seed " << seed;
        Strips got = decode(strip);

        auto es = qmtest::Walk<Mesh::edge>(m->GetIterEdge());
        std::map<int, int> ends;
        std::map<std::pair<int, int>, int> edges, drawn;
        for (Mesh::edge* e : es)
        {
            ++ends[num(e->v[0])];
            ++ends[num(e->v[1])];
            ++edges[{num(e->v[0]), num(e->v[1])}];
        }
        for (auto const& s : got)
            for (size_t k = 1; k < s.size(); ++k)
            {
                ++drawn[{s[k - 1], s[k]}];
                EXPECT_TRUE(k == 1 || ends[s[k - 1]] == 2) << "seed " << seed;
            }
        for (auto const& [key, n] : drawn)
            EXPECT_TRUE(edges.count(key) && n <= (oneGroup ? 1 : 2) * edges[key])
                << "seed " << seed;
        EXPECT_EQ(drawn.size(), edges.size()) << "seed " << seed << ": every edge drawn";
        // With one group a strip stops only where no plain joint is: it is maximal.
        for (auto const& s : got)
            EXPECT_TRUE(!oneGroup || s.front() == s.back() ||
                        !(joint(es, ends, s.front()) || joint(es, ends, s.back())))
                << "seed " << seed;
        EXPECT_FALSE(anyEdgeHolds(*m, QmAlgNeibWalk::AttrEdge::GetClassId())) << "seed " << seed;
    }
}

// Links the caller built and then left stale (edges reversed) or scribbled over: the
// run ends within its arrays and keeps their form.
TEST(QmAlgStrip, StaleOrScrambledLinksStillEnd)
{
    for (unsigned seed = 1; seed <= 100; ++seed)
    {
        std::mt19937 rng(seed);
        auto m = qmtest::NewOwnedMesh();
        auto v = qmtest::Vertices(*m, 6);
        for (int i = 0; i < 10; ++i)
            Edge(*m, v[rng() % 6], v[rng() % 6], static_cast<long>(rng() % 2));
        QmAlgNeib().BuildAttrEdge(*m);
        auto es = qmtest::Walk<Mesh::edge>(m->GetIterEdge());
        for (int i = 0; i < 6; ++i)
        {
            Mesh::edge* e = es[rng() % es.size()];
            if (seed % 2)
                m->SwapEdge(e);
            else
                qmtest::AttrOf<QmAlgNeib::AttrEdge>(e)->neib[rng() % 2] = {
                    es[rng() % es.size()], static_cast<std::int8_t>(rng() % 2)};
        }
        QmAlgStrip strip;
        strip.GetLineStrip(*m);
        ASSERT_TRUE(strip.nbIndex >= 1 && strip.nbIndex <= 3 * m->GetNbEdge() + 1)
            << "seed " << seed;
        EXPECT_EQ(strip.indices[strip.nbIndex - 1], -1) << "seed " << seed;
        EXPECT_LE(strip.nbPoint, strip.nbIndex) << "seed " << seed;
    }
}
