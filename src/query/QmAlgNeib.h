#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmAttribut.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

#include <cstdint>
#include <list>

// Derives adjacency, which the mesh does not store, and hangs it on the elements as
// attributes: on each face its neighbours across its three sides, on each edge the next
// edges at its two ends, on each vertex the faces and edges that use it. Two sides or
// ends touch when they name the same vertex*; coordinates are never looked at.
//
// Link rings. All face sides on one unordered vertex pair, or all edge ends on one
// vertex, form a ring through their links, each pointing to the next and the last to
// the first. So a link back to its own element and side is a border, two members name
// each other, and three or more make a non-manifold ring walked by following links.
//
// The attributes are snapshots: later edits leave them stale, and the caller rebuilds.
// A rebuild reuses the attributes already on the elements and overwrites every link.
// Nothing is removed here; the caller ends them with RemoveAttrF / RemoveAttrE /
// RemoveAttrV and the class number.
class QM_API QmAlgNeib : public QmAlgorithm
{
public:
    using vertex = QmPstMesh::vertex;
    using edge = QmPstMesh::edge;
    using face = QmPstMesh::face;

    // One neighbour: the element and which of its sides (0..2) or ends (0, 1) touches.
    // In an AttrVertex list num is instead this vertex's position in the element.
    struct NeibFace
    {
        face* f = nullptr;
        std::int8_t num = 0;
    };
    struct NeibEdge
    {
        edge* e = nullptr;
        std::int8_t num = 0;
    };

    // neib[i] is the link of side i: side 0 joins v[0] and v[1], side 1 v[1] and v[2],
    // side 2 v[2] and v[0].
    class QM_API AttrFace : public QmAttribut
    {
    public:
        NeibFace neib[3];

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

    // neib[i] is the link of end i, at the edge's vertex v[i]. The ring at a vertex holds
    // every edge end there, whatever the edges' directions: the end number in a link
    // tells whether the neighbour runs on (end 0 after our end 1) or turns back.
    class QM_API AttrEdge : public QmAttribut
    {
    public:
        NeibEdge neib[2];

        AttrEdge() = default;
        AttrEdge(AttrEdge const&) = default;
        AttrEdge& operator=(AttrEdge const&) = default;
        ~AttrEdge() override = default;

        // self is the edge holding this attribute. The edge linked at end 1 (end 0), or
        // null where that link is self: the walk along a chain stops at its ends.
        edge* GetNextIde(edge* const self) const { return neib[1].e == self ? nullptr : neib[1].e; }
        edge* GetPrevIde(edge* const self) const { return neib[0].e == self ? nullptr : neib[0].e; }

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

    // The faces and the edges that name this vertex, each with the vertex's position in
    // it. An element naming the vertex twice stands twice. Lists run oldest element first.
    class QM_API AttrVertex : public QmAttribut
    {
    public:
        std::list<NeibFace> faces;
        std::list<NeibEdge> edges;

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

    // An AttrFace on every face.
    void BuildAttrFace(QmPstMesh& mesh);
    // An AttrEdge on every edge.
    void BuildAttrEdge(QmPstMesh& mesh);
    // An AttrVertex on every vertex, its lists emptied first. Faces are listed when kinds
    // has typeFace, edges when it has typeEdge; the other list stays empty.
    void BuildAttrVertex(QmPstMesh& mesh, QmPstMesh::TypeEle kinds);

private:
    // The run in progress.
    QmPstMesh* mesh = nullptr;
    QmPstMesh::TypeEle kinds = QmPstMesh::typeEle;
};
