#pragma once

#include "kernel/ZgMatrix4x4.h"
#include "kernel/ZgVector3.h"
#include "mesh/QmAlgorithm.h"
#include "mesh/QmCallbackList.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Moves vertices, one at a time or a whole mesh by a function or a matrix. Every move goes
// through SetVertexCoo of the vertex's own mesh, which drops that mesh's spatial cache.
//
// The callback lists are invoked with this object as argument. CblTransformVertex runs
// before the move: a callback sees the old position in vertexCur and the new one at
// *cooNew. The mesh events read mesh and, for the run's kind, fnTransform or matrix.
class QM_API QmAlgTransform : public QmAlgorithm
{
public:
    using FnTransform = void (*)(void* data, ZgVector3& coo);

    QmPstMesh::vertex* vertexCur = nullptr;
    // Read-only for callbacks, though not declared const: in a single move it points at
    // the caller's argument.
    ZgVector3* cooNew = nullptr;
    QmPstMesh* mesh = nullptr;
    // The run's function; null in a run by matrix.
    FnTransform fnTransform = nullptr;
    // The run's matrix; null in a run by function.
    ZgMatrix4x4 const* matrix = nullptr;

    void Transform(QmPstMesh::vertex* v, ZgVector3 const& coo);
    // fn receives data and the vertex's coordinates, and changes them in place.
    void Transform(QmPstMesh& mesh, FnTransform fn, void* data);
    // Each vertex goes to m.Transform of its position (row vectors, see ZgMatrix4x4).
    void Transform(QmPstMesh& mesh, ZgMatrix4x4 const& m);

    static QmCallbackList CblTransformMeshBegin;
    static QmCallbackList CblTransformMeshEnd;
    static QmCallbackList CblTransformVertex;
};
