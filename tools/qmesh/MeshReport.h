#pragma once

#include "mesh/QmPstMesh.h"

#include <iosfwd>
#include <map>

// What `qmesh info` and `qmesh demo` print about a mesh, computed here from the public
// element data only.
struct MeshReport
{
    long nbVertex = 0;
    long nbEdge = 0;
    long nbFace = 0;
    bool hasBox = false;
    ZgVector3 boxMin;
    ZgVector3 boxMax;
    std::map<long, long> facesPerGroup;
    // Sum over faces of the tetrahedra they span with the origin: positive for a closed,
    // outward-oriented solid, meaningless for an open surface.
    double signedVolume = 0.0;
    // Face sides by how many faces meet there: 1 a border, 2 manifold, 3 or more
    // non-manifold; and the least and greatest of those counts over faces and edges.
    long sidesBorder = 0;
    long sidesManifold = 0;
    long sidesNonManifold = 0;
    long neibMin = 3;
    long neibMax = 0;
};

MeshReport MakeReport(QmPstMesh& mesh);
void PrintReport(std::ostream& out, MeshReport const& r);
