#include "mesh/QmAttribut.h"

#include "mesh/QmPstMesh.h"

long QmAttribut::cptClassId = 0;

long QmAttribut::getNewClassId() { return ++cptClassId; }

namespace
{
// Walk first, remove after: the iterator must have left an element before its
// attribute goes, though attributes never touch the element chain itself.
template <typename Iter> void removeFirstOfClass(QmPstMesh* mesh, Iter it, long classId)
{
    for (; !it.IsEnd(); it.Next())
    {
        QmPstMesh::ele* e = it.Get();
        if (QmAttribut* attr = mesh->GetEleAttr(e, classId))
            mesh->RemoveEleAttr(e, attr);
    }
}
} // namespace

void QmAttribut::RemoveAttrV(QmPstMesh* mesh, long classId)
{
    removeFirstOfClass(mesh, mesh->GetIterVertex(), classId);
}

void QmAttribut::RemoveAttrE(QmPstMesh* mesh, long classId)
{
    removeFirstOfClass(mesh, mesh->GetIterEdge(), classId);
}

void QmAttribut::RemoveAttrF(QmPstMesh* mesh, long classId)
{
    removeFirstOfClass(mesh, mesh->GetIterFace(), classId);
}
