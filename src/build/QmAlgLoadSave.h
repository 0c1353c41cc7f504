#pragma once

#include "build/QmStream.h"
#include "mesh/QmAlgorithm.h"
#include "mesh/QmAttribut.h"
#include "mesh/QmCallbackList.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Writes a whole mesh to a stream in the native binary form and reads it back.
//
// The file, every number little-endian, no padding: int32 magic 1000; int32 counts V,
// E, F; V vertices as three float64; E edges as two int32 vertex numbers and an int32
// group; F faces as three int32 vertex numbers and an int32 group. A vertex number is
// the vertex's position in the file. Records follow the walk order, newest first, and
// loading adds them in file order, so one save and load reverses each collection's walk
// and a second one restores it. Attributes and the tolerance are not saved.
//
// The callback lists are invoked with this object as argument; a callback reads the
// mesh and the stream of the run from the fields below.
class QM_API QmAlgLoadSave : public QmAlgorithm
{
public:
    // The vertex's position in the file, hung on each vertex while Save runs.
    class QM_API AttrVertex : public QmAttribut
    {
    public:
        long num = 0;

        AttrVertex() = default;
        AttrVertex(AttrVertex const&) = default;
        AttrVertex& operator=(AttrVertex const&) = default;
        ~AttrVertex() override = default;

        long GetObjClassId() override { return GetClassId(); }
        static long GetClassId()
        {
            if (classId == 0)
                classId = getNewClassId();
            return classId;
        }

    protected:
        static long classId;
    };

    QmPstMesh* mesh = nullptr;
    QmStream* stream = nullptr;
    // Vertices by number, while Load runs.
    QmPstMesh::vertex** vertexTable = nullptr;

    QmAlgLoadSave() = default;
    ~QmAlgLoadSave();
    QmAlgLoadSave(QmAlgLoadSave const&) = delete;
    QmAlgLoadSave& operator=(QmAlgLoadSave const&) = delete;

    // false at the first failed write. The AttrVertex numbers then stay on the vertices
    // and CblSaveMeshEnd is not invoked.
    bool Save(QmPstMesh& mesh, QmStream& stream);
    // Empties the mesh before the first read (its own attributes stay). false on a wrong
    // magic, a failed read, a negative count or a vertex number outside 0..V-1; the mesh
    // then keeps what was read before the failure and CblLoadMeshEnd is not invoked.
    bool Load(QmPstMesh& mesh, QmStream& stream);

    static QmCallbackList CblSaveMeshBegin;
    static QmCallbackList CblSaveMeshEnd;
    static QmCallbackList CblLoadMeshBegin;
    static QmCallbackList CblLoadMeshEnd;

private:
    bool loadRecords();
    void freeTable();
};
