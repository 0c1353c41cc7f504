#pragma once

#include "kernel/ZgTolerance.h"
#include "kernel/ZgVector3.h"
#include "mesh/QmAlgorithm.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// The closest pair between a query and a mesh: the query is a point, a segment, a
// triangle, a second mesh, or the nearest of an array of meshes. A branch-and-bound
// descent of the meshes' cache trees (qmCache) with the kernel's exact distances.
//
// Every distance here is squared: the answer, the bound, every comparison.
//
// Types are masks of QmPstMesh::TypeEle (vertex 1, edge 2, face 4); each bit set is
// searched, vertices first, then edges, then faces, and a type the mesh lacks is skipped.
// The meshes need their cache active; on a mesh whose cache is off nothing is found.
// A search takes references on the trees and splits their nodes, so no mesh may change
// during a search, not even from within a filter.
//
// The bound: 0.0 means none. Otherwise only a pair at or under it counts; a search that
// finds none ends with found false and dist2 equal to the bound.
//
// Of candidates at equal distance the last one tested stands: types in the order of the
// mask, and within a tree the nearer child box first, the right one on a tie.
class QM_API QmAlgDistMin : public QmAlgorithm
{
public:
    // false hides the element of that mesh from the searches.
    typedef bool (*CbFiltre)(void* user, QmPstMesh* mesh, QmPstMesh::ele* e);
    // false hides the pair from the mesh-against-mesh searches; called after CbFiltre has
    // passed both elements.
    typedef bool (*CbFiltreAB)(void* user, QmPstMesh* meshA, QmPstMesh::ele* eA, QmPstMesh* meshB,
                               QmPstMesh::ele* eB);

    // The answer, filled in place. A is the query side, B the searched mesh. The elements,
    // types and points mean something only when found is true; a search does not clear
    // them otherwise.
    class Sol
    {
    public:
        QmPstMesh::ele* eleA = nullptr;
        // A QmPstMesh::TypeEle value: 1, 2 or 4.
        unsigned char typeA = 0;
        QmPstMesh* meshA = nullptr;
        QmPstMesh::ele* eleB = nullptr;
        unsigned char typeB = 0;
        QmPstMesh* meshB = nullptr;
        bool found = false;
        // Squared distance of the best pair so far.
        double dist2 = ZgGetInfini();
        // ptA on the query side, ptB on eleB.
        ZgVector3 ptA;
        ZgVector3 ptB;
    };

    QmAlgDistMin() = default;

    // Kept for every later search; null means no filter.
    void SetCbFiltre(CbFiltre cb, void* user);
    void SetCbFiltreAB(CbFiltreAB cb, void* user);

    // A point, a segment p0 p1, a triangle p0 p1 p2 against mesh. sol.meshA and sol.meshB
    // are both mesh; at the end sol.eleA and sol.typeA repeat eleB and typeB, found or not.
    // cbFiltre is called with mesh and each element reached.
    void DistMin(ZgVector3 const& point, QmPstMesh& mesh, QmPstMesh::TypeEle type, Sol& sol,
                 double bound);
    void DistMin(ZgVector3 const& p0, ZgVector3 const& p1, QmPstMesh& mesh, QmPstMesh::TypeEle type,
                 Sol& sol, double bound);
    void DistMin(ZgVector3 const& p0, ZgVector3 const& p1, ZgVector3 const& p2, QmPstMesh& mesh,
                 QmPstMesh::TypeEle type, Sol& sol, double bound);
    // meshA against meshB: every pair of a type of typeA (outer, in mask order) and a type
    // of typeB (inner), all sharing the best distance. For each pair of leaves reached:
    // cbFiltre on (meshA, eA), then on (meshB, eB), then cbFiltreAB.
    void DistMin(QmPstMesh& meshA, QmPstMesh::TypeEle typeA, QmPstMesh& meshB,
                 QmPstMesh::TypeEle typeB, Sol& sol, double bound);
    // meshA against the nearest of meshes[0..nbMesh-1]. The meshes are tried by ascending
    // squared distance between the boxes of the masked trees, each by the search above with
    // the best distance so far as its bound. The run ends at a first distance of exactly
    // 0.0, or at a mesh whose box distance less dZgZero (a length taken from a square; the
    // stopping rule is kept exactly so) passes the bound. sol is a copy of the last search
    // that improved, with that search's meshA and meshB; found stays false for no mesh.
    void DistMin(QmPstMesh& meshA, QmPstMesh::TypeEle typeA, int nbMesh, QmPstMesh** const meshes,
                 QmPstMesh::TypeEle typeB, Sol& sol, double bound);

private:
    CbFiltre cbFiltre = nullptr;
    void* cbFiltreData = nullptr;
    CbFiltreAB cbFiltreAB = nullptr;
    void* cbFiltreABData = nullptr;
};
