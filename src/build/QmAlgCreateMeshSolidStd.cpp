#include "build/QmAlgCreateMeshSolidStd.h"

#include "build/QmAlgHelperMeshBuilder.h"
#include "kernel/ZgVector3.h"

#include <cmath>

namespace
{
// Written out: M_PI is not standard C++, and std::numbers needs C++20.
constexpr double pi = 3.141592653589793;
constexpr double twoPi = 6.283185307179586;

using vertex = QmPstMesh::vertex;

// ---------------------------------------------------------------- icosahedron

// The twelve corners of the unit icosahedron, built on first use and kept for the life
// of the process.
ZgVector3 const* icosahedronPoints()
{
    const double X = 0.5257311121191336;
    const double Z = 0.8506508083520399;
    static const ZgVector3 points[12] = {{-X, 0, Z}, {X, 0, Z},  {-X, 0, -Z}, {X, 0, -Z},
                                         {0, Z, X},  {0, Z, -X}, {0, -Z, X},  {0, -Z, -X},
                                         {Z, X, 0},  {-Z, X, 0}, {Z, -X, 0},  {-Z, -X, 0}};
    return points;
}

// The base triangles, listed inward: refineTriangle turns them outward when it emits them.
const int icosahedronTriangles[20][3] = {
    {0, 4, 1}, {0, 9, 4},  {9, 5, 4},  {4, 5, 8},  {4, 8, 1},  {8, 10, 1}, {8, 3, 10},
    {5, 3, 8}, {5, 2, 3},  {2, 7, 3},  {7, 10, 3}, {7, 6, 10}, {7, 11, 6}, {11, 0, 6},
    {0, 1, 6}, {6, 1, 10}, {9, 0, 11}, {9, 11, 2}, {9, 2, 5},  {7, 2, 11}};

ZgVector3 unitMidpoint(ZgVector3 const& p, ZgVector3 const& q)
{
    const ZgVector3 s = p + q;
    return s / s.Length();
}

// a, b, c lie on the unit sphere; level counts the subdivisions still to do, each one
// splitting the triangle into four.
void refineTriangle(QmAlgHelperMeshBuilder& builder, double radius, ZgVector3 const& a,
                    ZgVector3 const& b, ZgVector3 const& c, long level)
{
    if (level == 0)
    {
        vertex* va = builder.FindOrCreateVertex(a * radius);
        vertex* vb = builder.FindOrCreateVertex(b * radius);
        vertex* vc = builder.FindOrCreateVertex(c * radius);
        builder.CreateFace(va, vc, vb, 1);
        return;
    }
    const ZgVector3 ab = unitMidpoint(a, b);
    const ZgVector3 bc = unitMidpoint(b, c);
    const ZgVector3 ca = unitMidpoint(c, a);
    refineTriangle(builder, radius, a, ab, ca, level - 1);
    refineTriangle(builder, radius, b, bc, ab, level - 1);
    refineTriangle(builder, radius, c, ca, bc, level - 1);
    refineTriangle(builder, radius, ab, bc, ca, level - 1);
}

// ---------------------------------------------------------------- sphere

// theta runs from the +z pole (0) to the -z pole (pi); phi = 0 lies on +y.
ZgVector3 spherePoint(double radius, double theta, double phi)
{
    return {-std::sin(phi) * std::sin(theta) * radius, std::cos(phi) * std::sin(theta) * radius,
            std::cos(theta) * radius};
}

// The last step of a ring is the exact angle 0.0, so the weld lands on the ring's first
// vertex instead of relying on 2 pi rounding to a point within the precision.
double ringAngle(long j, long count, double step)
{
    return j == count ? 0.0 : static_cast<double>(j) * step;
}

// ---------------------------------------------------------------- cylinder

// A disc of radius made of nbRadial bands around the z axis at height z. The first band's
// inner ring collapses into the centre, where one triangle per step degenerates and is
// skipped. up selects the winding that faces +z.
void cylinderCap(QmAlgHelperMeshBuilder& builder, double radius, double z, long nbAround,
                 long nbRadial, long grp, bool up)
{
    const double dT = twoPi / static_cast<double>(nbAround);
    const double dR = radius / static_cast<double>(nbRadial);
    double rIn = 0.0;
    for (long band = 0; band < nbRadial; ++band)
    {
        const double rOut = rIn + dR;
        vertex* outerPrev = nullptr;
        vertex* innerPrev = nullptr;
        for (long j = 0; j <= nbAround; ++j)
        {
            const double t = ringAngle(j, nbAround, dT);
            vertex* outer = builder.FindOrCreateVertex(rOut * std::sin(t), rOut * std::cos(t), z);
            vertex* inner = builder.FindOrCreateVertex(rIn * std::sin(t), rIn * std::cos(t), z);
            if (j > 0)
            {
                if (innerPrev != inner)
                {
                    if (up)
                        builder.CreateFace(outerPrev, innerPrev, inner, grp);
                    else
                        builder.CreateFace(outerPrev, inner, innerPrev, grp);
                }
                if (up)
                    builder.CreateFace(outer, outerPrev, inner, grp);
                else
                    builder.CreateFace(outer, inner, outerPrev, grp);
            }
            outerPrev = outer;
            innerPrev = inner;
        }
        rIn = rOut;
    }
}

// The side runs around the circle with -sin where the caps use +sin: the opposite sense,
// on the same points, so the weld still joins side and caps.
ZgVector3 cylinderSidePoint(double t, double r, double z)
{
    return {-std::sin(t) * r, std::cos(t) * r, z};
}

// ---------------------------------------------------------------- torus

// u runs around the z axis, v around the tube; v = 0 is the outer equator.
ZgVector3 torusPoint(double radiusMajor, double radiusMinor, double u, double v)
{
    const double d = std::cos(v) * radiusMinor + radiusMajor;
    return {d * std::cos(u), -d * std::sin(u), std::sin(v) * radiusMinor};
}

// No exact 0.0 on the last step: the seam closes through the weld precision alone.
double torusAngle(long i, long count)
{
    return 2.0 * static_cast<double>(i) * pi / static_cast<double>(count);
}

// ---------------------------------------------------------------- cube

double gridCoord(long i, long n, double size)
{
    return static_cast<double>(i) / static_cast<double>(n) * size - size / 2.0;
}

// One axis of a side's grid: which coordinate it drives, its cell count and the box size.
struct GridAxis
{
    int axis;
    long n;
    double size;
};

// A side of the box on the plane coordinate[axis] = value, walked outer axis first. Cell
// corners a, b, c, d are (o0,i0), (o1,i0), (o1,i1), (o0,i1) in (outer, inner) steps; with
// flip the two triangles are wound the other way. grpSecond is the second triangle's
// group, which differs from grpFirst on one side only.
void cubeSide(QmAlgHelperMeshBuilder& builder, int axis, double value, GridAxis outer,
              GridAxis inner, bool flip, long grpFirst, long grpSecond)
{
    for (long io = 0; io < outer.n; ++io)
    {
        const double o0 = gridCoord(io, outer.n, outer.size);
        const double o1 = gridCoord(io + 1, outer.n, outer.size);
        for (long ii = 0; ii < inner.n; ++ii)
        {
            const double i0 = gridCoord(ii, inner.n, inner.size);
            const double i1 = gridCoord(ii + 1, inner.n, inner.size);
            const double corners[4][2] = {{o0, i0}, {o1, i0}, {o1, i1}, {o0, i1}};
            vertex* v[4];
            for (int k = 0; k < 4; ++k)
            {
                ZgVector3 p;
                p[axis] = value;
                p[outer.axis] = corners[k][0];
                p[inner.axis] = corners[k][1];
                v[k] = builder.FindOrCreateVertex(p);
            }
            if (flip)
            {
                builder.CreateFace(v[0], v[2], v[1], grpFirst);
                builder.CreateFace(v[0], v[3], v[2], grpSecond);
            }
            else
            {
                builder.CreateFace(v[0], v[1], v[2], grpFirst);
                builder.CreateFace(v[0], v[2], v[3], grpSecond);
            }
        }
    }
}
} // namespace

void QmAlgCreateMeshSolidStd::SphereIcosahedron(QmPstMesh& mesh, double radius, long depth)
{
    // The level is counted down to exactly 0: below 1 it would never get there.
    if (depth < 1)
        return;
    QmAlgHelperMeshBuilder builder(mesh);
    ZgVector3 const* points = icosahedronPoints();
    for (auto const& t : icosahedronTriangles)
        refineTriangle(builder, radius, points[t[0]], points[t[1]], points[t[2]], depth - 1);
}

void QmAlgCreateMeshSolidStd::Sphere(QmPstMesh& mesh, double radius, long nbMeridian,
                                     long nbParallel)
{
    QmAlgHelperMeshBuilder builder(mesh);
    const double dTheta = pi / static_cast<double>(nbParallel);
    const double dPhi = twoPi / static_cast<double>(nbMeridian);

    // Top cap: a fan around the pole. The poles are made outright, as nothing else can
    // land on them.
    vertex* top = builder.CreateVertex(0.0, 0.0, radius);
    vertex* prev = nullptr;
    for (long j = 0; j <= nbMeridian; ++j)
    {
        vertex* cur =
            builder.FindOrCreateVertex(spherePoint(radius, dTheta, ringAngle(j, nbMeridian, dPhi)));
        if (j > 0)
            builder.CreateFace(top, prev, cur, 1);
        prev = cur;
    }

    // Bands between consecutive parallels, each cell split into two triangles.
    for (long i = 1; i <= nbParallel - 2; ++i)
    {
        const double theta = static_cast<double>(i) * dTheta;
        vertex* upperPrev = nullptr;
        vertex* lowerPrev = nullptr;
        for (long j = 0; j <= nbMeridian; ++j)
        {
            const double phi = ringAngle(j, nbMeridian, dPhi);
            vertex* upper = builder.FindOrCreateVertex(spherePoint(radius, theta, phi));
            vertex* lower = builder.FindOrCreateVertex(spherePoint(radius, theta + dTheta, phi));
            if (j > 0)
            {
                builder.CreateFace(upperPrev, lowerPrev, lower, 1);
                builder.CreateFace(upper, upperPrev, lower, 1);
            }
            upperPrev = upper;
            lowerPrev = lower;
        }
    }

    // Bottom cap: the ring dTheta above the -z pole, walked backwards so that the fan faces
    // down. It meets the last band's lower ring through the weld.
    vertex* bottom = builder.CreateVertex(0.0, 0.0, -radius);
    const double zRing = std::cos(pi - dTheta) * radius;
    prev = nullptr;
    for (long j = nbMeridian; j >= 0; --j)
    {
        ZgVector3 p = spherePoint(radius, dTheta, ringAngle(j, nbMeridian, dPhi));
        p.z = zRing;
        vertex* cur = builder.FindOrCreateVertex(p);
        if (j < nbMeridian)
            builder.CreateFace(bottom, prev, cur, 1);
        prev = cur;
    }
}

void QmAlgCreateMeshSolidStd::Cylinder(QmPstMesh& mesh, double radiusBottom, double radiusTop,
                                       double height, long nbAround, long nbHeight, long nbRadial)
{
    QmAlgHelperMeshBuilder builder(mesh);

    if (radiusBottom != 0.0)
        cylinderCap(builder, radiusBottom, 0.0, nbAround, nbRadial, 1, false);

    // Side: one column of cells per step around, climbing with z and the radius together.
    const double dT = twoPi / static_cast<double>(nbAround);
    const double dR = (radiusTop - radiusBottom) / static_cast<double>(nbHeight);
    const double dZ = height / static_cast<double>(nbHeight);
    for (long i = 0; i < nbAround; ++i)
    {
        const double tA = static_cast<double>(i) * dT;
        const double tB = static_cast<double>(i + 1) * dT;
        double z = 0.0;
        double r = radiusBottom;
        vertex* aPrev = nullptr;
        vertex* bPrev = nullptr;
        for (long k = 0; k <= nbHeight; ++k)
        {
            vertex* a = builder.FindOrCreateVertex(cylinderSidePoint(tA, r, z));
            vertex* b = builder.FindOrCreateVertex(cylinderSidePoint(tB, r, z));
            if (k > 0)
            {
                // At a bottom tip aPrev and bPrev are one vertex, and the builder drops
                // the face; at a top tip a and b are one and the second face is skipped.
                builder.CreateFace(aPrev, bPrev, b, 2);
                if (a != b)
                    builder.CreateFace(a, aPrev, b, 2);
            }
            aPrev = a;
            bPrev = b;
            z += dZ;
            r += dR;
        }
    }

    if (radiusTop != 0.0)
        cylinderCap(builder, radiusTop, height, nbAround, nbRadial, 3, true);
}

void QmAlgCreateMeshSolidStd::Torus(QmPstMesh& mesh, double radiusMajor, double radiusMinor,
                                    long nbMajor, long nbMinor)
{
    QmAlgHelperMeshBuilder builder(mesh);
    for (long i = 0; i < nbMajor; ++i)
    {
        const double uA = torusAngle(i, nbMajor);
        const double uB = torusAngle(i + 1, nbMajor);
        for (long j = 0; j < nbMinor; ++j)
        {
            const double vA = torusAngle(j, nbMinor);
            const double vB = torusAngle(j + 1, nbMinor);
            vertex* a = builder.FindOrCreateVertex(torusPoint(radiusMajor, radiusMinor, uA, vA));
            vertex* b = builder.FindOrCreateVertex(torusPoint(radiusMajor, radiusMinor, uB, vA));
            vertex* c = builder.FindOrCreateVertex(torusPoint(radiusMajor, radiusMinor, uB, vB));
            vertex* d = builder.FindOrCreateVertex(torusPoint(radiusMajor, radiusMinor, uA, vB));
            builder.CreateFace(a, c, b, 1);
            builder.CreateFace(a, d, c, 1);
        }
    }
}

void QmAlgCreateMeshSolidStd::Cube(QmPstMesh& mesh, double sizeX, double sizeY, double sizeZ,
                                   long nbX, long nbY, long nbZ)
{
    QmAlgHelperMeshBuilder builder(mesh);
    const GridAxis x{0, nbX, sizeX};
    const GridAxis y{1, nbY, sizeY};
    const GridAxis z{2, nbZ, sizeZ};
    cubeSide(builder, 2, sizeZ / 2.0, x, y, false, 1, 1);
    cubeSide(builder, 2, -sizeZ / 2.0, x, y, true, 2, 2);
    cubeSide(builder, 0, sizeX / 2.0, y, z, false, 3, 3);
    cubeSide(builder, 0, -sizeX / 2.0, y, z, true, 4, 4);
    cubeSide(builder, 1, sizeY / 2.0, z, x, false, 5, 5);
    // The -y side puts the second triangle of each cell in group 5, not 6. Deliberate:
    // the groups are visible to callers and this numbering is the established one.
    cubeSide(builder, 1, -sizeY / 2.0, z, x, true, 6, 5);
}
