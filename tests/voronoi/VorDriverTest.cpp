#include "mesh/QmAttribut.h"
#include "query/QmAlgNeib.h"
#include "support/OwnedMesh.h"
#include "support/VorHandMap.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/VorBrinDetail.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using qmtest::BrinVor;
using qmtest::VorHandMap;

namespace
{
// One contour: edge i from pts[i] to pts[i + 1], closing back to pts[0] when closed. An
// outer contour is given clockwise and an island counter-clockwise, so that the pocket
// lies on the right of every edge.
struct Poche
{
    qmtest::OwnedMesh mesh = qmtest::NewOwnedMesh();
    QmPstMesh* meshes[1];

    Poche(std::vector<ZgVector2> const& pts, bool closed) : meshes{mesh.get()}
    {
        std::vector<QmPstMesh::vertex*> v;
        for (ZgVector2 const& p : pts)
            v.push_back(mesh->AddVertex(ZgVector3(p.x, p.y, 0.0)));
        for (size_t i = 0; i + 1 < v.size() || (closed && i < v.size()); ++i)
            qmtest::Edge(*mesh, v[i], v[(i + 1) % v.size()]);
    }
    long EdgesWith(long classId)
    {
        long n = 0;
        for (QmPstMesh::iterEdge it = mesh->GetIterEdge(); !it.IsEnd(); it.Next())
            n += it.Get()->attributes.GetAttr(classId) != nullptr;
        return n;
    }
};

// A computed diagram, deleted with its scope.
struct Diagramme
{
    Poche& poche;
    QmAlgVor vor;
    long ok;
    explicit Diagramme(Poche& p, char const* text = nullptr)
        : poche(p), ok(vor.Compute(text, p.meshes, 1))
    {
    }
    ~Diagramme() { vor.Delete(poche.meshes, 1); }

    // The darts of the first pocket's tour.
    std::vector<BrinVor*> Tour()
    {
        std::vector<BrinVor*> out;
        BrinVor* b0 = GetAttrEdgeVor(vor.GetPocheIde(0))->GetB2();
        BrinVor* b = b0;
        do
        {
            out.push_back(b);
            b = b->Phi();
        } while (b != b0 && out.size() < 100000);
        return out;
    }
    std::set<qmSommetVor*> Sommets()
    {
        std::set<qmSommetVor*> s;
        for (BrinVor* b : Tour())
            if (qmVorAccess::GetSommet(b) != nullptr)
                s.insert(qmVorAccess::GetSommet(b));
        return s;
    }
    bool FlagsClear()
    {
        for (BrinVor* b : Tour())
            if (b->GetFlag() != 0)
                return false;
        return true;
    }
};

std::string Dump(QmAlgVor& vor, char const* name)
{
    const std::string path = ::testing::TempDir() + name;
    vor.qmAfficheVorMD(path.c_str());
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::remove(path.c_str());
    return text.str();
}

std::string Line(char const* word, double x, double y)
{
    char buf[128];
    std::snprintf(buf, sizeof buf, "%s X%.15f Y%.15f\n", word, x, y);
    return buf;
}

const std::vector<ZgVector2> carre = {{0, 0}, {0, 10}, {10, 10}, {10, 0}};
} // namespace

TEST(VorDriverFlags, UnsetFlagArbreClearsTheSubtreeBeyondAndStopsAtAClearArc)
{
    // L0 -x0-> C1 -x1-> C2 -y-> C3 -z-> L3, with leaves w at C1 and u at C2.
    VorHandMap m;
    BrinVor* x0 = m.Pair();
    BrinVor* x1 = m.Pair();
    BrinVor* w = m.Pair();
    BrinVor* u = m.Pair();
    BrinVor* y = m.Pair();
    BrinVor* z = m.Pair();
    VorHandMap::Star({x0->Alpha(), x1, w});
    VorHandMap::Star({x1->Alpha(), u, y});
    VorHandMap::Star({y->Alpha(), z});
    for (BrinVor* d : m.darts)
        d->SetFlag(1);
    y->SetFlag(0);
    y->Alpha()->SetFlag(0);
    QmAlgVor().UnsetFlagArbre(x1);
    for (BrinVor* d : {x1, u})
    {
        EXPECT_EQ(d->GetFlag(), 0);
        EXPECT_EQ(d->Alpha()->GetFlag(), 0);
    }
    // Behind x1, and beyond the clear arc y: untouched.
    for (BrinVor* d : {x0, w, z})
    {
        EXPECT_EQ(d->GetFlag(), 1);
        EXPECT_EQ(d->Alpha()->GetFlag(), 1);
    }
}

TEST(VorDriverCompute, ArgumentsTextAndPocketReads)
{
    QmAlgVor none;
    EXPECT_EQ(none.Compute("x", nullptr, 1), 0);
    Poche sq(carre, true);
    EXPECT_EQ(none.Compute("x", sq.meshes, 0), 0);
    EXPECT_EQ(qmVorAccess::GetData(none), nullptr);
    none.Delete(nullptr, 0);

    // The text is never read: any, or none, gives the same diagram.
    std::string dumps[3];
    char const* texts[3] = {nullptr, "", "anything at all"};
    for (int k = 0; k < 3; ++k)
    {
        Diagramme d(sq, texts[k]);
        ASSERT_EQ(d.ok, 1) << k;
        EXPECT_EQ(d.vor.GetNbPoches(), 1);
        EXPECT_EQ(&d.vor.GetPstMesh(0), sq.mesh.get());
        EXPECT_EQ(d.vor.GetNbEdge(0), 4);
        EXPECT_EQ(d.vor.GetFerme(0), 1);
        EXPECT_EQ(d.vor.GetPocheIde(0), sq.mesh->GetIterEdge().Get());
        dumps[k] = Dump(d.vor, "vor-text.iso");
    }
    EXPECT_EQ(dumps[0], dumps[1]);
    EXPECT_EQ(dumps[0], dumps[2]);

    // An open chain: its arcs to infinity fail the construction's check, and the record
    // still tells the pocket apart.
    Poche open({{0, 0}, {0, 10}, {10, 10}, {10, 0}}, false);
    Diagramme o(open);
    EXPECT_EQ(o.vor.GetFerme(0), 0);
    EXPECT_EQ(o.vor.GetNbEdge(0), 3);
    // The open start: the edge leaving (0, 0).
    EXPECT_EQ(VorCoo(o.vor.GetPocheIde(0)->v[0]), ZgVector2(0, 0));
}

TEST(VorDriverDelete, RemovesEveryAttrEdgeVorAfterSuccessOrFailure)
{
    const long vorId = QmAlgVor::AttrEdgeVor::GetClassId();
    const long neibId = QmAlgNeib::AttrEdge::GetClassId();
    // A zero-length edge fails the construction after the attributes are hung.
    Poche bad({{0, 0}, {0, 10}, {0, 10}, {10, 10}, {10, 0}}, true);
    Poche good(carre, true);
    for (Poche* p : {&bad, &good})
    {
        QmAlgVor vor;
        const long ok = vor.Compute(nullptr, p->meshes, 1);
        EXPECT_EQ(ok, p == &good ? 1 : 0);
        EXPECT_EQ(p->EdgesWith(vorId), p->mesh->GetNbEdge());
        vor.Delete(p->meshes, 1);
        EXPECT_EQ(qmVorAccess::GetData(vor), nullptr);
        EXPECT_EQ(p->EdgesWith(vorId), 0);
        EXPECT_EQ(p->EdgesWith(neibId), p->mesh->GetNbEdge());
        vor.Delete(p->meshes, 1);
    }
}

TEST(VorDriverDelete, FreePartialTakesDownWhateverTheConstructionBuilt)
{
    // An L-shaped room, alone and with a square island (counter-clockwise).
    Poche room({{0, 0}, {0, 30}, {18, 30}, {18, 12}, {30, 12}, {30, 0}}, true);
    Poche ile({{4, 4}, {8, 4}, {8, 8}, {4, 8}}, true);
    for (long count : {1L, 2L})
    {
        QmPstMesh* meshes[2] = {room.mesh.get(), ile.mesh.get()};
        {
            QmAlgVorData rec(meshes, count);
            VorSommetScope scope(&rec);
            rec.BuildDiagram(meshes, count);
            ASSERT_GT(rec.Brins.Count(), 0u) << count;
            rec.FreePartial();
            EXPECT_EQ(rec.Brins.Count(), 0u) << count;
            EXPECT_EQ(rec.Sommets.Count(), 0u) << count;
            for (long i = 0; i < count; ++i)
                for (QmPstMesh::iterEdge it = meshes[i]->GetIterEdge(); !it.IsEnd(); it.Next())
                {
                    EXPECT_EQ(GetAttrEdgeVor(it.Get())->GetB1(), nullptr);
                    EXPECT_EQ(GetAttrEdgeVor(it.Get())->GetB2(), nullptr);
                }
            delete GetAttrEdgeVor(rec.PocheIde[0])->GetPstMeshBox();
        }
        for (long i = 0; i < count; ++i)
            QmAttribut::RemoveAttrE(meshes[i], QmAlgVor::AttrEdgeVor::GetClassId());
    }
}

TEST(VorDriverAddMinPt, CornerArcsGetNothingParallelWallsTheirMiddle)
{
    // The square's four arcs run from a corner (0) to the centre (5): no interior minimum.
    Poche sq(carre, true);
    Diagramme d(sq);
    ASSERT_EQ(d.ok, 1);
    const size_t nbCarre = d.Sommets().size();
    d.vor.AddMinPt();
    EXPECT_EQ(d.Sommets().size(), nbCarre);
    EXPECT_TRUE(d.FlagsClear());

    // In a 20 x 10 rectangle the arc between the long walls has clearance 5 all along,
    // and its ends are local minima: its middle becomes a vertex.
    Poche rect({{0, 0}, {0, 10}, {20, 10}, {20, 0}}, true);
    Diagramme r(rect);
    ASSERT_EQ(r.ok, 1);
    const std::set<qmSommetVor*> avant = r.Sommets();
    r.vor.AddMinPt();
    const std::set<qmSommetVor*> apres = r.Sommets();
    ASSERT_EQ(apres.size(), avant.size() + 1);
    for (qmSommetVor* s : apres)
        if (avant.count(s) == 0)
        {
            EXPECT_NEAR(s->Point.x, 10.0, 1e-9);
            EXPECT_NEAR(s->Point.y, 5.0, 1e-9);
            EXPECT_NEAR(s->D, 5.0, 1e-9);
        }
    EXPECT_TRUE(r.FlagsClear());
}

TEST(VorDriverAddMinPt, FacingReflexVerticesGetTheirMidpoint)
{
    // A 20 x 10 room pinched by two notches whose reflex tips (10, 7) and (10, 3) face each
    // other across a neck of width 4; the notches differ so that no four sites are
    // cocircular. The arcs between the walls on either side of the neck keep clearance 5,
    // but their inner ends are not minima (the neck is narrower): they get nothing.
    const std::vector<ZgVector2> pts = {{0, 0},   {0, 10}, {8, 10}, {10, 7}, {12, 10},
                                        {20, 10}, {20, 0}, {13, 0}, {10, 3}, {6, 0}};
    Poche closed(pts, true);
    Diagramme c(closed);
    ASSERT_EQ(c.ok, 1);
    const std::set<qmSommetVor*> avant = c.Sommets();
    const size_t tour = c.Tour().size();
    c.vor.AddMinPt();
    const std::set<qmSommetVor*> apres = c.Sommets();
    ASSERT_EQ(apres.size(), avant.size() + 1);
    for (qmSommetVor* s : apres)
        if (avant.count(s) == 0)
        {
            EXPECT_NEAR(s->Point.x, 10.0, 1e-9);
            EXPECT_NEAR(s->Point.y, 5.0, 1e-9);
            EXPECT_NEAR(s->D, 2.0, 1e-9);
        }
    // The split arc is two arcs of the tour, and each dart still runs into a dart that
    // starts at its far vertex.
    EXPECT_EQ(c.Tour().size(), tour + 2);
    for (BrinVor* b : c.Tour())
        EXPECT_EQ(qmVorAccess::GetSommet(b->Phi()), qmVorAccess::GetSommet(b->Alpha()));
    EXPECT_TRUE(c.FlagsClear());
}

TEST(VorDriverDump, SquareFrameThenArcsFromTheFirstEntry)
{
    Poche sq(carre, true);
    Diagramme d(sq);
    ASSERT_EQ(d.ok, 1);
    // The first edge's end corner is the first entry: its arc to the centre, then the
    // other three arcs about the centre, each from the centre, going back along the
    // contour (the cell of the first edge is left by its start corner).
    QmPstMesh::edge* e = d.vor.GetPocheIde(0);
    // The centre as the construction placed it, to the last bit the dump prints.
    const ZgVector2 c = GetAttrEdgeVor(e)->GetB2()->Alpha()->GetPoint1();
    EXPECT_NEAR(c.x, 5.0, 1e-12);
    EXPECT_NEAR(c.y, 5.0, 1e-12);
    std::string body = Line("G0", e->v[1]->coo[0], e->v[1]->coo[1]) + Line("G1", c.x, c.y);
    for (int k = 0; k < 3; ++k)
    {
        body += Line("G0", c.x, c.y) + Line("G1", e->v[0]->coo[0], e->v[0]->coo[1]);
        e = GetAttrEdgeVor(e)->GetPrevIde(e);
    }
    const std::string frame = Line("G0", 0, 0) + Line("G1", 10, 0) + Line("G1", 10, 10) +
                              Line("G1", 0, 10) + Line("G1", 0, 0);
    EXPECT_EQ(Dump(d.vor, "vor-square.iso"), "(Iso File)\n" + frame + body);
    EXPECT_TRUE(d.FlagsClear());

    // An empty box draws no frame: a point, or a negative size in one coordinate. A box
    // flat in one coordinate only still has its frame.
    ZgBBox2& box = *GetAttrEdgeVor(e)->GetPstMeshBox();
    const ZgBBox2 kept = box;
    box = ZgBBox2({1, 1}, {1 + 5e-7, 1 - 5e-7});
    EXPECT_EQ(Dump(d.vor, "vor-point.iso"), "(Iso File)\n" + body);
    box = ZgBBox2({1, 1}, {4, 1 - 2e-6});
    EXPECT_EQ(Dump(d.vor, "vor-neg.iso"), "(Iso File)\n" + body);
    box = ZgBBox2({1, 1}, {4, 1});
    EXPECT_EQ(Dump(d.vor, "vor-flat.iso"), "(Iso File)\n" + Line("G0", 1, 1) + Line("G1", 4, 1) +
                                               Line("G1", 4, 1) + Line("G1", 1, 1) +
                                               Line("G1", 1, 1) + body);
    box = kept;

    // An unwritable path writes nothing and does not fail.
    d.vor.qmAfficheVorMD(::testing::TempDir().c_str());
    EXPECT_TRUE(d.FlagsClear());
}
