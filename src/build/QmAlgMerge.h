#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Reserved for merging mesh elements; nothing is merged yet.
class QM_API QmAlgMerge : public QmAlgorithm
{
public:
    // Always null; the mesh and the two edges are left as they are.
    QmPstMesh::edge* MergeEdge(QmPstMesh::edge* a, QmPstMesh::edge* b);
};
