#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmAttribut.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Visit marks for walks over edges and faces. A mark is the presence of an attribute of
// the walk class on the element; the caller clears them with RemoveAttrE or RemoveAttrF
// and that class number.
class QM_API QmAlgNeibWalk : public QmAlgorithm
{
public:
    class QM_API AttrEdge : public QmAttribut
    {
    public:
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

    // Adds a mark at the front unless the element holds one already: marking twice leaves
    // one mark, so one RemoveAttrE (RemoveAttrF) unmarks.
    static void Mark(QmPstMesh::edge* e);
    static void Mark(QmPstMesh::face* f);
    static bool IsMark(QmPstMesh::edge* e);
    static bool IsMark(QmPstMesh::face* f);
};
