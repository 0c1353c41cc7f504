#pragma once

#include "mesh/QmPstMesh.h"

#include <memory>
#include <vector>

namespace qmtest
{
// A mesh ended with its scope, so a failed ASSERT leaks nothing.
struct OwnedMeshDeleter
{
    void operator()(QmPstMesh* m) const { QmPstMesh::DestroyMesh(m); }
};
using OwnedMesh = std::unique_ptr<QmPstMesh, OwnedMeshDeleter>;

inline OwnedMesh NewOwnedMesh() { return OwnedMesh(QmPstMesh::CreateMesh()); }

// n vertices, vertex i at (i, 2i, 3i): distinct, and y told from z.
inline std::vector<QmPstMesh::vertex*> Vertices(QmPstMesh& m, int n)
{
    std::vector<QmPstMesh::vertex*> v;
    for (int i = 0; i < n; ++i)
        v.push_back(m.AddVertex(ZgVector3(i, 2.0 * i, 3.0 * i)));
    return v;
}

inline QmPstMesh::edge* Edge(QmPstMesh& m, QmPstMesh::vertex* a, QmPstMesh::vertex* b, long grp = 0)
{
    QmPstMesh::vertex* v[2] = {a, b};
    return m.AddEdge(v, grp);
}

inline QmPstMesh::face* Face(QmPstMesh& m, QmPstMesh::vertex* a, QmPstMesh::vertex* b,
                             QmPstMesh::vertex* c, long grp = 0)
{
    QmPstMesh::vertex* v[3] = {a, b, c};
    return m.AddFace(v, grp);
}

// The element's first attribute of class A, null if none.
template <typename A> A* AttrOf(QmPstMesh::ele* e)
{
    return static_cast<A*>(e->mesh->GetEleAttr(e, A::GetClassId()));
}

// How many attributes of class A the element holds.
template <typename A> int CountAttr(QmPstMesh::ele* e)
{
    int n = 0;
    for (QmAttribut* a = e->attributes.GetAttr(A::GetClassId()); a != nullptr;
         a = e->attributes.GetNextAttr(A::GetClassId(), a))
        ++n;
    return n;
}

// The elements of a walk, in walk order (newest first).
template <typename T, typename It> std::vector<T*> Walk(It it)
{
    std::vector<T*> all;
    for (; !it.IsEnd(); it.Next())
        all.push_back(it.Get());
    return all;
}
} // namespace qmtest
