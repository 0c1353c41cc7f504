#include "build/QmAlgTransform.h"

#include <cassert>

QmCallbackList QmAlgTransform::CblTransformMeshBegin;
QmCallbackList QmAlgTransform::CblTransformMeshEnd;
QmCallbackList QmAlgTransform::CblTransformVertex;

void QmAlgTransform::Transform(QmPstMesh::vertex* v, ZgVector3 const& coo)
{
    assert(v != nullptr && v->mesh != nullptr);
    vertexCur = v;
    // Callbacks only read through cooNew, so pointing it at a const argument is safe.
    cooNew = const_cast<ZgVector3*>(&coo);
    CblTransformVertex.Invoke(this);
    v->mesh->SetVertexCoo(v, coo);
}

void QmAlgTransform::Transform(QmPstMesh& m, FnTransform fn, void* data)
{
    assert(fn != nullptr);
    mesh = &m;
    fnTransform = fn;
    matrix = nullptr;
    CblTransformMeshBegin.Invoke(this);
    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
    {
        ZgVector3 coo;
        m.GetVertexCoo(it.Get(), coo);
        fn(data, coo);
        Transform(it.Get(), coo);
    }
    CblTransformMeshEnd.Invoke(this);
}

void QmAlgTransform::Transform(QmPstMesh& m, ZgMatrix4x4 const& mat)
{
    mesh = &m;
    fnTransform = nullptr;
    matrix = &mat;
    CblTransformMeshBegin.Invoke(this);
    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
    {
        ZgVector3 coo;
        m.GetVertexCoo(it.Get(), coo);
        Transform(it.Get(), mat.Transform(coo));
    }
    CblTransformMeshEnd.Invoke(this);
}
