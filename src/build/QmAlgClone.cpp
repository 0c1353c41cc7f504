#include "build/QmAlgClone.h"

#include <cassert>

long QmAlgClone::AttrVertex::classId = 0;
long QmAlgClone::AttrEdge::classId = 0;
long QmAlgClone::AttrFace::classId = 0;

QmCallbackList QmAlgClone::CblCloneMeshBegin;
QmCallbackList QmAlgClone::CblCloneMeshEnd;
QmCallbackList QmAlgClone::CblCloneVertex;
QmCallbackList QmAlgClone::CblCloneEdge;
QmCallbackList QmAlgClone::CblCloneFace;

namespace
{
// Whether a walk keeps the element: every element when no filter is set.
bool kept(QmAlgClone::CbFiltre cb, void* data, QmPstMesh::ele* e)
{
    return cb == nullptr || cb(data, e);
}

// The copy of a vertex: the one its link names, or a new one.
QmPstMesh::vertex* copyOf(QmAlgClone& alg, QmPstMesh::vertex* v, QmPstMesh& destination)
{
    if (QmAttribut* link = v->mesh->GetEleAttr(v, QmAlgClone::AttrVertex::GetClassId()))
        return static_cast<QmAlgClone::AttrVertex*>(link)->clone;
    return alg.Clone(v, destination);
}
} // namespace

QmAlgClone::vertex* QmAlgClone::Clone(vertex* v, QmPstMesh& destination)
{
    assert(v != nullptr && v->mesh != nullptr);
    ZgVector3 coo;
    v->mesh->GetVertexCoo(v, coo);
    vertex* copy = destination.AddVertex(coo);
    auto* link = new AttrVertex;
    link->clone = copy;
    v->mesh->AddEleAttr(v, link, true);
    vertexSrc = v;
    vertexDst = copy;
    CblCloneVertex.Invoke(this);
    return copy;
}

QmAlgClone::edge* QmAlgClone::Clone(edge* e, QmPstMesh& destination)
{
    assert(e != nullptr && e->mesh != nullptr);
    vertex* v[2];
    for (int i = 0; i < 2; ++i)
        v[i] = copyOf(*this, e->v[i], destination);
    edge* copy = destination.AddEdge(v, e->grp);
    auto* link = new AttrEdge;
    link->clone = copy;
    e->mesh->AddEleAttr(e, link, true);
    edgeSrc = e;
    edgeDst = copy;
    CblCloneEdge.Invoke(this);
    return copy;
}

QmAlgClone::face* QmAlgClone::Clone(face* f, QmPstMesh& destination)
{
    assert(f != nullptr && f->mesh != nullptr);
    vertex* v[3];
    for (int i = 0; i < 3; ++i)
        v[i] = copyOf(*this, f->v[i], destination);
    face* copy = destination.AddFace(v, f->grp);
    auto* link = new AttrFace;
    link->clone = copy;
    f->mesh->AddEleAttr(f, link, true);
    faceSrc = f;
    faceDst = copy;
    CblCloneFace.Invoke(this);
    return copy;
}

void QmAlgClone::Clone(QmPstMesh& source, QmPstMesh& destination, QmPstMesh::TypeEle kinds)
{
    meshSrc = &source;
    meshDst = &destination;
    CblCloneMeshBegin.Invoke(this);
    if (kinds & QmPstMesh::typeVertex)
        for (auto it = source.GetIterVertex(); !it.IsEnd(); it.Next())
            if (kept(cbFiltre, dataFiltre, it.Get()))
                Clone(it.Get(), destination);
    if (kinds & QmPstMesh::typeEdge)
        for (auto it = source.GetIterEdge(); !it.IsEnd(); it.Next())
            if (kept(cbFiltre, dataFiltre, it.Get()))
                Clone(it.Get(), destination);
    if (kinds & QmPstMesh::typeFace)
        for (auto it = source.GetIterFace(); !it.IsEnd(); it.Next())
            if (kept(cbFiltre, dataFiltre, it.Get()))
                Clone(it.Get(), destination);
    // A callback may have changed the fields; the end event sees the run's meshes again.
    meshSrc = &source;
    meshDst = &destination;
    CblCloneMeshEnd.Invoke(this);
}

void QmAlgClone::SetCbFiltre(CbFiltre cb, void* data)
{
    cbFiltre = cb;
    dataFiltre = data;
}

void QmAlgClone::GetCbFiltre(CbFiltre& cb, void*& data)
{
    cb = cbFiltre;
    data = dataFiltre;
}
