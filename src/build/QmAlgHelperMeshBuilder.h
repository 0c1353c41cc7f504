#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Welds loose coordinates into shared vertices, and finds edges and faces already made
// on the same vertices. Bound to one mesh, it keeps three sorted indexes of what was
// created through it, and only of that: elements the mesh held before, or that were
// added to it directly, are never found, and a removed element stays in the index as a
// stale pointer. Meant to live for one construction job; dropping it leaves the mesh.
//
// Two coordinates weld when they lie within the precision p of each other, inclusive,
// axis by axis. The relation is not transitive: where indexed points are closer than p
// to each other, the path of the tree's search decides, and that is accepted.
class QM_API QmAlgHelperMeshBuilder : public QmAlgorithm
{
public:
    using vertex = QmPstMesh::vertex;
    using edge = QmPstMesh::edge;
    using face = QmPstMesh::face;

    explicit QmAlgHelperMeshBuilder(QmPstMesh& mesh);
    ~QmAlgHelperMeshBuilder();
    QmAlgHelperMeshBuilder(QmAlgHelperMeshBuilder const&) = delete;
    QmAlgHelperMeshBuilder& operator=(QmAlgHelperMeshBuilder const&) = delete;

    // The weld precision; the default is ZgGetZero(). Kept as its difference from the
    // kernel's zero, so GetPrecCoo after SetPrecCoo(p) gives p up to two roundings.
    void SetPrecCoo(double p);
    double GetPrecCoo();

    // Always adds a vertex. The index keeps an older vertex with an equal key.
    vertex* CreateVertex(ZgVector3 const& coo);
    vertex* CreateVertex(double x, double y, double z);
    // null when no indexed vertex is within the precision.
    vertex* FindVertex(ZgVector3 const& coo);
    vertex* FindVertex(double x, double y, double z);
    vertex* FindOrCreateVertex(ZgVector3 const& coo);
    vertex* FindOrCreateVertex(double x, double y, double z);

    // null, adding nothing, when both vertices are the same. The mesh's edge keeps the
    // given direction; the index ignores it, so a, b and b, a are one edge.
    edge* CreateEdge(vertex* const* v, long grp);
    edge* CreateEdge(vertex* a, vertex* b, long grp);
    edge* FindEdge(vertex* const* v);
    edge* FindEdge(vertex* a, vertex* b);
    edge* FindOrCreateEdge(vertex* const* v, long grp);
    edge* FindOrCreateEdge(vertex* a, vertex* b, long grp);

    // null, adding nothing, when two of the vertices are the same. The index ignores
    // order and orientation: a face and its reverse are found as one.
    face* CreateFace(vertex* const* v, long grp);
    face* CreateFace(vertex* a, vertex* b, vertex* c, long grp);
    face* FindFace(vertex* const* v);
    face* FindFace(vertex* a, vertex* b, vertex* c);
    face* FindOrCreateFace(vertex* const* v, long grp);
    face* FindOrCreateFace(vertex* a, vertex* b, vertex* c, long grp);

private:
    struct Index;

    double precDelta = 0.0;
    QmPstMesh* mesh;
    Index* index;
};
