#include "query/QmAlgNeib.h"
#include "support/OwnedMesh.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/QmAlgVorData.h"

#include <cmath>
#include <gtest/gtest.h>
#include <set>
#include <vector>

using qmtest::Edge;
using qmtest::NewOwnedMesh;
using qmtest::OwnedMesh;

namespace
{
using BrinVor = QmAlgVor::BrinVor;

// A chain of edges through pts in order, back to the first when closed.
struct Chain
{
    OwnedMesh mesh = NewOwnedMesh();
    std::vector<QmPstMesh::edge*> e;

    Chain(std::vector<ZgVector2> const& pts, bool closed)
    {
        std::vector<QmPstMesh::vertex*> v;
        for (ZgVector2 const& p : pts)
            v.push_back(mesh->AddVertex(ZgVector3(p.x, p.y, 0.0)));
        const size_t n = v.size();
        for (size_t i = 0; i + 1 < n || (closed && i < n); ++i)
            e.push_back(Edge(*mesh, v[i], v[(i + 1) % n]));
    }
};

// The site list of one contour, as the construction makes it before its joins.
struct Sites
{
    std::vector<VorSite> list;
    long pairs = 0;
    size_t start = 0; // index in the chain of the edge the contour was read from
};

Sites SitesOf(Chain& c, bool closed)
{
    QmPstMesh* meshes[1] = {c.mesh.get()};
    QmAlgVorData rec(meshes, 1);
    QmAlgNeib().BuildAttrEdge(*c.mesh);
    rec.CollectContour(0);
    EXPECT_EQ(rec.Ferme[0], closed);
    Sites s;
    while (s.start < c.e.size() && c.e[s.start] != rec.PocheIde[0])
        ++s.start;
    EXPECT_LT(s.start, c.e.size());
    s.list.assign(2 * rec.NbEdge[0] + 1, VorSite{VorSiteVide(), false});
    long n = 0;
    rec.BuildSites(0, s.list.data(), n);
    QmAlgVorData::FixVertexSites(s.list.data(), n);
    rec.BuildSitePairs(s.list.data(), n);
    s.pairs = static_cast<long>(rec.Brins.Count() / 2);
    QmAlgVorData::CloseSites(s.list.data(), n, closed);
    s.list.resize(n);
    return s;
}

// Each expected entry is (index of its edge counted from the contour's first edge, segment
// site). A closed contour may be read from any of its edges.
void ExpectSites(Sites const& s, Chain const& c, std::vector<std::pair<int, bool>> const& want)
{
    ASSERT_EQ(s.list.size(), want.size());
    for (size_t k = 0; k < want.size(); ++k)
    {
        EXPECT_EQ(s.list[k].I, c.e[(want[k].first + s.start) % c.e.size()]) << "entry " << k;
        EXPECT_EQ(s.list[k].IsEdge, want[k].second) << "entry " << k;
    }
}
} // namespace

TEST(VorBuildSites, ConvexContoursHaveOnlySegmentSitesAndCloseOnTheFirst)
{
    // Clockwise: the inside is on the right of every edge, every vertex convex.
    Chain tri({{0, 0}, {0, 10}, {10, 0}}, true);
    const Sites t = SitesOf(tri, true);
    ExpectSites(t, tri, {{0, true}, {1, true}, {2, true}, {2, true}, {0, true}});
    EXPECT_EQ(t.pairs, 1);

    Chain sq({{0, 0}, {0, 10}, {10, 10}, {10, 0}}, true);
    const Sites s = SitesOf(sq, true);
    ExpectSites(s, sq, {{0, true}, {1, true}, {2, true}, {3, true}, {0, true}});
    EXPECT_EQ(s.pairs, 2);
}

TEST(VorBuildSites, EveryReflexVertexGetsAPointSiteAndTheListFillsItsBound)
{
    // The square the other way round: all four vertices reflex, n = 2m + 1.
    Chain sq({{0, 0}, {10, 0}, {10, 10}, {0, 10}}, true);
    const Sites s = SitesOf(sq, true);
    ExpectSites(s, sq,
                {{0, true},
                 {0, false},
                 {1, true},
                 {1, false},
                 {2, true},
                 {2, false},
                 {3, true},
                 {3, false},
                 {0, true}});
    EXPECT_EQ(s.pairs, 4);

    // An open chain turning left at every inner vertex: free end, then a point after each
    // edge; the same bound 2m + 1 for m edges.
    Chain arc({{0, 0}, {10, 0}, {15, 5}, {15, 15}, {10, 20}}, false);
    const Sites a = SitesOf(arc, false);
    ASSERT_EQ(a.list.size(), 9u);
    EXPECT_FALSE(a.list.front().IsEdge);
    EXPECT_EQ(a.list.front().I, arc.e[0]);
    // The point opening a pair is told as the start of the next edge.
    ExpectSites(a, arc,
                {{0, false},
                 {0, true},
                 {1, false},
                 {1, true},
                 {2, false},
                 {2, true},
                 {3, false},
                 {3, true},
                 {3, false}});
}

TEST(VorBuildSites, OpenEdgeAndStraightVertex)
{
    Chain one({{0, 0}, {5, 0}}, false);
    const Sites o = SitesOf(one, false);
    ExpectSites(o, one, {{0, false}, {0, true}, {0, false}});
    EXPECT_EQ(o.pairs, 1);

    // An angle of exactly pi between edges 1 and 2 makes no point site.
    Chain r({{0, 0}, {0, 10}, {5, 10}, {10, 10}, {10, 0}}, true);
    const Sites s = SitesOf(r, true);
    ExpectSites(s, r,
                {{0, true}, {1, true}, {2, true}, {3, true}, {4, true}, {4, true}, {0, true}});
}
