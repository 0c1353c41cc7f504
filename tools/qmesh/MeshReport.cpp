#include "MeshReport.h"

#include "kernel/ZgBBox3.h"
#include "mesh/QmAttribut.h"
#include "query/QmAlgNeib.h"
#include "query/QmAlgNeibNumber.h"

#include <ostream>

MeshReport MakeReport(QmPstMesh& mesh)
{
    MeshReport r;
    r.nbVertex = mesh.GetNbVertex();
    r.nbEdge = mesh.GetNbEdge();
    r.nbFace = mesh.GetNbFace();
    ZgBBox3 box = ZgBBox3::Empty(3);
    for (auto it = mesh.GetIterVertex(); !it.IsEnd(); it.Next())
    {
        ZgVector3 p;
        mesh.GetVertexCoo(it.Get(), p);
        box.Add(p);
    }
    r.hasBox = r.nbVertex > 0;
    r.boxMin = box.min;
    r.boxMax = box.max;
    for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
    {
        QmPstMesh::vertex* v[3];
        mesh.GetFaceVertex(it.Get(), v);
        ZgVector3 p[3];
        for (int i = 0; i < 3; ++i)
            mesh.GetVertexCoo(v[i], p[i]);
        r.signedVolume += ZgDot(p[0], ZgCross(p[1], p[2])) / 6.0;
        ++r.facesPerGroup[mesh.GetFaceGrp(it.Get())];
    }
    if (r.nbFace > 0)
    {
        QmAlgNeib().BuildAttrFace(mesh);
        for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
            for (long side = 0; side < 3; ++side)
            {
                const long n = QmAlgNeibNumber::GetNbFaceBord(it.Get(), side);
                if (n == 1)
                    ++r.sidesBorder;
                else if (n == 2)
                    ++r.sidesManifold;
                else if (n >= 3)
                    ++r.sidesNonManifold;
            }
        QmAttribut::RemoveAttrF(&mesh, QmAlgNeib::AttrFace::GetClassId());
    }
    QmAlgNeibNumber().GetNumMinMaxNeib(
        mesh, static_cast<QmPstMesh::TypeEle>(QmPstMesh::typeFace | QmPstMesh::typeEdge), r.neibMin,
        r.neibMax);
    return r;
}

void PrintReport(std::ostream& out, MeshReport const& r)
{
    out << "  vertices " << r.nbVertex << ", edges " << r.nbEdge << ", faces " << r.nbFace << "\n";
    if (r.hasBox)
        out << "  box (" << r.boxMin.x << ", " << r.boxMin.y << ", " << r.boxMin.z << ") to ("
            << r.boxMax.x << ", " << r.boxMax.y << ", " << r.boxMax.z << ")\n";
    else
        out << "  box empty\n";
    if (!r.facesPerGroup.empty())
    {
        out << "  faces per group:";
        for (auto const& [grp, n] : r.facesPerGroup)
            out << " " << grp << ":" << n;
        out << "\n";
    }
    if (r.nbFace > 0)
        out << "  face sides: " << r.sidesBorder << " border, " << r.sidesManifold << " manifold, "
            << r.sidesNonManifold << " non-manifold\n";
    if (r.neibMax > 0)
        out << "  elements meeting at a side or an end: " << r.neibMin << " to " << r.neibMax
            << (r.neibMin == 2 && r.neibMax == 2 ? " (closed manifold)" : "") << "\n";
    out << "  signed volume " << r.signedVolume << "\n";
}
