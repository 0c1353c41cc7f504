#include "query/QmAlgNeib.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

long QmAlgNeib::AttrFace::classId = 0;
long QmAlgNeib::AttrEdge::classId = 0;
long QmAlgNeib::AttrVertex::classId = 0;

namespace
{
// A face side or an edge end waiting for its ring. lo and hi are the addresses of the
// vertex pair it stands on, in ascending order as unsigned numbers (an edge end stands on
// its vertex twice). link is the slot to fill; self is what the ring's other members
// link to.
template <typename Link> struct Member
{
    std::uintptr_t lo;
    std::uintptr_t hi;
    Link* link;
    Link self;
};

template <typename Link>
Member<Link> makeMember(QmPstMesh::vertex* a, QmPstMesh::vertex* b, Link* link, Link self)
{
    const auto ua = reinterpret_cast<std::uintptr_t>(a);
    const auto ub = reinterpret_cast<std::uintptr_t>(b);
    return {std::min(ua, ub), std::max(ua, ub), link, self};
}

// Ties every group of members on one vertex pair into a ring. The members come in
// registration order. Each ring is the list that registration builds by putting every
// member at the front, with each entry linked to the entry after it and the last to the
// first: so a member links to the one registered just before it, and the first
// registered to the last. A group of one links to itself, which marks a border.
template <typename Link> void closeRings(std::vector<Member<Link>>& members)
{
    // Stable: within a group the registration order must survive the sort.
    std::stable_sort(members.begin(), members.end(),
                     [](Member<Link> const& a, Member<Link> const& b)
                     { return a.lo < b.lo || (a.lo == b.lo && a.hi < b.hi); });
    const std::size_t n = members.size();
    for (std::size_t first = 0; first < n;)
    {
        std::size_t last = first;
        while (last + 1 < n && members[last + 1].lo == members[first].lo &&
               members[last + 1].hi == members[first].hi)
            ++last;
        *members[first].link = members[last].self;
        for (std::size_t i = first + 1; i <= last; ++i)
            *members[i].link = members[i - 1].self;
        first = last + 1;
    }
}

// The element's attribute of class A, or a new one added at the front.
template <typename A> A* findOrAdd(QmPstMesh& mesh, QmPstMesh::ele* e)
{
    if (QmAttribut* found = mesh.GetEleAttr(e, A::GetClassId()))
        return static_cast<A*>(found);
    auto* made = new A;
    mesh.AddEleAttr(e, made, true);
    return made;
}
} // namespace

void QmAlgNeib::BuildAttrFace(QmPstMesh& m)
{
    mesh = &m;
    kinds = QmPstMesh::typeFace;
    std::vector<Member<NeibFace>> members;
    members.reserve(3 * static_cast<std::size_t>(m.GetNbFace()));
    for (auto it = m.GetIterFace(); !it.IsEnd(); it.Next())
    {
        face* f = it.Get();
        AttrFace* attr = findOrAdd<AttrFace>(m, f);
        for (int side = 0; side < 3; ++side)
            members.push_back(makeMember(f->v[side], f->v[(side + 1) % 3], &attr->neib[side],
                                         NeibFace{f, static_cast<std::int8_t>(side)}));
    }
    closeRings(members);
}

void QmAlgNeib::BuildAttrEdge(QmPstMesh& m)
{
    mesh = &m;
    kinds = QmPstMesh::typeEdge;
    std::vector<Member<NeibEdge>> members;
    members.reserve(2 * static_cast<std::size_t>(m.GetNbEdge()));
    for (auto it = m.GetIterEdge(); !it.IsEnd(); it.Next())
    {
        edge* e = it.Get();
        AttrEdge* attr = findOrAdd<AttrEdge>(m, e);
        for (int end = 0; end < 2; ++end)
            members.push_back(makeMember(e->v[end], e->v[end], &attr->neib[end],
                                         NeibEdge{e, static_cast<std::int8_t>(end)}));
    }
    closeRings(members);
}

void QmAlgNeib::BuildAttrVertex(QmPstMesh& m, QmPstMesh::TypeEle k)
{
    mesh = &m;
    kinds = k;
    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
    {
        AttrVertex* attr = findOrAdd<AttrVertex>(m, it.Get());
        attr->faces.clear();
        attr->edges.clear();
    }
    // Walks run newest first and entries go to the front, so each list ends up oldest
    // element first. A vertex of another mesh holds no attribute here and is skipped.
    if (k & QmPstMesh::typeFace)
        for (auto it = m.GetIterFace(); !it.IsEnd(); it.Next())
            for (int pos = 0; pos < 3; ++pos)
                if (QmAttribut* a = m.GetEleAttr(it.Get()->v[pos], AttrVertex::GetClassId()))
                    static_cast<AttrVertex*>(a)->faces.push_front(
                        NeibFace{it.Get(), static_cast<std::int8_t>(pos)});
    if (k & QmPstMesh::typeEdge)
        for (auto it = m.GetIterEdge(); !it.IsEnd(); it.Next())
            for (int pos = 0; pos < 2; ++pos)
                if (QmAttribut* a = m.GetEleAttr(it.Get()->v[pos], AttrVertex::GetClassId()))
                    static_cast<AttrVertex*>(a)->edges.push_front(
                        NeibEdge{it.Get(), static_cast<std::int8_t>(pos)});
}
