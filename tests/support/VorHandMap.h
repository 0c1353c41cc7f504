#pragma once

// Diagram maps built by hand for the tests of the darts and the arcs: contours as polyline
// meshes carrying their neighbourhoods and AttrEdgeVor, and darts linked pair by pair.

#include "query/QmAlgNeib.h"
#include "support/OwnedMesh.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"

#include <cmath>
#include <set>
#include <vector>

namespace qmtest
{
using BrinVor = QmAlgVor::BrinVor;
using AttrEdgeVor = QmAlgVor::AttrEdgeVor;
using VorEdge = QmPstMesh::edge;

// A contour: edge i runs from point i to point i + 1 (the last back to point 0 when
// closed). Every edge has its QmAlgNeib::AttrEdge and an AttrEdgeVor sharing one box.
struct VorContour
{
    OwnedMesh mesh = NewOwnedMesh();
    std::vector<QmPstMesh::vertex*> v;
    std::vector<VorEdge*> e;
    ZgBBox2 box = ZgBBox2::Empty(0);

    VorContour(std::vector<ZgVector2> const& pts, bool closed, double diag = -1.0)
    {
        for (ZgVector2 const& p : pts)
        {
            v.push_back(mesh->AddVertex(ZgVector3(p.x, p.y, 0.0)));
            box.Add(p);
        }
        const size_t n = pts.size();
        for (size_t i = 0; i + 1 < n || (closed && i < n); ++i)
            e.push_back(Edge(*mesh, v[i], v[(i + 1) % n]));
        QmAlgNeib().BuildAttrEdge(*mesh);
        if (diag < 0.0)
            diag = (box.max - box.min).Length();
        for (VorEdge* edge : e)
        {
            auto* a = new AttrEdgeVor;
            qmVorAccess::SetPstMeshBox(a, &box);
            qmVorAccess::SetPstMeshBoxDiag(a, diag);
            mesh->AddEleAttr(edge, a, false);
        }
    }

    AttrEdgeVor* Attr(size_t i) const { return GetAttrEdgeVor(e[i]); }
    void SetB(size_t i, BrinVor* b1, BrinVor* b2) const
    {
        qmVorAccess::SetB1(Attr(i), b1);
        qmVorAccess::SetB2(Attr(i), b2);
    }
};

// Owns the darts and every vertex they point to at its end.
class VorHandMap
{
public:
    std::vector<BrinVor*> darts;

    VorHandMap() = default;
    VorHandMap(VorHandMap const&) = delete;
    VorHandMap& operator=(VorHandMap const&) = delete;
    ~VorHandMap()
    {
        std::set<qmSommetVor*> sommets;
        for (BrinVor* d : darts)
            if (qmVorAccess::GetSommet(d) != nullptr)
                sommets.insert(qmVorAccess::GetSommet(d));
        for (qmSommetVor* s : sommets)
            delete s;
        for (BrinVor* d : darts)
            qmVorAccess::DeleteBrin(d);
    }

    // An arc as the construction makes it: each dart is the Alpha and the Phi of the
    // other, no vertex. Returns the first dart.
    BrinVor* Pair(VorEdge* e1, bool isEdge1, bool extr1, VorEdge* e2, bool isEdge2, bool extr2)
    {
        BrinVor* a = qmVorAccess::NewBrin(e1, isEdge1, extr1);
        BrinVor* b = qmVorAccess::NewBrin(e2, isEdge2, extr2);
        a->Alpha() = b;
        b->Alpha() = a;
        a->Phi() = b;
        b->Phi() = a;
        darts.push_back(a);
        darts.push_back(b);
        return a;
    }
    BrinVor* Pair() { return Pair(nullptr, false, false, nullptr, false, false); }

    // A new vertex, given to b alone.
    qmSommetVor* Vertex(BrinVor* b, ZgVector2 const& p, double d)
    {
        auto* s = new qmSommetVor;
        s->Point = p;
        s->D = d;
        qmVorAccess::SetSommet(b, s);
        return s;
    }

    // The darts that start at one vertex, in Sigma order: Sigma(d[k]) becomes d[k + 1].
    static void Star(std::vector<BrinVor*> const& d)
    {
        for (size_t k = 0; k < d.size(); ++k)
            d[k]->Sigma() = d[(k + 1) % d.size()];
    }

    // Brute force: the dart q of the map with Phi(q) == b, null if none or several.
    BrinVor* PhiInverse(BrinVor const* b) const
    {
        BrinVor* found = nullptr;
        for (BrinVor* q : darts)
            if (q->Phi() == b)
            {
                if (found != nullptr)
                    return nullptr;
                found = q;
            }
        return found;
    }
};
} // namespace qmtest
