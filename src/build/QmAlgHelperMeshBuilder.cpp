#include "build/QmAlgHelperMeshBuilder.h"

#include "kernel/ZgTolerance.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>

namespace
{
// A vertex key keeps the precision that stood when it was made: the order below reads
// only the left operand's, so a stored key is compared with its own precision while the
// tree is descended, and the search key with the current one.
struct VertexKey
{
    double coo[3];
    double keyPrec;
};

// a before b, coordinate after coordinate; two values within keyPrec + dZgZero of each
// other (inclusive) fall through to the next coordinate, and equal keys fall through all.
struct VertexKeyLess
{
    bool operator()(VertexKey const& a, VertexKey const& b) const
    {
        const double d = a.keyPrec;
        const double z = dZgZero;
        for (int i = 0; i < 3; ++i)
        {
            if (a.coo[i] + d < b.coo[i] - z)
                return true;
            if (a.coo[i] - d > b.coo[i] + z)
                return false;
        }
        return false;
    }
};

// Vertices of an edge or a face, sorted by address as unsigned numbers, so that every
// order of the same vertices is one key.
template <std::size_t N> using PtrKey = std::array<std::uintptr_t, N>;

template <std::size_t N> PtrKey<N> sortedKey(QmPstMesh::vertex* const* v)
{
    PtrKey<N> k;
    for (std::size_t i = 0; i < N; ++i)
        k[i] = reinterpret_cast<std::uintptr_t>(v[i]);
    std::sort(k.begin(), k.end());
    return k;
}
} // namespace

struct QmAlgHelperMeshBuilder::Index
{
    std::map<VertexKey, vertex*, VertexKeyLess> vertices;
    std::map<PtrKey<2>, edge*> edges;
    std::map<PtrKey<3>, face*> faces;
};

QmAlgHelperMeshBuilder::QmAlgHelperMeshBuilder(QmPstMesh& m) : mesh(&m), index(new Index) {}

QmAlgHelperMeshBuilder::~QmAlgHelperMeshBuilder() { delete index; }

void QmAlgHelperMeshBuilder::SetPrecCoo(double p) { precDelta = p - ZgGetZero(); }

double QmAlgHelperMeshBuilder::GetPrecCoo() { return ZgGetZero() + precDelta; }

QmPstMesh::vertex* QmAlgHelperMeshBuilder::CreateVertex(ZgVector3 const& coo)
{
    vertex* v = mesh->AddVertex(coo);
    index->vertices.emplace(VertexKey{{coo.x, coo.y, coo.z}, precDelta}, v);
    return v;
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::CreateVertex(double x, double y, double z)
{
    return CreateVertex(ZgVector3(x, y, z));
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindVertex(ZgVector3 const& coo)
{
    const VertexKey key{{coo.x, coo.y, coo.z}, precDelta};
    // The lower bound descends with the stored key on the left, so with its own precision;
    // the last test puts the search key on the left, with the current precision.
    auto it = index->vertices.lower_bound(key);
    if (it == index->vertices.end() || VertexKeyLess()(key, it->first))
        return nullptr;
    return it->second;
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindVertex(double x, double y, double z)
{
    return FindVertex(ZgVector3(x, y, z));
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindOrCreateVertex(ZgVector3 const& coo)
{
    vertex* v = FindVertex(coo);
    return v != nullptr ? v : CreateVertex(coo);
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindOrCreateVertex(double x, double y, double z)
{
    return FindOrCreateVertex(ZgVector3(x, y, z));
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::CreateEdge(vertex* const* v, long grp)
{
    if (v[0] == v[1])
        return nullptr;
    edge* e = mesh->AddEdge(v, grp);
    index->edges.emplace(sortedKey<2>(v), e);
    return e;
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::CreateEdge(vertex* a, vertex* b, long grp)
{
    vertex* const v[2] = {a, b};
    return CreateEdge(v, grp);
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindEdge(vertex* const* v)
{
    auto it = index->edges.find(sortedKey<2>(v));
    return it == index->edges.end() ? nullptr : it->second;
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindEdge(vertex* a, vertex* b)
{
    vertex* const v[2] = {a, b};
    return FindEdge(v);
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindOrCreateEdge(vertex* const* v, long grp)
{
    edge* e = FindEdge(v);
    return e != nullptr ? e : CreateEdge(v, grp);
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindOrCreateEdge(vertex* a, vertex* b, long grp)
{
    vertex* const v[2] = {a, b};
    return FindOrCreateEdge(v, grp);
}

QmPstMesh::face* QmAlgHelperMeshBuilder::CreateFace(vertex* const* v, long grp)
{
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2])
        return nullptr;
    face* f = mesh->AddFace(v, grp);
    index->faces.emplace(sortedKey<3>(v), f);
    return f;
}

QmPstMesh::face* QmAlgHelperMeshBuilder::CreateFace(vertex* a, vertex* b, vertex* c, long grp)
{
    vertex* const v[3] = {a, b, c};
    return CreateFace(v, grp);
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindFace(vertex* const* v)
{
    auto it = index->faces.find(sortedKey<3>(v));
    return it == index->faces.end() ? nullptr : it->second;
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindFace(vertex* a, vertex* b, vertex* c)
{
    vertex* const v[3] = {a, b, c};
    return FindFace(v);
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindOrCreateFace(vertex* const* v, long grp)
{
    face* f = FindFace(v);
    return f != nullptr ? f : CreateFace(v, grp);
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindOrCreateFace(vertex* a, vertex* b, vertex* c, long grp)
{
    vertex* const v[3] = {a, b, c};
    return FindOrCreateFace(v, grp);
}
