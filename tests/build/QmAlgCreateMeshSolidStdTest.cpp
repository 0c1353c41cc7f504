#include "build/QmAlgCreateMeshSolidStd.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace
{
using vertex = QmPstMesh::vertex;
using face = QmPstMesh::face;

const double pi = std::acos(-1.0);

struct MeshDeleter
{
    void operator()(QmPstMesh* m) const { QmPstMesh::DestroyMesh(m); }
};
using MeshPtr = std::unique_ptr<QmPstMesh, MeshDeleter>;

MeshPtr newMesh() { return MeshPtr(QmPstMesh::CreateMesh()); }

struct V3
{
    double x, y, z;
};

V3 coo(vertex const* v) { return {v->coo[0], v->coo[1], v->coo[2]}; }
V3 sub(V3 a, V3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
V3 cross(V3 a, V3 b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double norm(V3 a) { return std::sqrt(dot(a, a)); }

// Unnormalised: twice the area along the winding's right-hand normal.
V3 faceNormal(face const* f)
{
    return cross(sub(coo(f->v[1]), coo(f->v[0])), sub(coo(f->v[2]), coo(f->v[0])));
}

std::vector<face*> facesOf(QmPstMesh& mesh)
{
    std::vector<face*> out;
    for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    return out;
}

std::vector<vertex*> verticesOf(QmPstMesh& mesh)
{
    std::vector<vertex*> out;
    for (auto it = mesh.GetIterVertex(); !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    return out;
}

// Divergence theorem over the triangles: exact for any closed, consistently wound
// polyhedron, positive when the winding faces outward.
double signedVolume(std::vector<face*> const& faces)
{
    double sum = 0.0;
    for (face const* f : faces)
        sum += dot(coo(f->v[0]), cross(coo(f->v[1]), coo(f->v[2])));
    return sum / 6.0;
}

// A closed, consistently oriented surface uses every directed edge exactly once and
// also its reverse exactly once. Returns V - E + F over what the faces use, and fails
// the test on any defect.
long expectClosedOriented(std::vector<face*> const& faces)
{
    std::map<std::pair<vertex*, vertex*>, int> directed;
    std::set<vertex*> used;
    for (face* f : faces)
    {
        EXPECT_TRUE(f->v[0] != f->v[1] && f->v[1] != f->v[2] && f->v[0] != f->v[2]);
        for (int k = 0; k < 3; ++k)
        {
            ++directed[{f->v[k], f->v[(k + 1) % 3]}];
            used.insert(f->v[k]);
        }
    }
    long defects = 0;
    for (auto const& [e, n] : directed)
    {
        auto rev = directed.find({e.second, e.first});
        if (n != 1 || rev == directed.end() || rev->second != 1)
            ++defects;
    }
    EXPECT_EQ(defects, 0);
    const long nbEdge = static_cast<long>(directed.size()) / 2;
    return static_cast<long>(used.size()) - nbEdge + static_cast<long>(faces.size());
}

std::map<long, long> groupCounts(std::vector<face*> const& faces)
{
    std::map<long, long> out;
    for (face const* f : faces)
        ++out[f->grp];
    return out;
}

long countVerticesAt(QmPstMesh& mesh, V3 p)
{
    long n = 0;
    for (vertex* v : verticesOf(mesh))
        n += norm(sub(coo(v), p)) < 1e-9 ? 1 : 0;
    return n;
}

// Relative volume errors of successive refinements must shrink, and the last be small.
void expectConverges(std::vector<double> const& volumes, double exact, double lastTol)
{
    for (std::size_t i = 0; i < volumes.size(); ++i)
    {
        EXPECT_GT(volumes[i], 0.0);
        if (i > 0)
        {
            EXPECT_LT(std::fabs(volumes[i] - exact), std::fabs(volumes[i - 1] - exact));
        }
    }
    EXPECT_LT(std::fabs(volumes.back() - exact) / exact, lastTol);
}

const double ballVolume = 4.0 / 3.0 * pi * 8.0; // radius 2
} // namespace

TEST(QmAlgCreateMeshSolidStd, IcosphereCountsRadiusAndClosure)
{
    QmAlgCreateMeshSolidStd alg;
    for (long depth : {0L, -2L})
    {
        MeshPtr m = newMesh();
        alg.SphereIcosahedron(*m, 2.0, depth);
        EXPECT_EQ(m->GetNbVertex(), 0);
        EXPECT_EQ(m->GetNbFace(), 0);
    }

    std::vector<double> volumes;
    for (long depth = 1; depth <= 5; ++depth)
    {
        SCOPED_TRACE("depth " + std::to_string(depth));
        MeshPtr m = newMesh();
        alg.SphereIcosahedron(*m, 2.0, depth);
        const long nbFace = 20L << (2 * (depth - 1));
        EXPECT_EQ(m->GetNbFace(), nbFace);
        EXPECT_EQ(m->GetNbVertex(), nbFace / 2 + 2); // 12, 42, 162, ...
        for (vertex* v : verticesOf(*m))
            EXPECT_NEAR(norm(coo(v)), 2.0, 1e-12);
        auto faces = facesOf(*m);
        EXPECT_EQ(groupCounts(faces), (std::map<long, long>{{1, nbFace}}));
        EXPECT_EQ(expectClosedOriented(faces), 2);
        volumes.push_back(signedVolume(faces));
        EXPECT_LT(volumes.back(), ballVolume); // inscribed
        if (depth == 1)
        {
            // The regular icosahedron: every edge is circumradius / sin(2 pi / 5).
            for (face* f : faces)
                for (int k = 0; k < 3; ++k)
                    EXPECT_NEAR(norm(sub(coo(f->v[k]), coo(f->v[(k + 1) % 3]))),
                                2.0 / std::sin(2.0 * pi / 5.0), 1e-12);
        }
    }
    expectConverges(volumes, ballVolume, 5e-3);
}

TEST(QmAlgCreateMeshSolidStd, SphereCountsPolesAndClosure)
{
    QmAlgCreateMeshSolidStd alg;
    const long cases[][2] = {{3, 2}, {4, 3}, {8, 5}, {13, 7}};
    for (auto const& c : cases)
    {
        const long nbM = c[0];
        const long nbP = c[1];
        SCOPED_TRACE("meridians " + std::to_string(nbM) + " parallels " + std::to_string(nbP));
        MeshPtr m = newMesh();
        alg.Sphere(*m, 2.0, nbM, nbP);
        EXPECT_EQ(m->GetNbFace(), 2 * nbM * (nbP - 1));
        EXPECT_EQ(m->GetNbVertex(), 2 + nbM * (nbP - 1));
        EXPECT_EQ(countVerticesAt(*m, {0, 0, 2.0}), 1);
        EXPECT_EQ(countVerticesAt(*m, {0, 0, -2.0}), 1);
        for (vertex* v : verticesOf(*m))
            EXPECT_NEAR(norm(coo(v)), 2.0, 1e-12);
        auto faces = facesOf(*m);
        EXPECT_EQ(groupCounts(faces), (std::map<long, long>{{1, 2 * nbM * (nbP - 1)}}));
        EXPECT_EQ(expectClosedOriented(faces), 2);
    }

    std::vector<double> volumes;
    for (long n : {8L, 16L, 32L, 64L})
    {
        MeshPtr m = newMesh();
        alg.Sphere(*m, 2.0, n, n / 2);
        volumes.push_back(signedVolume(facesOf(*m)));
    }
    expectConverges(volumes, ballVolume, 5e-3);
}

TEST(QmAlgCreateMeshSolidStd, CylinderCapsSideAndClosure)
{
    QmAlgCreateMeshSolidStd alg;
    const double rb = 2.0, rt = 1.0, h = 3.0;
    const long cases[][3] = {{3, 1, 1}, {8, 4, 3}, {17, 2, 5}}; // around, height, radial
    for (auto const& c : cases)
    {
        const long nA = c[0], nH = c[1], nR = c[2];
        SCOPED_TRACE("around " + std::to_string(nA) + " height " + std::to_string(nH) + " radial " +
                     std::to_string(nR));
        MeshPtr m = newMesh();
        alg.Cylinder(*m, rb, rt, h, nA, nH, nR);
        // Each cap: a centre and nR rings; the side adds its nH - 1 inner rings.
        EXPECT_EQ(m->GetNbVertex(), 2 + 2 * nA * nR + nA * (nH - 1));
        auto faces = facesOf(*m);
        const long capFaces = nA * (2 * nR - 1); // the centre band has no inner ring
        EXPECT_EQ(groupCounts(faces),
                  (std::map<long, long>{{1, capFaces}, {2, 2 * nA * nH}, {3, capFaces}}));
        EXPECT_EQ(expectClosedOriented(faces), 2);
        for (face* f : faces)
        {
            const V3 n = faceNormal(f);
            if (f->grp == 2)
            {
                const V3 mid = coo(f->v[0]);
                EXPECT_GT(n.x * mid.x + n.y * mid.y, 0.0);
                continue;
            }
            const double zCap = f->grp == 1 ? 0.0 : h;
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(f->v[k]->coo[2], zCap, 1e-12);
            EXPECT_GT(f->grp == 1 ? -n.z : n.z, 0.0);
        }
    }

    std::vector<double> volumes;
    for (long n : {8L, 16L, 32L, 64L})
    {
        MeshPtr m = newMesh();
        alg.Cylinder(*m, rb, rt, h, n, 3, 2);
        volumes.push_back(signedVolume(facesOf(*m)));
    }
    expectConverges(volumes, pi * h * (rb * rb + rb * rt + rt * rt) / 3.0, 5e-3);
}

TEST(QmAlgCreateMeshSolidStd, ConeTipsWeldAndCapsAreSkipped)
{
    QmAlgCreateMeshSolidStd alg;
    const long nA = 12, nH = 3, nR = 2;
    const double h = 3.0;

    MeshPtr up = newMesh();
    alg.Cylinder(*up, 2.0, 0.0, h, nA, nH, nR);
    auto faces = facesOf(*up);
    EXPECT_EQ(countVerticesAt(*up, {0, 0, h}), 1);
    EXPECT_EQ(groupCounts(faces),
              (std::map<long, long>{{1, nA * (2 * nR - 1)}, {2, nA * (2 * nH - 1)}}));
    EXPECT_EQ(expectClosedOriented(faces), 2);

    MeshPtr down = newMesh();
    alg.Cylinder(*down, 0.0, 2.0, h, nA, nH, nR);
    faces = facesOf(*down);
    EXPECT_EQ(countVerticesAt(*down, {0, 0, 0}), 1);
    EXPECT_EQ(groupCounts(faces),
              (std::map<long, long>{{2, nA * (2 * nH - 1)}, {3, nA * (2 * nR - 1)}}));
    EXPECT_EQ(expectClosedOriented(faces), 2);
}

TEST(QmAlgCreateMeshSolidStd, TorusIsClosedGenusOne)
{
    QmAlgCreateMeshSolidStd alg;
    const double R = 3.0, r = 1.0;
    const long cases[][2] = {{3, 3}, {12, 8}, {7, 20}};
    for (auto const& c : cases)
    {
        SCOPED_TRACE("major " + std::to_string(c[0]) + " minor " + std::to_string(c[1]));
        MeshPtr m = newMesh();
        alg.Torus(*m, R, r, c[0], c[1]);
        // The seams close through the weld alone: an unclosed seam adds a ring here.
        EXPECT_EQ(m->GetNbVertex(), c[0] * c[1]);
        for (vertex* v : verticesOf(*m))
        {
            const double d = std::hypot(v->coo[0], v->coo[1]) - R;
            EXPECT_NEAR(d * d + v->coo[2] * v->coo[2], r * r, 1e-12);
        }
        auto faces = facesOf(*m);
        EXPECT_EQ(groupCounts(faces), (std::map<long, long>{{1, 2 * c[0] * c[1]}}));
        EXPECT_EQ(expectClosedOriented(faces), 0);
    }

    std::vector<double> volumes;
    for (long n : {8L, 16L, 32L, 64L})
    {
        MeshPtr m = newMesh();
        alg.Torus(*m, R, r, n, n);
        volumes.push_back(signedVolume(facesOf(*m)));
    }
    expectConverges(volumes, 2.0 * pi * pi * R * r * r, 5e-3);
}

TEST(QmAlgCreateMeshSolidStd, CubeSidesGroupsAndOrientation)
{
    QmAlgCreateMeshSolidStd alg;
    {
        MeshPtr m = newMesh();
        alg.Cube(*m, 1.0, 1.0, 1.0, 1, 1, 1);
        EXPECT_EQ(m->GetNbVertex(), 8);
        EXPECT_EQ(groupCounts(facesOf(*m)),
                  (std::map<long, long>{{1, 2}, {2, 2}, {3, 2}, {4, 2}, {5, 3}, {6, 1}}));
    }

    const double size[3] = {2.0, 3.0, 5.0};
    const long cases[][3] = {{1, 1, 1}, {2, 3, 4}, {3, 1, 2}};
    for (auto const& n : cases)
    {
        SCOPED_TRACE("counts " + std::to_string(n[0]) + " " + std::to_string(n[1]) + " " +
                     std::to_string(n[2]));
        MeshPtr m = newMesh();
        alg.Cube(*m, size[0], size[1], size[2], n[0], n[1], n[2]);
        // Grid points of the box minus those strictly inside.
        EXPECT_EQ(m->GetNbVertex(),
                  (n[0] + 1) * (n[1] + 1) * (n[2] + 1) - (n[0] - 1) * (n[1] - 1) * (n[2] - 1));
        auto faces = facesOf(*m);
        EXPECT_EQ(expectClosedOriented(faces), 2);
        EXPECT_NEAR(signedVolume(faces), size[0] * size[1] * size[2], 1e-12);

        // Which side each face lies on, found from its coordinates, keyed by group.
        // Sides are named axis and sign: "+z", "-y", ...
        std::map<std::pair<long, std::string>, long> onSide;
        for (face* f : faces)
        {
            std::string side;
            for (int axis = 0; axis < 3; ++axis)
                for (double s : {1.0, -1.0})
                {
                    bool all = true;
                    for (int k = 0; k < 3; ++k)
                        all = all && std::fabs(f->v[k]->coo[axis] - s * size[axis] / 2) < 1e-12;
                    if (all)
                    {
                        side = std::string(s > 0 ? "+" : "-") + "xyz"[axis];
                        const V3 nf = faceNormal(f);
                        const double along[3] = {nf.x, nf.y, nf.z};
                        EXPECT_GT(s * along[axis], 0.0);
                    }
                }
            ++onSide[{f->grp, side}];
        }
        const long xy = 2 * n[0] * n[1], yz = 2 * n[1] * n[2], zx = 2 * n[2] * n[0];
        const std::map<std::pair<long, std::string>, long> expected{
            {{1, "+z"}, xy}, {{2, "-z"}, xy},     {{3, "+x"}, yz},    {{4, "-x"}, yz},
            {{5, "+y"}, zx}, {{5, "-y"}, zx / 2}, {{6, "-y"}, zx / 2}};
        EXPECT_EQ(onSide, expected);
    }
}

TEST(QmAlgCreateMeshSolidStd, SecondSolidSharesNoVertexWithFirst)
{
    QmAlgCreateMeshSolidStd alg;
    // Each solid is added twice at the same place: the second copy must not weld onto the
    // first, so the counts double and the copies are disjoint.
    const std::vector<std::pair<std::string, std::function<void(QmPstMesh&)>>> solids{
        {"cube", [&](QmPstMesh& m) { alg.Cube(m, 1.0, 1.0, 1.0, 1, 1, 1); }},
        {"icosphere", [&](QmPstMesh& m) { alg.SphereIcosahedron(m, 1.0, 2); }},
        {"sphere", [&](QmPstMesh& m) { alg.Sphere(m, 1.0, 6, 4); }},
        {"cylinder", [&](QmPstMesh& m) { alg.Cylinder(m, 1.0, 0.0, 2.0, 6, 2, 2); }},
        {"torus", [&](QmPstMesh& m) { alg.Torus(m, 2.0, 0.5, 6, 4); }}};
    for (auto const& [name, make] : solids)
    {
        SCOPED_TRACE(name);
        MeshPtr m = newMesh();
        make(*m);
        const long nbVertex = m->GetNbVertex();
        const long nbFace = m->GetNbFace();
        const auto oldFacesList = facesOf(*m);
        const auto oldVerticesList = verticesOf(*m);
        const std::set<face*> oldFaces(oldFacesList.begin(), oldFacesList.end());
        const std::set<vertex*> oldVertices(oldVerticesList.begin(), oldVerticesList.end());

        make(*m);
        EXPECT_EQ(m->GetNbVertex(), 2 * nbVertex);
        EXPECT_EQ(m->GetNbFace(), 2 * nbFace);
        std::vector<face*> added;
        for (face* f : facesOf(*m))
            if (oldFaces.count(f) == 0)
                added.push_back(f);
        for (face* f : added)
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(oldVertices.count(f->v[k]), 0u);
        EXPECT_EQ(expectClosedOriented(added), name == "torus" ? 0 : 2);
    }
}
