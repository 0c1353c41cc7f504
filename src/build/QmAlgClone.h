#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmAttribut.h"
#include "mesh/QmCallbackList.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Copies elements or whole meshes into another mesh. Each source element keeps a link to
// its copy: an attribute of this class, added at the front, that Clone never removes.
// The caller reads the mapping and then ends it with RemoveAttrV / RemoveAttrE /
// RemoveAttrF. Left in place, it makes a later edge or face clone reuse the old vertex
// copies, even in another destination. Attributes of other classes are not copied.
//
// The callback lists are invoked with this object as argument; a callback reads the field
// pair of its event (vertexSrc and vertexDst for CblCloneVertex, and so on, the two mesh
// fields for the mesh events).
class QM_API QmAlgClone : public QmAlgorithm
{
public:
    using vertex = QmPstMesh::vertex;
    using edge = QmPstMesh::edge;
    using face = QmPstMesh::face;
    using ele = QmPstMesh::ele;
    // false rejects the element for the walk of its kind.
    using CbFiltre = bool (*)(void* data, ele* e);

    class QM_API AttrVertex : public QmAttribut
    {
    public:
        vertex* clone = nullptr;

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

    class QM_API AttrEdge : public QmAttribut
    {
    public:
        edge* clone = nullptr;

        AttrEdge() = default;
        AttrEdge(AttrEdge const&) = default;
        AttrEdge& operator=(AttrEdge const&) = default;
        ~AttrEdge() override = default;

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

    class QM_API AttrFace : public QmAttribut
    {
    public:
        face* clone = nullptr;

        AttrFace() = default;
        AttrFace(AttrFace const&) = default;
        AttrFace& operator=(AttrFace const&) = default;
        ~AttrFace() override = default;

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

    CbFiltre cbFiltre = nullptr;
    void* dataFiltre = nullptr;
    vertex* vertexSrc = nullptr;
    vertex* vertexDst = nullptr;
    edge* edgeSrc = nullptr;
    edge* edgeDst = nullptr;
    face* faceSrc = nullptr;
    face* faceDst = nullptr;
    QmPstMesh* meshSrc = nullptr;
    QmPstMesh* meshDst = nullptr;

    // Always makes a new copy, even of a vertex copied before; the newer link shadows the
    // older. The source mesh is the vertex's own.
    vertex* Clone(vertex* v, QmPstMesh& destination);
    // A vertex that holds a copy link reuses that copy; the others are cloned first. The
    // copy keeps the source's group.
    edge* Clone(edge* e, QmPstMesh& destination);
    face* Clone(face* f, QmPstMesh& destination);
    // Vertices (kinds has typeVertex), then edges (typeEdge), then faces (typeFace),
    // each walk asking the filter, when set, about the elements of its own kind only. A
    // vertex rejected by its walk still arrives when a kept edge or face uses it, without
    // being shown to the filter again. Vertices used by nothing arrive only with
    // typeVertex. Copies are added in walk order, so the destination walks in the reverse
    // of the source's order.
    void Clone(QmPstMesh& source, QmPstMesh& destination, QmPstMesh::TypeEle kinds);

    void SetCbFiltre(CbFiltre cb, void* data);
    void GetCbFiltre(CbFiltre& cb, void*& data);

    static QmCallbackList CblCloneMeshBegin;
    static QmCallbackList CblCloneMeshEnd;
    static QmCallbackList CblCloneVertex;
    static QmCallbackList CblCloneEdge;
    static QmCallbackList CblCloneFace;
};
