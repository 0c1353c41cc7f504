#include "query/QmAlgNeibNumber.h"

#include "query/QmAlgNeib.h"

#include <algorithm>
#include <cassert>

namespace
{
template <typename A, typename T> A* attrOf(T* x)
{
    return static_cast<A*>(x->mesh->GetEleAttr(x, A::GetClassId()));
}

// A slot number read from a link: only a caller's hand-made attribute can hold one
// outside 0..nbSlot-1, and that must not index past the array.
bool isSlot(long num, long nbSlot) { return 0 <= num && num < nbSlot; }
} // namespace

long QmAlgNeibNumber::GetNbEdgeBord(QmPstMesh::edge* e, long end)
{
    assert(e != nullptr && isSlot(end, 2));
    auto* a = attrOf<QmAlgNeib::AttrEdge>(e);
    if (a == nullptr)
        return 0;
    const QmAlgNeib::NeibEdge link = a->neib[end];
    if (link.e == e)
        return 1;
    if (link.e == nullptr || !isSlot(link.num, 2))
        return 0;
    auto* b = attrOf<QmAlgNeib::AttrEdge>(link.e);
    if (b == nullptr)
        return 0;
    return b->neib[link.num].e == e ? 2 : 3;
}

long QmAlgNeibNumber::GetNbFaceBord(QmPstMesh::face* f, long side)
{
    assert(f != nullptr && isSlot(side, 3));
    auto* a = attrOf<QmAlgNeib::AttrFace>(f);
    if (a == nullptr)
        return 0;
    const QmAlgNeib::NeibFace link = a->neib[side];
    if (link.f == f)
        return 1;
    if (link.f == nullptr || !isSlot(link.num, 3))
        return 0;
    auto* b = attrOf<QmAlgNeib::AttrFace>(link.f);
    if (b == nullptr)
        return 0;
    return b->neib[link.num].f == f ? 2 : 3;
}

void QmAlgNeibNumber::GetNumMinMaxNeib(QmPstMesh& mesh, QmPstMesh::TypeEle kinds, long& min,
                                       long& max)
{
    min = 3;
    max = 0;
    const long faceClass = QmAlgNeib::AttrFace::GetClassId();
    QmAlgNeib neib;
    bool facesBuilt = false;
    bool edgesBuilt = false;
    if (kinds & QmPstMesh::typeFace)
    {
        auto it = mesh.GetIterFace();
        if (!it.IsEnd() && mesh.GetEleAttr(it.Get(), faceClass) == nullptr)
        {
            neib.BuildAttrFace(mesh);
            facesBuilt = true;
        }
    }
    if (kinds & QmPstMesh::typeEdge)
    {
        auto it = mesh.GetIterEdge();
        // The face class on purpose: see the header.
        if (!it.IsEnd() && mesh.GetEleAttr(it.Get(), faceClass) == nullptr)
        {
            neib.BuildAttrEdge(mesh);
            edgesBuilt = true;
        }
    }

    auto account = [&min, &max](long nb)
    {
        min = std::min(min, nb);
        max = std::max(max, nb);
    };
    if (kinds & QmPstMesh::typeFace)
        for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
            for (long side = 0; side < 3; ++side)
                account(GetNbFaceBord(it.Get(), side));
    if (kinds & QmPstMesh::typeEdge)
        for (auto it = mesh.GetIterEdge(); !it.IsEnd(); it.Next())
            for (long end = 0; end < 2; ++end)
                account(GetNbEdgeBord(it.Get(), end));

    if (edgesBuilt)
        QmAttribut::RemoveAttrE(&mesh, QmAlgNeib::AttrEdge::GetClassId());
    if (facesBuilt)
        QmAttribut::RemoveAttrF(&mesh, faceClass);
}
