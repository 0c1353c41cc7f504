#include "mesh/QmPstMesh.h"

#include "mesh/QmAttribut.h"
#include "mesh/qmCache.h"

#include <cassert>

QmPstMesh::QmPstMesh() : vertices(new QmCol<vertex>), edges(new QmCol<edge>), faces(new QmCol<face>)
{
}

QmPstMesh::~QmPstMesh()
{
    RemoveAll();
    delete faces;
    delete edges;
    delete vertices;
    InvalidCache();
    attributes.RemoveAllAttr();
}

QmPstMesh* QmPstMesh::CreateMesh() { return new QmPstMesh; }

void QmPstMesh::DestroyMesh(QmPstMesh* mesh) { delete mesh; }

QmPstMesh::vertex* QmPstMesh::AddVertex(ZgVector3 const& coo)
{
    modify();
    vertex* v = vertices->Take();
    v->mesh = this;
    v->coo[0] = coo.x;
    v->coo[1] = coo.y;
    v->coo[2] = coo.z;
    return v;
}

QmPstMesh::edge* QmPstMesh::AddEdge(vertex* const* v, long grp)
{
    assert(v != nullptr && v[0] != nullptr && v[1] != nullptr);
    modify();
    edge* e = edges->Take();
    e->mesh = this;
    e->v[0] = v[0];
    e->v[1] = v[1];
    e->grp = grp;
    ++v[0]->refs;
    ++v[1]->refs;
    return e;
}

QmPstMesh::face* QmPstMesh::AddFace(vertex* const* v, long grp)
{
    assert(v != nullptr && v[0] != nullptr && v[1] != nullptr && v[2] != nullptr);
    modify();
    face* f = faces->Take();
    f->mesh = this;
    for (int i = 0; i < 3; ++i)
    {
        f->v[i] = v[i];
        ++v[i]->refs;
    }
    f->grp = grp;
    return f;
}

bool QmPstMesh::RemoveFace(face* f)
{
    checkEle(f);
    assert(f != nullptr && f->mesh == this);
    modify();
    for (vertex* v : f->v)
        --v->refs;
    faces->GiveBack(f);
    return true;
}

bool QmPstMesh::RemoveEdge(edge* e)
{
    checkEle(e);
    assert(e != nullptr && e->mesh == this);
    modify();
    --e->v[0]->refs;
    --e->v[1]->refs;
    edges->GiveBack(e);
    return true;
}

bool QmPstMesh::RemoveVertex(vertex* v)
{
    checkEle(v);
    assert(v != nullptr && v->mesh == this);
    if (v->refs > 0)
        return false;
    modify();
    vertices->GiveBack(v);
    return true;
}

void QmPstMesh::RemoveAll()
{
    modify();
    // Faces and edges first, so that every vertex is free of refs when its turn comes.
    for (iterFace it = GetIterFace(); !it.IsEnd();)
    {
        face* f = it.Get();
        it.Next();
        RemoveFace(f);
    }
    faces->ReleaseAll();
    for (iterEdge it = GetIterEdge(); !it.IsEnd();)
    {
        edge* e = it.Get();
        it.Next();
        RemoveEdge(e);
    }
    edges->ReleaseAll();
    for (iterVertex it = GetIterVertex(); !it.IsEnd();)
    {
        vertex* v = it.Get();
        it.Next();
        RemoveVertex(v);
    }
    // A vertex whose refs a caller damaged is still live here; release destroys it.
    vertices->ReleaseAll();
}

void QmPstMesh::GetVertexCoo(vertex* const v, ZgVector3& coo) const
{
    coo = ZgVector3(v->coo[0], v->coo[1], v->coo[2]);
}

void QmPstMesh::GetVertexCoo(vertex* const v, ZgVector2& coo) const
{
    coo = ZgVector2(v->coo[0], v->coo[1]);
}

void QmPstMesh::SetVertexCoo(vertex* v, ZgVector3 const& coo)
{
    modify();
    v->coo[0] = coo.x;
    v->coo[1] = coo.y;
    v->coo[2] = coo.z;
}

void QmPstMesh::GetEdgeVertex(edge* const e, vertex** const v) const
{
    v[0] = e->v[0];
    v[1] = e->v[1];
}

long QmPstMesh::GetEdgeGrp(edge* const e) const { return e->grp; }

void QmPstMesh::SetEdgeGrp(edge* e, long grp)
{
    modify();
    e->grp = grp;
}

void QmPstMesh::SwapEdge(edge* e)
{
    modify();
    vertex* t = e->v[0];
    e->v[0] = e->v[1];
    e->v[1] = t;
}

void QmPstMesh::GetFaceVertex(face* const f, vertex** const v) const
{
    v[0] = f->v[0];
    v[1] = f->v[1];
    v[2] = f->v[2];
}

long QmPstMesh::GetFaceGrp(face* const f) const { return f->grp; }

void QmPstMesh::SetFaceGrp(face* f, long grp)
{
    modify();
    f->grp = grp;
}

void QmPstMesh::SwapFace(face* f)
{
    modify();
    vertex* t = f->v[0];
    f->v[0] = f->v[1];
    f->v[1] = t;
}

QmAttribut* QmPstMesh::GetMeshAttr(long classId) { return attributes.GetAttr(classId); }

void QmPstMesh::AddMeshAttr(QmAttribut* attr, bool first) { attributes.AddAttr(attr, first); }

void QmPstMesh::RemoveMeshAttr(QmAttribut* attr) { attributes.RemoveAttr(attr); }

void QmPstMesh::RemoveMeshAllAttr() { attributes.RemoveAllAttr(); }

QmAttribut* QmPstMesh::GetEleAttr(ele* const e, long classId)
{
    return e->attributes.GetAttr(classId);
}

void QmPstMesh::AddEleAttr(ele* const e, QmAttribut* attr, bool first)
{
    if (attr == nullptr)
        return;
    e->attributes.AddAttr(attr, first);
}

void QmPstMesh::RemoveEleAttr(ele* const e, QmAttribut* attr)
{
    if (attr == nullptr)
        return;
    e->attributes.RemoveAttr(attr);
}

void QmPstMesh::RemoveEleAllAttr(ele* const e) { e->attributes.RemoveAllAttr(); }

qmCache* QmPstMesh::GetCache() const
{
    if (!cacheActive)
        return nullptr;
    if (cache == nullptr)
        cache = new qmCache(this);
    return cache;
}

void QmPstMesh::InvalidCache() const
{
    if (cache == nullptr)
        return;
    delete cache;
    cache = nullptr;
}

void QmPstMesh::ActivateCache(bool active)
{
    cacheActive = active;
    if (!active)
        InvalidCache();
}
