// Feeds arbitrary contours to the diagram construction. Byte 0: bit 0 closes the contour,
// bits 1-2 pick the grid step (coarse grids make collinear edges, cocircular sites, touching
// and repeated points common), bit 3 splits the points into an outer contour and an island.
// Then pairs of signed bytes are the points.
//
// Compute must return 0 or 1 without crashing or hanging. On 1, the tour of the map from the
// first edge must close with every vertex finite; Delete must leave no AttrEdgeVor.

#include "mesh/QmPstMesh.h"
#include "voronoi/QmAlgVor.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace
{
void check(bool ok)
{
    if (!ok)
        std::abort();
}

QmAlgVor::AttrEdgeVor* attrOf(QmPstMesh::edge* e)
{
    return static_cast<QmAlgVor::AttrEdgeVor*>(
        e->attributes.GetAttr(QmAlgVor::AttrEdgeVor::GetClassId()));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size < 5)
        return 0;
    const bool closed = (data[0] & 1) != 0;
    const double step[4] = {1.0, 0.5, 0.01, 37.25};
    const double h = step[(data[0] >> 1) & 3];
    std::vector<ZgVector2> pts;
    for (std::size_t i = 1; i + 1 < size && pts.size() < 256; i += 2)
        pts.push_back(
            {static_cast<std::int8_t>(data[i]) * h, static_cast<std::int8_t>(data[i + 1]) * h});
    if (pts.size() < 2)
        return 0;

    // Bit 3: a pocket with an island. The points split after the first 3 + (byte 0 >> 4)
    // modulo what leaves both contours three points: the outer contour, then the island,
    // both closed and taken in whatever turning sense they come.
    std::vector<std::size_t> ends{pts.size()};
    if ((data[0] & 8) != 0 && pts.size() >= 6)
        ends = {3 + static_cast<std::size_t>(data[0] >> 4) % (pts.size() - 5), pts.size()};
    const bool ferme = closed || ends.size() > 1;
    std::vector<QmPstMesh*> meshes;
    for (std::size_t c = 0, from = 0; c < ends.size(); from = ends[c++])
    {
        QmPstMesh* mesh = QmPstMesh::CreateMesh();
        std::vector<QmPstMesh::vertex*> v;
        for (std::size_t i = from; i < ends[c]; ++i)
            v.push_back(mesh->AddVertex(ZgVector3(pts[i].x, pts[i].y, 0.0)));
        const std::size_t n = v.size();
        for (std::size_t i = 0; i + 1 < n || (ferme && n > 2 && i < n); ++i)
        {
            QmPstMesh::vertex* e[2] = {v[i], v[(i + 1) % n]};
            mesh->AddEdge(e, 0);
        }
        meshes.push_back(mesh);
    }

    QmAlgVor vor;
    const long count = static_cast<long>(meshes.size());
    const long ok = vor.Compute(nullptr, meshes.data(), count);
    check(ok == 0 || ok == 1);
    if (ok == 1)
    {
        // One tour from the outer contour's first edge passes every pocket.
        QmAlgVor::BrinVor* first = attrOf(vor.GetPocheIde(0))->GetB2();
        check(first != nullptr);
        QmAlgVor::BrinVor* b = first;
        std::size_t steps = 0;
        do
        {
            check(b->Alpha() != nullptr && b->Alpha()->Alpha() == b);
            const double d = b->GetD1();
            check(d == 1.7e308 || (std::isfinite(d) && d >= 0.0));
            b = b->Phi();
            check(++steps < 64 * pts.size() + 64);
        } while (b != first);
    }
    vor.Delete(meshes.data(), count);
    for (QmPstMesh* mesh : meshes)
    {
        for (QmPstMesh::iterEdge it = mesh->GetIterEdge(); !it.IsEnd(); it.Next())
            check(attrOf(it.Get()) == nullptr);
        QmPstMesh::DestroyMesh(mesh);
    }
    return 0;
}
