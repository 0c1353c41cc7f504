#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Classifies the link rings that QmAlgNeib hangs on edges and faces.
class QM_API QmAlgNeibNumber : public QmAlgorithm
{
public:
    // How many edge ends meet at end 0 or 1 of the edge, as far as the answer is needed:
    // 1 a free end, 2 two ends, 3 three or more. 0 when the edge or its neighbour holds no
    // QmAlgNeib::AttrEdge. Only pointers are compared: a link naming the edge itself,
    // at either of its ends, counts as a free end.
    static long GetNbEdgeBord(QmPstMesh::edge* e, long end);
    // The same for side 0..2 of a face on QmAlgNeib::AttrFace: 1 a border, 2 manifold,
    // 3 non-manifold, 0 without attributes.
    static long GetNbFaceBord(QmPstMesh::face* f, long side);

    // The least and greatest count over every face side (kinds has typeFace) and every edge
    // end (kinds has typeEdge): 2 and 2 on a closed manifold, min 1 with a border, max 3
    // where three or more meet. 3 and 0 when the mesh has nothing of the asked kinds.
    //
    // Face links are built, and removed after, only when the first face lacks them; a
    // caller's own are used as they stand. Edge links are always rebuilt and removed after,
    // the caller's included: the test for existing ones looks for the face class on an
    // edge, which never holds it. Callers depend on that, so it stays.
    void GetNumMinMaxNeib(QmPstMesh& mesh, QmPstMesh::TypeEle kinds, long& min, long& max);
};
