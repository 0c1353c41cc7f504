// Feeds arbitrary contours to the diagram construction. Byte 0: bit 0 closes the contour,
// bits 1-2 pick the grid step (coarse grids make collinear edges, cocircular sites, touching
// and repeated points common). Then pairs of signed bytes are the points.
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

    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    std::vector<QmPstMesh::vertex*> v;
    for (ZgVector2 const& p : pts)
        v.push_back(mesh->AddVertex(ZgVector3(p.x, p.y, 0.0)));
    const std::size_t n = v.size();
    for (std::size_t i = 0; i + 1 < n || (closed && n > 2 && i < n); ++i)
    {
        QmPstMesh::vertex* e[2] = {v[i], v[(i + 1) % n]};
        mesh->AddEdge(e, 0);
    }

    QmPstMesh* meshes[1] = {mesh};
    QmAlgVor vor;
    const long ok = vor.Compute(nullptr, meshes, 1);
    check(ok == 0 || ok == 1);
    if (ok == 1)
    {
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
            check(++steps < 64 * n + 64);
        } while (b != first);
    }
    vor.Delete(meshes, 1);
    for (QmPstMesh::iterEdge it = mesh->GetIterEdge(); !it.IsEnd(); it.Next())
        check(attrOf(it.Get()) == nullptr);
    QmPstMesh::DestroyMesh(mesh);
    return 0;
}
