#include "toolpath/QmIsoFile.h"

#include "query/QmAlgNeib.h"
#include "support/OwnedMesh.h"
#include "support/StlSoup.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

// Oracles: expected text is written out by hand from the line formats; expected contours
// are the hand-built inputs with the documented losses applied, compared exactly as sets of
// directed edges (all coordinates are dyadic and print exactly in 15 decimals).

namespace
{
using qmtest::OwnedMesh;
using Pt = std::pair<double, double>;

// Directed edges by their end points, sorted: one chain or several compare regardless of
// walk order. Every edge must be of group 0 at z = 0.
using Segs = std::vector<std::pair<Pt, Pt>>;

Segs SegsOf(QmPstMesh& mesh)
{
    Segs s;
    for (auto it = mesh.GetIterEdge(); !it.IsEnd(); it.Next())
    {
        QmPstMesh::vertex* const* v = it.Get()->v;
        EXPECT_TRUE(it.Get()->grp == 0 && v[0]->coo[2] == 0.0 && v[1]->coo[2] == 0.0);
        s.push_back({{v[0]->coo[0], v[0]->coo[1]}, {v[1]->coo[0], v[1]->coo[1]}});
    }
    std::sort(s.begin(), s.end());
    return s;
}

// The edges of a polyline through pts, back to the first one when closed.
Segs Path(std::vector<Pt> const& pts, bool closed)
{
    Segs s;
    for (std::size_t i = 0; i + 1 < pts.size() + (closed ? 1 : 0); ++i)
        s.push_back({pts[i], pts[(i + 1) % pts.size()]});
    std::sort(s.begin(), s.end());
    return s;
}

std::string Lines(std::vector<Pt> const& pts, bool closeAgain, char const* end = "M6\n")
{
    std::string s = "(Iso File)\n";
    char buf[128];
    for (std::size_t i = 0; i <= pts.size(); ++i)
    {
        if (i == pts.size() && !closeAgain)
            break;
        Pt const& p = pts[i % pts.size()];
        std::snprintf(buf, sizeof buf, "%s X%.17g Y%.17g\n", i == 0 ? "G0" : "G1", p.first,
                      p.second);
        s += buf;
    }
    return s + end;
}

// Scharge_SuperPTM on text. Slots start as a marker that no call writes, so the test sees
// exactly which slots were written; the counted meshes become owned.
struct Read
{
    long count = -7;
    std::vector<OwnedMesh> meshes;
    std::vector<QmPstMesh*> slots;
};

QmPstMesh* const kUntouched = reinterpret_cast<QmPstMesh*>(std::uintptr_t(0x5a50));

Read ReadContours(std::string const& text)
{
    qmtest::ScratchDir dir;
    const std::string path = dir.Path("in.iso");
    qmtest::WriteBytes(path, text);
    Read r;
    // A block takes at least one line of two bytes, or the last byte.
    r.slots.assign(text.size() / 2 + 2, kUntouched);
    Scharge_SuperPTM(path.c_str(), r.slots.data(), r.count);
    for (long i = 0; i < r.count; ++i)
        r.meshes.emplace_back(r.slots[i]);
    return r;
}

const std::vector<Pt> kSquare = {{0, 0}, {0, 10}, {10, 10}, {10, 0}};

// The emitters on a scratch file, read back as text.
std::string Emitted(std::function<void(std::FILE*)> const& emit)
{
    std::FILE* f = std::tmpfile();
    emit(f);
    std::rewind(f);
    std::string s;
    for (int c; (c = std::fgetc(f)) != EOF;)
        s += static_cast<char>(c);
    std::fclose(f);
    return s;
}

// A closed polyline made edge after edge, so that its newest edge is the last one.
OwnedMesh Polygon(std::vector<Pt> const& pts)
{
    OwnedMesh m = qmtest::NewOwnedMesh();
    std::vector<QmPstMesh::vertex*> v;
    for (Pt const& p : pts)
        v.push_back(m->AddVertex(ZgVector3(p.first, p.second, 7)));
    for (std::size_t i = 0; i < v.size(); ++i)
        qmtest::Edge(*m, v[i], v[(i + 1) % v.size()]);
    return m;
}
} // namespace

TEST(QmIsoFile, EmittersPrintTheirExactLines)
{
    const std::pair<std::function<void(std::FILE*)>, char const*> cases[] = {
        {[](std::FILE* f) { LSOM_Move3D(f, 1.5, -2, 0.123456); },
         "G0 X1.50000 Y-2.00000 Z0.12346\n"},
        {[](std::FILE* f) { LSOM_LineTo3D(f, 0, 1e6, -0.5); },
         "G1 X0.00000 Y1000000.00000 Z-0.50000\n"},
        {[](std::FILE* f) { LSOM_Move(f, 0.1, -3); },
         "G0 X0.100000000000000 Y-3.000000000000000\n"},
        {[](std::FILE* f) { LSOM_LineTo(f, 2.25, 1.0 / 3); },
         "G1 X2.250000000000000 Y0.333333333333333\n"},
        {[](std::FILE* f) { LSOM_PutH(f, 1, 2.5, -0.25, 1e-7); },
         "G2 X1.000000 Y2.500000 I-0.250000 J0.000000\n"},
        {[](std::FILE* f) { LSOM_PutT(f, -1, 0, 4, 0.0000051); },
         "G3 X-1.000000 Y0.000000 I4.000000 J0.000005\n"},
    };
    for (auto const& [emit, text] : cases)
        EXPECT_EQ(Emitted(emit), text);
}

TEST(QmIsoFile, WriterWritesOneMeshOrAllAndEndsWithM6)
{
    qmtest::ScratchDir dir;
    const std::string path = dir.Path("out.iso");
    OwnedMesh a = Polygon({{1, 1}, {2, 1}, {2, 2}});
    OwnedMesh b = Polygon({{0, 0}, {0, 4}, {4, 0}});
    OwnedMesh empty = qmtest::NewOwnedMesh();
    // The links are built for the run on b; on a they are the caller's and stay.
    QmAlgNeib().BuildAttrEdge(*a);
    QmPstMesh* meshes[] = {a.get(), b.get(), empty.get()};

    // From the newest edge, around by GetNextIde, back to its start; z is dropped.
    const std::string aText = "G0 X2.000000000000000 Y2.000000000000000\n"
                              "G1 X1.000000000000000 Y1.000000000000000\n"
                              "G1 X2.000000000000000 Y1.000000000000000\n"
                              "G1 X2.000000000000000 Y2.000000000000000\n";
    const std::string bText = "G0 X4.000000000000000 Y0.000000000000000\n"
                              "G1 X0.000000000000000 Y0.000000000000000\n"
                              "G1 X0.000000000000000 Y4.000000000000000\n"
                              "G1 X4.000000000000000 Y0.000000000000000\n";
    Qmsauve_AllGcode_TestNext(path.c_str(), meshes, 3, 1);
    EXPECT_EQ(qmtest::ReadBytes(path), "(Iso File)\n" + bText + "M6\n");
    for (auto it = b->GetIterEdge(); !it.IsEnd(); it.Next())
        EXPECT_EQ(qmtest::CountAttr<QmAlgNeib::AttrEdge>(it.Get()), 0);

    Qmsauve_AllGcode_TestNext(path.c_str(), meshes, 3, -1);
    EXPECT_EQ(qmtest::ReadBytes(path), "(Iso File)\n" + aText + bText + "M6\n")
        << "the empty mesh writes nothing";
    for (auto it = a->GetIterEdge(); !it.IsEnd(); it.Next())
        EXPECT_EQ(qmtest::CountAttr<QmAlgNeib::AttrEdge>(it.Get()), 1);

    // An open chain written from its tail ends there instead of running off it.
    OwnedMesh open = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*open, 3);
    qmtest::Edge(*open, v[0], v[1]);
    qmtest::Edge(*open, v[1], v[2]);
    QmPstMesh* one[] = {open.get()};
    Qmsauve_AllGcode_TestNext(path.c_str(), one, 1, -1);
    EXPECT_EQ(qmtest::ReadBytes(path), "(Iso File)\nG0 X1.000000000000000 Y2.000000000000000\n"
                                       "G1 X2.000000000000000 Y4.000000000000000\nM6\n");

    const std::string nowhere = dir.Path("no/such/dir.iso");
    Qmsauve_AllGcode_TestNext(nowhere.c_str(), meshes, 3, -1);
    EXPECT_FALSE(std::filesystem::exists(nowhere));
}

TEST(QmIsoFile, RoundTripLosesOnlyStraightPointsAndTheIslandsFirstEdge)
{
    // Outer clockwise with a point mid-side, island counter-clockwise.
    const std::vector<Pt> outer = {{0, 0}, {0, 20.5}, {30.25, 20.5}, {30.25, 10}, {30.25, 0}};
    const std::vector<Pt> island = {{5, 5}, {10, 5}, {10, 8.125}, {5, 8.125}};
    OwnedMesh a = Polygon(outer);
    OwnedMesh b = Polygon(island);
    QmPstMesh* meshes[] = {a.get(), b.get()};
    qmtest::ScratchDir dir;
    const std::string path = dir.Path("pocket.iso");
    Qmsauve_AllGcode_TestNext(path.c_str(), meshes, 2, -1);

    Read r = ReadContours(qmtest::ReadBytes(path));
    ASSERT_EQ(r.count, 2);
    EXPECT_EQ(SegsOf(*r.meshes[0]), Path({{0, 0}, {0, 20.5}, {30.25, 20.5}, {30.25, 0}}, true));
    // The island is written from its newest edge (5,8.125)->(5,5); that edge goes with the
    // G0 line, and the rest comes back reversed.
    EXPECT_EQ(SegsOf(*r.meshes[1]), Path({{5, 8.125}, {10, 8.125}, {10, 5}, {5, 5}}, false));
    EXPECT_EQ(r.slots[2], kUntouched);
}

TEST(QmIsoFile, ContourReaderDocumentedCases)
{
    const std::vector<Pt> midSide = {{0, 5}, {0, 10}, {10, 10}, {10, 0}, {0, 0}};
    struct Case
    {
        char const* name;
        std::string text;
        std::vector<Segs> want;
        QmPstMesh* nextSlot = kUntouched;
    };
    const Case cases[] = {
        {"two closed squares",
         Lines(kSquare, true, "") + Lines({{20, 0}, {20, 10}, {30, 10}, {30, 0}}, true).substr(11),
         {Path(kSquare, true), Path({{20, 0}, {30, 0}, {30, 10}, {20, 10}}, false)}},
        {"extra point mid-side",
         Lines({{0, 0}, {0, 10}, {10, 10}, {10, 5}, {10, 0}}, true),
         {Path(kSquare, true)}},
        {"start mid-side", Lines(midSide, true), {Path(kSquare, true)}},
        // Not exactly back at the start: open, so the start stays a vertex; the builder welds
        // the end onto it, which closes the chain with five edges.
        {"almost closed", Lines(midSide, false, "G1 X0.000000001 Y5\nM6\n"), {Path(midSide, true)}},
        {"no M6", Lines(kSquare, true, ""), {}},
        {"no M6, two contours",
         Lines(kSquare, true, "") + Lines(kSquare, true, "").substr(11),
         {Path(kSquare, true)}},
        {"empty", "", {}},
        {"header only", "(Iso File)", {}},
        {"one point, then a contour",
         "(h)\nG0 X0 Y0\nG0 X1 Y1\nG1 X2 Y2\nG1 X3 Y5\nM6\n",
         {Path({{2, 2}, {3, 5}}, false)}},
        {"a contour, then one point",
         "(h)\nG0 X0 Y0\nG1 X1 Y0\nG0 X5 Y5\nG1 X6 Y6\nG0 X7 Y7\nM6\n",
         {Path({{0, 0}, {1, 0}}, false)},
         nullptr},
        // Slots keep what earlier lines wrote: y of slot 1 from (10,0), all of slot 3 from the
        // G0 line that ended the first block.
        {"bad numbers keep the slot",
         "(h)\nG0 X0 Y0\nG1 X10 Y0\nG1 X10 Y10\nG0 X99 Y99\nG1 X20 Y20\nG1 X30 Ybad\n"
         "G1 X40 Y-5\nG1 junk\nM6\n",
         {Path({{0, 0}, {10, 0}, {10, 10}}, false),
          Path({{99, 99}, {40, -5}, {30, 0}, {20, 20}}, false)}},
        {"CRLF, blank lines, empty header",
         "\nG0 X0 Y0\r\n\r\n  G1 X0 Y10\r\nG1 X10 Y10\nM6",
         {Path({{0, 0}, {0, 10}, {10, 10}}, false)}},
    };
    for (Case const& c : cases)
    {
        Read r = ReadContours(c.text);
        ASSERT_EQ(r.count, long(c.want.size())) << c.name;
        for (std::size_t i = 0; i < c.want.size(); ++i)
            EXPECT_EQ(SegsOf(*r.meshes[i]), c.want[i]) << c.name << ", contour " << i;
        EXPECT_EQ(r.slots[c.want.size()], c.nextSlot) << c.name;
    }
}

TEST(QmIsoFile, CornerIsATurnOfMoreThanOneDegree)
{
    const double degree = 0.017453292519943295;
    for (double sign : {1.0, -1.0})
        for (double hair : {-1e-9, 1e-9})
        {
            const double t = sign * (degree + hair);
            Read r = ReadContours(
                Lines({{0, 0}, {10, 0}, {10 + 10 * std::cos(t), 10 * std::sin(t)}}, false));
            ASSERT_EQ(r.count, 1);
            EXPECT_EQ(r.meshes[0]->GetNbEdge(), hair > 0 ? 2 : 1) << "turn " << t;
        }

    // A closed contour starts at its first point when that is a corner, else at its second.
    for (bool startOnCorner : {true, false})
    {
        Read r = ReadContours(Lines(
            startOnCorner ? kSquare : std::vector<Pt>{{0, 5}, {0, 10}, {10, 10}, {10, 0}, {0, 0}},
            true));
        ASSERT_EQ(r.count, 1);
        QmPstMesh::edge* oldest = qmtest::Walk<QmPstMesh::edge>(r.meshes[0]->GetIterEdge()).back();
        EXPECT_EQ(Pt(oldest->v[0]->coo[0], oldest->v[0]->coo[1]),
                  startOnCorner ? Pt(0, 0) : Pt(0, 10));
    }
}

TEST(QmIsoFile, ReadIsoClosesLoopsExactlyAndKeepsTheLastZ)
{
    qmtest::ScratchDir dir;
    const std::string path = dir.Path("poly.iso");
    std::FILE* f = std::fopen(path.c_str(), "w");
    std::fputs("(Iso File)\n", f);
    LSOM_Move(f, 0, 0);
    for (Pt p : {Pt(0, 10), Pt(10, 10), Pt(10, 0), Pt(0, 0)})
        LSOM_LineTo(f, p.first, p.second);
    LSOM_Move(f, 0, 0);
    LSOM_LineTo(f, 5, 5);
    std::fputs("M6\n", f);
    std::fclose(f);

    OwnedMesh m = qmtest::NewOwnedMesh();
    ASSERT_TRUE(QmReadIso(*m, path.c_str()));
    ASSERT_EQ(m->GetNbVertex(), 6) << "the loop closes on its first vertex; chains share none";
    ASSERT_EQ(m->GetNbEdge(), 5);
    auto v = qmtest::Walk<QmPstMesh::vertex>(m->GetIterVertex());
    for (QmPstMesh::vertex* x : v)
        EXPECT_EQ(x->coo[2], 0.0);
    EXPECT_EQ(v.back()->refs, 2) << "the loop's first vertex";
    EXPECT_EQ(v[1]->refs, 1) << "the second chain's start, at the same place";
    for (auto it = m->GetIterEdge(); !it.IsEnd(); it.Next())
        EXPECT_EQ(it.Get()->grp, 0);

    // A feed without Z keeps the last Z; arcs and M6 are skipped; a point off the start by
    // 1e-7 does not close; a feed before any move starts a chain.
    struct Case
    {
        std::string text;
        long nbVertex;
        std::vector<std::array<double, 6>> edges;
    };
    const Case cases[] = {
        {"(h)\nG0 X1 Y2 Z3\nG1 X4 Y5\nG2 X9 Y9 I1 J1\nM6\nG1 X1 Y2 Z3.0000001\nG1 X1 Y2 Z3\n",
         3,
         {{1, 2, 3, 4, 5, 3}, {4, 5, 3, 1, 2, 3.0000001}, {1, 2, 3.0000001, 1, 2, 3}}},
        {"(h)\nG1 X1 Y1 Z1\nG1 X2 Y2 Z2\n", 2, {{1, 1, 1, 2, 2, 2}}},
    };
    for (Case const& c : cases)
    {
        qmtest::WriteBytes(path, c.text);
        OwnedMesh k = qmtest::NewOwnedMesh();
        ASSERT_TRUE(QmReadIso(*k, path.c_str()));
        auto e = qmtest::Walk<QmPstMesh::edge>(k->GetIterEdge());
        ASSERT_EQ(e.size(), c.edges.size()) << c.text;
        EXPECT_EQ(k->GetNbVertex(), c.nbVertex) << c.text;
        for (std::size_t i = 0; i < e.size(); ++i)
        {
            auto const& w = c.edges[c.edges.size() - 1 - i];
            auto const* a = e[i]->v[0]->coo;
            auto const* b = e[i]->v[1]->coo;
            EXPECT_EQ((std::array<double, 6>{a[0], a[1], a[2], b[0], b[1], b[2]}), w) << c.text;
        }
        if (c.nbVertex == long(c.edges.size()))
        {
            EXPECT_EQ(e.front()->v[1], e.back()->v[0]) << "closes on the first vertex";
        }
    }

    OwnedMesh none = qmtest::NewOwnedMesh();
    EXPECT_FALSE(QmReadIso(*none, dir.Path("missing.iso").c_str()));
    EXPECT_FALSE(QmReadIso(*none, dir.Path("").c_str())) << "a directory";
    EXPECT_FALSE(QmReadIso(*none, static_cast<unsigned short const*>(nullptr)));
    std::vector<unsigned short> wide(path.begin(), path.end());
    wide.push_back(0);
    EXPECT_TRUE(QmReadIso(*none, wide.data()));
    EXPECT_EQ(none->GetNbEdge(), 1);
}

TEST(QmIsoFile, ReadersSurviveLongContoursLongLinesAndGarbage)
{
    std::vector<Pt> zigzag;
    for (int i = 0; i < 200000; ++i)
        zigzag.emplace_back(i, i % 2);
    const std::string zeros(10000, '0');
    const std::string texts[] = {
        Lines(zigzag, false),
        "(" + std::string(10000, 'h') + ")\nG0 X0 Y0\nG1 X" + zeros + "7 Y0\nG1 X7 Y" + zeros +
            "3\nM6\nG0" + std::string(10000, 'x') + " X1 Y1\n",
    };
    const std::vector<Pt> want[] = {zigzag, {{0, 0}, {7, 0}, {7, 3}}};
    qmtest::ScratchDir dir;
    for (int t = 0; t < 2; ++t)
    {
        Read r = ReadContours(texts[t]);
        ASSERT_EQ(r.count, 1);
        EXPECT_EQ(SegsOf(*r.meshes[0]), Path(want[t], false));
        const std::string path = dir.Path("in.iso");
        qmtest::WriteBytes(path, texts[t]);
        OwnedMesh m = qmtest::NewOwnedMesh();
        ASSERT_TRUE(QmReadIso(*m, path.c_str()));
        EXPECT_EQ(m->GetNbEdge(), long(want[t].size()) - 1);
        // The long-word line holds "G0" but does not parse: a vertex at the last point.
        EXPECT_EQ(m->GetNbVertex(), long(want[t].size()) + t);
    }

    // Random bytes drawn towards the format's own tokens, NUL and white space included.
    const std::string tokens[] = {"G0",   "G1", "M6",  " X", " Y", " Z", "1.5",
                                  "-3",   "e9", "nan", "\n", "\r", " ",  std::string(1, '\0'),
                                  "\xff", ";"};
    for (unsigned seed = 1; seed <= 200; ++seed)
    {
        std::mt19937 rng(seed);
        std::string text;
        const int n = std::uniform_int_distribution<int>(0, 400)(rng);
        for (int i = 0; i < n; ++i)
        {
            const int k = std::uniform_int_distribution<int>(0, 16)(rng);
            if (k == 16)
                text += static_cast<char>(rng());
            else
                text += tokens[k];
        }
        Read r = ReadContours(text);
        ASSERT_GE(r.count, 0) << "seed " << seed;
        for (OwnedMesh& m : r.meshes)
            for (auto it = m->GetIterEdge(); !it.IsEnd(); it.Next())
                EXPECT_TRUE(it.Get()->v[0] != it.Get()->v[1] && it.Get()->grp == 0 &&
                            it.Get()->v[0]->coo[2] == 0.0)
                    << "seed " << seed;
        const std::string path = dir.Path("junk.iso");
        qmtest::WriteBytes(path, text);
        OwnedMesh m = qmtest::NewOwnedMesh();
        EXPECT_TRUE(QmReadIso(*m, path.c_str())) << "seed " << seed;
    }
}
