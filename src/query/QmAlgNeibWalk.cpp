#include "query/QmAlgNeibWalk.h"

#include <cassert>

long QmAlgNeibWalk::AttrEdge::classId = 0;
long QmAlgNeibWalk::AttrFace::classId = 0;

void QmAlgNeibWalk::Mark(QmPstMesh::edge* e)
{
    if (!IsMark(e))
        e->mesh->AddEleAttr(e, new AttrEdge, true);
}

void QmAlgNeibWalk::Mark(QmPstMesh::face* f)
{
    if (!IsMark(f))
        f->mesh->AddEleAttr(f, new AttrFace, true);
}

bool QmAlgNeibWalk::IsMark(QmPstMesh::edge* e)
{
    assert(e != nullptr && e->mesh != nullptr);
    return e->mesh->GetEleAttr(e, AttrEdge::GetClassId()) != nullptr;
}

bool QmAlgNeibWalk::IsMark(QmPstMesh::face* f)
{
    assert(f != nullptr && f->mesh != nullptr);
    return f->mesh->GetEleAttr(f, AttrFace::GetClassId()) != nullptr;
}
