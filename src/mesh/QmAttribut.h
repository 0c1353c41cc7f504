#pragma once

#include "shell/QmExport.h"

class QmPstMesh;

// Base of every attribute: a small heap object hung on an element or a mesh, told apart
// by a run-time class number. While in a container the two links tie it into that
// container's ring; while free both are null.
//
// A subclass derives directly from QmAttribut, is nested in the algorithm that uses it,
// and follows one pattern: a protected static classId starting at 0, GetObjClassId()
// and static GetClassId() that both hand out a number on first use and return it,
// public payload fields, and default/copy construction, assignment and destruction.
// Class numbers depend on the order of first use in a process: never store one.
class QM_API QmAttribut
{
public:
    QmAttribut* next = nullptr;
    QmAttribut* prev = nullptr;

    QmAttribut() = default;
    // Copies the links as they stand: a copy is not clean until a container adds it.
    QmAttribut(QmAttribut const&) = default;
    QmAttribut& operator=(QmAttribut const&) = default;

    virtual long GetObjClassId() = 0;

    // Each removes only the first attribute of the class on every vertex (edge, face) of
    // the mesh: an element holding two keeps the second.
    static void RemoveAttrV(QmPstMesh* mesh, long classId);
    static void RemoveAttrE(QmPstMesh* mesh, long classId);
    static void RemoveAttrF(QmPstMesh* mesh, long classId);

protected:
    // Only a container ends an attribute; see QmCtrAttribut.
    virtual ~QmAttribut() = default;

    // The next unused class number: 1 for the first call of the process, never 0.
    static long getNewClassId();

private:
    friend class QmCtrAttribut;
    static long cptClassId;
};
