#pragma once

#include "shell/QmExport.h"

class QmAttribut;

// A ring of attributes, owner of every attribute added to it. The ring is circular and
// doubly linked: the last attribute's next is head, head's prev is the last. Removing an
// attribute in any way deletes it.
class QM_API QmCtrAttribut
{
public:
    QmCtrAttribut() = default;
    ~QmCtrAttribut();

    // Copies head alone: both containers then share one ring. Meant for the memberwise
    // copy of a mesh; the caller decides which one ends the ring.
    QmCtrAttribut& operator=(QmCtrAttribut const& other);
    QmCtrAttribut(QmCtrAttribut const&) = delete;

    // The first attribute of the class from head on; null if none.
    QmAttribut* GetAttr(long classId) const;
    // The next attribute of the class after attr, without wrapping past head. Null when
    // attr is null or not in this ring, when the ring is empty or attr is alone in it,
    // or when no later match exists.
    QmAttribut* GetNextAttr(long classId, QmAttribut* attr) const;
    // Takes ownership. attr goes at the end of the ring, or at the front when first is
    // true. null does nothing. attr must not already be in a ring.
    void AddAttr(QmAttribut* attr, bool first);
    // Unlinks and deletes attr, which must be in this ring; null does nothing.
    void RemoveAttr(QmAttribut* attr);
    // Deletes every attribute of the class.
    void RemoveClassAttr(long classId);
    void RemoveAllAttr();

    QmAttribut* GetHead() const { return head; }

private:
    QmAttribut* head = nullptr;
};
