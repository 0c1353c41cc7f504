#include "build/QmStl.h"

#include "build/QmAlgHelperMeshBuilder.h"
#include "kernel/ZgTolerance.h"
#include "support/StlSoup.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace
{
using qmtest::Facet;
using V3 = ZgVector3;

// The callbacks take no context, so what they see is kept here and reset around each test.
std::vector<float> progressSeen;
int cancelCalls = 0;
int cancelOnCall = 0; // 0: never

bool countCancel()
{
    ++cancelCalls;
    return cancelCalls == cancelOnCall;
}

void recordProgress(float f) { progressSeen.push_back(f); }

void resetCallbacks()
{
    progressSeen.clear();
    cancelCalls = 0;
    cancelOnCall = 0;
}

struct Stl : ::testing::Test
{
    qmtest::ScratchDir dir;
    QmPstMesh* mesh = QmPstMesh::CreateMesh();

    void SetUp() override
    {
        ASSERT_TRUE(dir.Ok());
        resetCallbacks();
    }
    void TearDown() override
    {
        QmPstMesh::DestroyMesh(mesh);
        resetCallbacks();
    }

    bool Read(std::string const& path)
    {
        return QmReadStl(*mesh, path.c_str(), countCancel, recordProgress);
    }
    bool ReadBytes(std::string const& bytes)
    {
        const std::string path = dir.Path("in.stl");
        qmtest::WriteBytes(path, bytes);
        return Read(path);
    }
    std::string Write(QmPstMesh& m, bool binaryRecords)
    {
        const std::string path = dir.Path(binaryRecords ? "out.bin.stl" : "out.txt.stl");
        EXPECT_TRUE(QmWriteStl(m, path.c_str(), binaryRecords, nullptr, nullptr));
        return qmtest::ReadBytes(path);
    }
    bool HasFace(V3 const& a, V3 const& b, V3 const& c)
    {
        for (auto it = mesh->GetIterFace(); !it.IsEnd(); it.Next())
        {
            QmPstMesh::face* f = it.Get();
            if (V3(f->v[0]->coo[0], f->v[0]->coo[1], f->v[0]->coo[2]) == a &&
                V3(f->v[1]->coo[0], f->v[1]->coo[1], f->v[1]->coo[2]) == b &&
                V3(f->v[2]->coo[0], f->v[2]->coo[1], f->v[2]->coo[2]) == c)
                return true;
        }
        return false;
    }
};

std::string textFacet(char const* normal, V3 const& a, V3 const& b, V3 const& c)
{
    char buf[400];
    std::snprintf(buf, sizeof buf,
                  "  facet normal %s\n    outer loop\n      vertex %g %g %g\n      vertex %g %g "
                  "%g\n      vertex %g %g %g\n    endloop\n  endfacet\n",
                  normal, a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z);
    return buf;
}

const V3 o(0, 0, 0), ex(1, 0, 0), ey(0, 1, 0);

// Facet i of a strip along x, normal +z: a hundred of them make 201 vertices.
Facet stripFacet(int i)
{
    const float x = static_cast<float>(i);
    return Facet{0, 0, 1, x, 0, 0, x + 1, 0, 0, x, 1, 0};
}
} // namespace

// ---- writer ----

TEST_F(Stl, WriterBinaryFormIsAPaddedTextHeaderThenRecordsWithoutCount)
{
    qmtest::AddTriangle(*mesh, V3(0.1, 0.2, 5), V3(2.1, 0.2, 5), V3(0.1, 3.2, 5));
    qmtest::AddTriangle(*mesh, V3(0, 0, 0), V3(0, 0, 1), V3(1, 0, 0));
    qmtest::AddTriangle(*mesh, V3(0, 0, 0), V3(1, 1, 1), V3(2, 2, 2));
    const std::string bytes = Write(*mesh, true);

    // Newest face first: a collinear one, whose normal is NaN, then two with exact normals.
    ASSERT_EQ(bytes.size(), 80u + 3 * 50u);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(std::isnan(qmtest::FloatAt(bytes, 80 + 4 * i)), i < 3) << i;
    EXPECT_EQ(bytes.substr(92, 38),
              qmtest::BinaryStl({{0, 0, 0, 0, 0, 0, 1, 1, 1, 2, 2, 2}}, 0).substr(96));
    const std::string expected =
        std::string(41, ' ') + "SOLID Tarnvelquorium generated SLA File" +
        qmtest::BinaryStl({{0, 1, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0},
                           {0, 0, 1, 0.1f, 0.2f, 5, 2.1f, 0.2f, 5, 0.1f, 3.2f, 5}},
                          0)
            .substr(84);
    EXPECT_EQ(bytes.substr(0, 80) + bytes.substr(130), expected);
}

TEST_F(Stl, WriterTextFormIsAZeroPaddedHeaderACountAndCrlfBlocks)
{
    qmtest::AddTriangle(*mesh, o, ex, ey);
    qmtest::AddTriangle(*mesh, V3(1234567, 0.1, -2.5), V3(1234568, 0.1, -2.5),
                        V3(1234567, 1.1, -2.5));
    std::string expected = "Tarnvelquorium generated SLA File";
    expected.resize(80, '\0');
    expected += std::string("\x02\0\0\0", 4);
    expected += " FACET NORMAL 0 0 1\r\n  OUTER LOOP\r\n"
                "   VERTEX 1.23457e+06 0.1 -2.5\r\n"
                "   VERTEX 1.23457e+06 0.1 -2.5\r\n"
                "   VERTEX 1.23457e+06 1.1 -2.5\r\n"
                "  ENDLOOP\r\n ENDFACET\r\n"
                " FACET NORMAL 0 0 1\r\n  OUTER LOOP\r\n"
                "   VERTEX 0 0 0\r\n   VERTEX 1 0 0\r\n   VERTEX 0 1 0\r\n"
                "  ENDLOOP\r\n ENDFACET\r\n"
                "ENDSOLID\r\n";
    EXPECT_EQ(Write(*mesh, false), expected);
}

TEST_F(Stl, WriterOfAnEmptyMeshWritesHeadersOnly)
{
    const std::string binary = Write(*mesh, true);
    ASSERT_EQ(binary.size(), 80u);
    EXPECT_EQ(binary.substr(0, 41), std::string(41, ' '));
    EXPECT_EQ(binary.substr(41), "SOLID Tarnvelquorium generated SLA File");

    const std::string text = Write(*mesh, false);
    ASSERT_EQ(text.size(), 94u);
    EXPECT_EQ(text.substr(33, 51), std::string(51, '\0')) << "padding, then a count of 0";
    EXPECT_EQ(text.substr(84), "ENDSOLID\r\n");
}

TEST_F(Stl, WriterReportsEveryHundredFacesAndACancelLeavesNoFile)
{
    qmtest::MakeTorus(*mesh, 10, 3, 25, 5, 0.0);
    ASSERT_EQ(mesh->GetNbFace(), 250);
    const std::string path = dir.Path("w.stl");
    for (bool binaryRecords : {true, false})
    {
        resetCallbacks();
        EXPECT_TRUE(QmWriteStl(*mesh, path.c_str(), binaryRecords, countCancel, recordProgress));
        EXPECT_EQ(progressSeen, (std::vector<float>{0.0f, 0.4f, 0.8f})) << binaryRecords;
        EXPECT_EQ(cancelCalls, 3) << binaryRecords;

        // A file that was there is gone too: the open truncates it, the cancel removes it.
        for (int stopAt : {1, 3})
        {
            resetCallbacks();
            qmtest::WriteBytes(path, "older content");
            cancelOnCall = stopAt;
            EXPECT_FALSE(
                QmWriteStl(*mesh, path.c_str(), binaryRecords, countCancel, recordProgress));
            EXPECT_FALSE(std::filesystem::exists(path)) << binaryRecords << " " << stopAt;
            const std::vector<float> before =
                stopAt == 1 ? std::vector<float>{} : std::vector<float>{0.0f, 0.4f};
            EXPECT_EQ(progressSeen, before) << binaryRecords << " " << stopAt;
        }
    }
    EXPECT_FALSE(QmWriteStl(*mesh, dir.Path("no/such/dir.stl").c_str(), true, nullptr, nullptr));
}

TEST_F(Stl, WideNamesAreUtf16AndANullNameFails)
{
    qmtest::AddTriangle(*mesh, o, ex, ey);
    // "caf\u00e9-\u6a21.stl" in UTF-16, and the name the file must have on disk.
    unsigned short wide[] = {'c', 'a', 'f', 0xE9, '-', 0x6A21, '.', 's', 't', 'l', 0};
    const std::string utf8 = "caf\xC3\xA9-\xE6\xA8\xA1.stl";
    const std::string base = dir.Path("");
    std::vector<unsigned short> full(base.begin(), base.end());
    full.insert(full.end(), std::begin(wide), std::end(wide));
    EXPECT_TRUE(QmWriteStl(*mesh, full.data(), true, nullptr, nullptr));
    EXPECT_EQ(qmtest::ReadBytes(dir.Path(utf8)).size(), 130u);
    QmPstMesh* back = QmPstMesh::CreateMesh();
    EXPECT_TRUE(QmReadStl(*back, full.data(), nullptr, nullptr));
    QmPstMesh::DestroyMesh(back);

    EXPECT_FALSE(QmWriteStl(*mesh, static_cast<unsigned short*>(nullptr), true, nullptr, nullptr));
    EXPECT_FALSE(QmReadStl(*mesh, static_cast<unsigned short*>(nullptr), nullptr, nullptr));
    EXPECT_FALSE(QmReadStl(*mesh, static_cast<char*>(nullptr), nullptr, nullptr));
}

// ---- reading this library's own files ----

TEST_F(Stl, ReaderTakesThisLibrarysTextFileOneLineOutOfStep)
{
    // The header has no line end: the first line runs into the first facet line, and every
    // facet after is read from its outer-loop line, which holds no number.
    QmPstMesh* source = QmPstMesh::CreateMesh();
    qmtest::MakeTorus(*source, 10, 3, 6, 2, 0.0);
    ASSERT_EQ(source->GetNbFace(), 24);
    EXPECT_TRUE(ReadBytes(Write(*source, false)));
    EXPECT_EQ(mesh->GetNbFace(), 0);
    EXPECT_EQ(mesh->GetNbVertex(), 0);

    // With 10 faces the count's first byte is a line feed: the first line stops there, the
    // next one starts with the count's zero bytes (an empty string, so no number), and the
    // facets after it are read in step.
    QmPstMesh::DestroyMesh(source);
    source = QmPstMesh::CreateMesh();
    for (int i = 0; i < 10; ++i)
        qmtest::AddTriangle(*source, V3(i, 0, 0), V3(i + 1, 0, 0), V3(i, 1, 0));
    EXPECT_TRUE(ReadBytes(Write(*source, false)));
    EXPECT_EQ(mesh->GetNbFace(), 9);
    EXPECT_FALSE(HasFace(V3(9, 0, 0), V3(10, 0, 0), V3(9, 1, 0))) << "newest, written first";
    EXPECT_TRUE(HasFace(V3(8, 0, 0), V3(9, 0, 0), V3(8, 1, 0)));
    QmPstMesh::DestroyMesh(source);
}

TEST_F(Stl, ReaderTakesThisLibrarysBinaryFileFourBytesOutOfStep)
{
    // Records, newest first: A = normal (0,0,1), corners o, ex, ey; then B = normal
    // (1,0,0). The reader takes A's normal x for the count and then sees
    //   normal (0, 1, 0), corners (0, 0, 1), (0, 0, 0), (1, 0, X)
    // where X is A's zero attribute and the low half of B's normal x (0x3f800000): 0.
    // That winding gives (0, -1, 0), against the normal: the last two corners swap.
    // B's record is then 4 bytes short and gives nothing.
    qmtest::AddTriangle(*mesh, V3(5, 0, 0), V3(5, 1, 0), V3(5, 0, 1));
    qmtest::AddTriangle(*mesh, o, ex, ey);
    const std::string bytes = Write(*mesh, true);
    mesh->RemoveAll();
    EXPECT_TRUE(ReadBytes(bytes));
    ASSERT_EQ(mesh->GetNbFace(), 1);
    EXPECT_EQ(mesh->GetNbVertex(), 3);
    EXPECT_TRUE(HasFace(V3(0, 0, 1), V3(1, 0, 0), V3(0, 0, 0)));
}

// ---- usual files ----

TEST_F(Stl, ReaderTellsTextByAFacetKeywordInBytes255To508)
{
    const std::string body = textFacet("0 0 1", o, ex, ey) + "endsolid t\n";
    struct Case
    {
        int facetAt; // offset of the first facet line; "solid" and padding before it
        std::size_t padTo;
        char const* keyword;
        bool text;
    };
    const Case cases[] = {
        {8, 0, "facet", true},    // shorter than 255: the first read is searched
        {8, 600, "facet", false}, // the keywords all lie before byte 255
        {300, 0, "FaCeT", true},  // any letter case
        {502, 0, "facet", true},  // "facet" at 504 to 508 (after two spaces)
        {503, 0, "facet", false}, // its last letter at 509, outside the search
    };
    for (Case const& c : cases)
    {
        mesh->RemoveAll();
        std::string first = "solid " + std::string(c.facetAt - 7, 'x') + "\n";
        std::string bytes = first + body;
        bytes.replace(bytes.find("facet"), 5, c.keyword);
        if (bytes.size() < c.padTo)
            bytes += std::string(c.padTo - bytes.size(), ' ');
        EXPECT_TRUE(ReadBytes(bytes));
        EXPECT_EQ(HasFace(o, ex, ey), c.text) << c.facetAt << " " << c.keyword;
        if (c.text)
        {
            EXPECT_EQ(mesh->GetNbFace(), 1) << c.facetAt;
        }
    }
}

TEST_F(Stl, ReaderOrientsByTheNormalWeldsAndDropsAsDocumented)
{
    std::string text = "solid t\n";
    text += textFacet("0 0 -1", o, ex, ey); // against the winding: swapped
    text += textFacet("0 0 0", V3(5, 0, 0), V3(6, 0, 0), V3(5, 1, 0)); // kept as given
    text += textFacet("0 0 1", V3(6, 0, 0), V3(5, 1, 0), V3(5, 0, 0)); // the same face again
    text += textFacet("0 0 1", V3(5, 1, 0), V3(6, 0, 0), V3(5, 0, 0)); // and its reverse
    text += textFacet("none", V3(9, 0, 0), V3(10, 0, 0), V3(9, 1, 0)); // no number: nothing
    text += textFacet("0 0 1", V3(0, 7, 0), V3(1, 7, 0), V3(2, 7, 0)); // collinear: nothing
    // Two corners within the weld's 1e-6 of each other: vertices, but no face.
    text += textFacet("0 0 1", V3(0, 20, 0), V3(5e-7, 20, 0), V3(0, 1020, 0));
    text += "endsolid t\n";
    EXPECT_TRUE(ReadBytes(text));
    EXPECT_EQ(mesh->GetNbFace(), 2);
    EXPECT_EQ(mesh->GetNbVertex(), 8);
    EXPECT_TRUE(HasFace(o, ey, ex));
    EXPECT_TRUE(HasFace(V3(5, 0, 0), V3(6, 0, 0), V3(5, 1, 0)));
}

TEST_F(Stl, ReaderChecksCancelAndProgressWhileTheFacetCountIsAMultipleOf100)
{
    std::vector<Facet> strip;
    for (int i = 0; i < 100; ++i)
        strip.push_back(stripFacet(i));
    const float x1 = 0.5f + 5e-7f;
    struct Case
    {
        char const* what;
        Facet extra;
        int nbCancel;
        int nbProgressAtEnd; // calls at the full file size
        long newVertices;
    };
    // The extra record comes last; 84 + 100 * 50 bytes stand before it, 5134 in all.
    const Case cases[] = {
        {"a repeat counts", stripFacet(0), 2, 0, 0},
        {"a collapse is checked after and at the end",
         {0, 0, 1, 0.5f, 3, 0, x1, 3, 0, 0.5f, 1003, 0},
         4,
         2,
         2},
        {"a collinear facet is skipped", {0, 0, 1, 0, 5, 0, 1, 5, 0, 2, 5, 0}, 3, 1, 0},
    };
    for (Case const& c : cases)
    {
        mesh->RemoveAll();
        resetCallbacks();
        std::vector<Facet> facets = strip;
        facets.push_back(c.extra);
        EXPECT_TRUE(ReadBytes(qmtest::BinaryStl(facets, 101)));
        EXPECT_EQ(mesh->GetNbFace(), 100) << c.what;
        EXPECT_EQ(mesh->GetNbVertex(), 201 + c.newVertices) << c.what;
        EXPECT_EQ(cancelCalls, c.nbCancel) << c.what;
        std::vector<float> expected = {0.0f, 5084.0f / 5134.0f};
        expected.insert(expected.end(), c.nbProgressAtEnd, 1.0f);
        EXPECT_EQ(progressSeen, expected) << c.what;
    }

    // Cancelled at the first check: nothing read. At the second: the hundred facets stay,
    // progress is not called after the cancel, and the file is left alone.
    for (int stopAt : {1, 2})
    {
        mesh->RemoveAll();
        resetCallbacks();
        cancelOnCall = stopAt;
        EXPECT_FALSE(ReadBytes(qmtest::BinaryStl(strip, 100)));
        EXPECT_EQ(mesh->GetNbFace(), stopAt == 1 ? 0 : 100);
        EXPECT_EQ(progressSeen.size(), static_cast<std::size_t>(stopAt - 1));
        EXPECT_TRUE(std::filesystem::exists(dir.Path("in.stl")));
    }
}

TEST_F(Stl, ReaderAddsToTheMeshWithoutWeldingToWhatItHeld)
{
    qmtest::AddTriangle(*mesh, o, ex, ey);
    EXPECT_TRUE(ReadBytes("solid t\n" + textFacet("0 0 1", o, ex, ey) + "endsolid t\n"));
    EXPECT_EQ(mesh->GetNbFace(), 2);
    EXPECT_EQ(mesh->GetNbVertex(), 6);
}

TEST_F(Stl, ReaderRebuildsFilesFromOtherTools)
{
    const double pi = std::acos(-1.0);
    // A polygon of n sides and circumradius r revolved in N straight steps encloses
    // N sin(2 pi / N) * area * centroid radius (each step is a linear sweep).
    const double torus = 24 * std::sin(2 * pi / 24) * (6 * 9 * std::sin(2 * pi / 12)) * 10;
    const double bored = 8000 - 20 * (24 * 25 * std::sin(2 * pi / 48));
    // Twenty aligned rings of 40 sides at polar angles (i + 1/2) 9 degrees: a stack of
    // frusta of regular pyramids.
    double sphere = 0.0;
    for (int i = 0; i + 1 < 20; ++i)
    {
        const double a0 = (i + 0.5) * pi / 20;
        const double a1 = (i + 1.5) * pi / 20;
        const double s0 = 20 * std::pow(10 * std::sin(a0), 2) * std::sin(2 * pi / 40);
        const double s1 = 20 * std::pow(10 * std::sin(a1), 2) * std::sin(2 * pi / 40);
        sphere += 10 * (std::cos(a0) - std::cos(a1)) / 3 * (s0 + s1 + std::sqrt(s0 * s1));
    }
    struct Case
    {
        char const* file;
        long nbFace, nbVertex, nbEdge;
        double volume, relTol;
        long nonManifold; // edges with four faces
    };
    const Case cases[] = {
        {"stl_torus_ascii.stl", 576, 288, 864, torus, 1e-5, 0},
        {"stl_cube_minus_cylinder_binary.stl", 208, 104, 312, bored, 1e-6, 0},
        {"stl_cube_minus_cylinder_admesh_ascii.stl", 208, 104, 312, bored, 1e-6, 0},
        {"stl_two_cubes_edge_ascii.stl", 24, 14, 35, 2000, 1e-12, 1},
        {"stl_sphere_admesh_binary.stl", 1596, 800, 2394, sphere, 1e-6, 0},
    };
    for (Case const& c : cases)
    {
        mesh->RemoveAll();
        resetCallbacks();
        ASSERT_TRUE(Read(qmtest::StlDataDir() + "/" + c.file)) << c.file;
        EXPECT_EQ(mesh->GetNbFace(), c.nbFace) << c.file;
        EXPECT_EQ(mesh->GetNbVertex(), c.nbVertex) << c.file;
        qmtest::EdgeCensus census = qmtest::CensusOf(*mesh);
        EXPECT_EQ(census.nbEdge, c.nbEdge) << c.file;
        EXPECT_TRUE(census.balanced) << c.file;
        EXPECT_EQ(census.edgesByFaceCount[4], c.nonManifold) << c.file;
        EXPECT_EQ(census.edgesByFaceCount[2], c.nbEdge - c.nonManifold) << c.file;
        EXPECT_NEAR(qmtest::SignedVolume(*mesh), c.volume, c.relTol * c.volume) << c.file;
        EXPECT_TRUE(std::is_sorted(progressSeen.begin(), progressSeen.end())) << c.file;
        EXPECT_EQ(progressSeen.front(), 0.0f) << c.file;
        EXPECT_LE(progressSeen.back(), 1.0f) << c.file;
        EXPECT_EQ(progressSeen.size(), 1u + c.nbFace / 100) << c.file;
    }

    // admesh's text of the binary file prints nine digits: the same floats, the same faces.
    mesh->RemoveAll();
    ASSERT_TRUE(Read(qmtest::StlDataDir() + "/stl_cube_minus_cylinder_binary.stl"));
    const auto fromBinary = qmtest::TrianglesOf(*mesh);
    mesh->RemoveAll();
    ASSERT_TRUE(Read(qmtest::StlDataDir() + "/stl_cube_minus_cylinder_admesh_ascii.stl"));
    EXPECT_EQ(qmtest::TrianglesOf(*mesh), fromBinary);
}

// ---- round trips, with the header quirk mended outside the library ----

TEST_F(Stl, WrittenRecordsReadBackOnceTheHeaderHasTheUsualShape)
{
    std::mt19937 rng(9157);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2);
    QmPstMesh* source = QmPstMesh::CreateMesh();
    qmtest::MakeTorus(*source, 40, 16, 18, 10, 0.125);
    // Moving vertices off the grid, for the binary form only, keeps every float distinct.
    QmPstMesh* moved = QmPstMesh::CreateMesh();
    qmtest::MakeTorus(*moved, 40, 16, 18, 10, 0.0);
    for (auto it = moved->GetIterVertex(); !it.IsEnd(); it.Next())
        for (double& c : it.Get()->coo)
            c += jitter(rng);

    for (bool binaryRecords : {true, false})
    {
        QmPstMesh& m = binaryRecords ? *moved : *source;
        std::string bytes = Write(m, binaryRecords);
        // Binary: the count the reader expects goes after the header. Text: a line end
        // closes the first line after the count (360 faces: no line feed in it).
        if (binaryRecords)
            bytes.insert(80, std::string("\x68\x01\0\0", 4));
        else
            bytes.insert(84, "\n");
        mesh->RemoveAll();
        EXPECT_TRUE(ReadBytes(bytes));
        EXPECT_EQ(qmtest::TrianglesOf(*mesh), qmtest::TrianglesOf(m))
            << "seed 9157 " << binaryRecords;
        EXPECT_EQ(mesh->GetNbVertex(), 180) << binaryRecords;
        EXPECT_TRUE(qmtest::CensusOf(*mesh).balanced) << binaryRecords;
    }
    QmPstMesh::DestroyMesh(moved);
    QmPstMesh::DestroyMesh(source);
}

// ---- bad input ----

TEST_F(Stl, ReaderGivesTrueOnCorruptBodiesAndFalseOnlyWhenItCannotOpen)
{
    EXPECT_FALSE(Read(dir.Path("missing.stl")));
    EXPECT_FALSE(Read(dir.Path(""))) << "a directory";

    const std::vector<Facet> three = {stripFacet(0), stripFacet(1), stripFacet(2)};
    struct Case
    {
        char const* what;
        std::string bytes;
        long nbFace; // -1: any
    };
    // A first line that puts the first facet keyword at 257, inside the probe.
    const std::string solid = "solid " + std::string(250, 'x') + "\n";
    const std::string full = qmtest::BinaryStl(three, 3);
    const Case cases[] = {
        {"empty", "", 0},
        {"header only", std::string(80, 'h'), 0},
        {"count only", qmtest::BinaryStl({}, 0xFFFFFFFFu), 0},
        {"enormous count", qmtest::BinaryStl(three, 0x7FFFFFFFu), 3},
        {"count of zero", qmtest::BinaryStl(three, 0), 3},
        {"last record cut", full.substr(0, full.size() - 20), 2},
        {"attribute cut", full.substr(0, full.size() - 1), 3},
        {"overlong lines", solid + "facet normal 1 " + std::string(100000, '9') + "\n", 0},
        {"lines without numbers", solid + "facet\n" + std::string(3000, '\n'), 0},
        {"numbers out of range",
         solid + textFacet("1e999 -1e999 nan", o, ex, ey) +
             "facet normal 0 0 1\nouter loop\nvertex 1e400 0 0\n"
             "vertex -nan 1 1\nvertex 0 1e-400 inf\n",
         -1},
        {"binary nans", qmtest::BinaryStl({{0, 0, 1, NAN, 0, 0, 1, INFINITY, 0, 0, 1, -NAN}}, 1),
         -1},
    };
    for (Case const& c : cases)
    {
        mesh->RemoveAll();
        EXPECT_TRUE(ReadBytes(c.bytes)) << c.what;
        if (c.nbFace >= 0)
        {
            EXPECT_EQ(mesh->GetNbFace(), c.nbFace) << c.what;
        }
    }

    // Random bytes on both paths: "facet" planted at 300 sends them to the text reader.
    std::mt19937 rng(5521);
    for (int i = 0; i < 40; ++i)
    {
        std::string bytes(rng() % 4000, '\0');
        for (char& b : bytes)
            b = static_cast<char>(rng());
        if (i % 2 == 1 && bytes.size() > 400)
        {
            for (std::size_t k = 255; k < 300; ++k)
                bytes[k] = bytes[k] == '\0' ? 'x' : bytes[k];
            bytes.replace(300, 5, "facet");
        }
        mesh->RemoveAll();
        EXPECT_TRUE(ReadBytes(bytes)) << "seed 5521, i=" << i;
        for (auto it = mesh->GetIterFace(); !it.IsEnd(); it.Next())
        {
            QmPstMesh::face* f = it.Get();
            EXPECT_TRUE(f->v[0] != f->v[1] && f->v[1] != f->v[2] && f->v[0] != f->v[2]);
        }
    }
}

// ---- the weld under the reader ----

namespace
{
// The documented vertex order on a plain std::map, looked up and inserted as documented:
// the reference the builder's faster index (node arena, repeats answered from memory)
// must agree with call for call.
struct RefKey
{
    double c[3];
    double prec;
};

struct RefLess
{
    bool operator()(RefKey const& a, RefKey const& b) const
    {
        for (int i = 0; i < 3; ++i)
        {
            if (a.c[i] + a.prec < b.c[i] - dZgZero)
                return true;
            if (a.c[i] - a.prec > b.c[i] + dZgZero)
                return false;
        }
        return false;
    }
};
} // namespace

TEST(QmStlWeld, BuilderAgreesWithAPlainMapOfTheDocumentedOrder)
{
    // Points packed closer than the precision, so the order is far from transitive and
    // answers depend on the tree's shape; half the queries repeat one of the last few.
    std::mt19937 rng(60613);
    std::uniform_real_distribution<double> u(0.0, 0.2);
    const double precs[] = {ZgGetZero(), 0.004, 0.03};
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    QmAlgHelperMeshBuilder b(*mesh);
    std::map<RefKey, int, RefLess> ref;
    std::map<QmPstMesh::vertex*, int> number;
    std::vector<V3> recent;
    double prec = ZgGetZero();
    for (int i = 0; i < 20000; ++i)
    {
        if (rng() % 16 == 0)
        {
            prec = precs[rng() % 3];
            b.SetPrecCoo(prec);
        }
        V3 p(u(rng), u(rng), u(rng));
        if (!recent.empty() && rng() % 2 == 0)
            p = recent[rng() % recent.size()];
        recent.push_back(p);
        if (recent.size() > 6)
            recent.erase(recent.begin());
        const RefKey key{{p.x, p.y, p.z}, b.GetPrecCoo() - ZgGetZero()};
        auto it = ref.lower_bound(key);
        const bool found = it != ref.end() && !RefLess()(key, it->first);
        const int op = static_cast<int>(rng() % 8);
        QmPstMesh::vertex* v = nullptr;
        int expected = -1;
        if (op == 0)
        {
            v = b.CreateVertex(p);
            expected = static_cast<int>(number.size());
            ref.insert({key, expected});
        }
        else if (op == 1)
        {
            v = b.FindVertex(p);
            expected = found ? it->second : -1;
        }
        else
        {
            v = b.FindOrCreateVertex(p);
            expected = found ? it->second : static_cast<int>(number.size());
            if (!found)
                ref.insert({key, expected});
        }
        if (v != nullptr && number.count(v) == 0)
            number.emplace(v, static_cast<int>(number.size()));
        ASSERT_EQ(v == nullptr ? -1 : number[v], expected) << "seed 60613, i=" << i;
    }
    QmPstMesh::DestroyMesh(mesh);
}
