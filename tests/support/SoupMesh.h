#pragma once

#include "mesh/QmPstMesh.h"

#include <memory>
#include <random>
#include <vector>

namespace qmtest
{
// A mesh that is destroyed when the test leaves its scope, even on a failed ASSERT: cache
// tests count on every tree being gone at the end of each test.
struct MeshDeleter
{
    void operator()(QmPstMesh* m) const { QmPstMesh::DestroyMesh(m); }
};
using MeshPtr = std::unique_ptr<QmPstMesh, MeshDeleter>;

inline MeshPtr NewMesh() { return MeshPtr(QmPstMesh::CreateMesh()); }

inline QmPstMesh::vertex* AddV(QmPstMesh& m, double x, double y, double z)
{
    return m.AddVertex(ZgVector3(x, y, z));
}

inline QmPstMesh::edge* AddE(QmPstMesh& m, QmPstMesh::vertex* a, QmPstMesh::vertex* b, long grp = 0)
{
    QmPstMesh::vertex* const v[2] = {a, b};
    return m.AddEdge(v, grp);
}

inline QmPstMesh::face* AddF(QmPstMesh& m, QmPstMesh::vertex* a, QmPstMesh::vertex* b,
                             QmPstMesh::vertex* c, long grp = 0)
{
    QmPstMesh::vertex* const v[3] = {a, b, c};
    return m.AddFace(v, grp);
}

// The corners of an element, in its own order: 1, 2 or 3 points.
inline std::vector<ZgVector3> Corners(QmPstMesh::ele* e)
{
    std::vector<ZgVector3> out;
    auto add = [&](QmPstMesh::vertex* v) { out.emplace_back(v->coo[0], v->coo[1], v->coo[2]); };
    if (e->GetType() == QmPstMesh::typeVertex)
        add(static_cast<QmPstMesh::vertex*>(e));
    else if (e->GetType() == QmPstMesh::typeEdge)
        for (auto* v : static_cast<QmPstMesh::edge*>(e)->v)
            add(v);
    else
        for (auto* v : static_cast<QmPstMesh::face*>(e)->v)
            add(v);
    return out;
}

// A soup in the cube [-size, size]^3 shifted by offset: nbV free vertices, nbE edges and
// nbF faces on shared vertices, with groups 0 to 3. With nasty set, about one element in
// five is degenerate: a repeated vertex, collinear corners, or a duplicate of an earlier
// element.
inline void AddSoup(QmPstMesh& m, std::mt19937& rng, int nbV, int nbE, int nbF, double size,
                    ZgVector3 const& offset, bool nasty)
{
    std::uniform_real_distribution<double> u(-size, size);
    std::uniform_int_distribution<int> grp(0, 3);
    std::uniform_int_distribution<int> fifth(0, 4);
    std::vector<QmPstMesh::vertex*> pool;
    auto vertex = [&]
    {
        if (!pool.empty() && nasty && fifth(rng) == 0)
            return pool[std::uniform_int_distribution<size_t>(0, pool.size() - 1)(rng)];
        pool.push_back(AddV(m, offset.x + u(rng), offset.y + u(rng), offset.z + u(rng)));
        return pool.back();
    };
    for (int i = 0; i < nbV; ++i)
        pool.push_back(AddV(m, offset.x + u(rng), offset.y + u(rng), offset.z + u(rng)));
    QmPstMesh::edge* lastE = nullptr;
    for (int i = 0; i < nbE; ++i)
    {
        if (nasty && lastE != nullptr && fifth(rng) == 0)
            lastE = AddE(m, lastE->v[0], lastE->v[1], grp(rng));
        else
        {
            QmPstMesh::vertex* a = vertex();
            lastE = AddE(m, a, nasty && fifth(rng) == 0 ? a : vertex(), grp(rng));
        }
    }
    QmPstMesh::face* lastF = nullptr;
    for (int i = 0; i < nbF; ++i)
    {
        QmPstMesh::vertex* a = vertex();
        QmPstMesh::vertex* b = vertex();
        QmPstMesh::vertex* c = vertex();
        const int kind = nasty ? fifth(rng) : 4;
        if (kind == 0 && lastF != nullptr)
            lastF = AddF(m, lastF->v[0], lastF->v[1], lastF->v[2], grp(rng));
        else if (kind == 1)
        {
            // Collinear corners: c halfway between a and b.
            ZgVector3 mid((a->coo[0] + b->coo[0]) / 2, (a->coo[1] + b->coo[1]) / 2,
                          (a->coo[2] + b->coo[2]) / 2);
            lastF = AddF(m, a, b, m.AddVertex(mid), grp(rng));
        }
        else if (kind == 2)
            lastF = AddF(m, a, a, b, grp(rng));
        else
            lastF = AddF(m, a, b, c, grp(rng));
    }
}
} // namespace qmtest
