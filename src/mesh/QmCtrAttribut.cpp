#include "mesh/QmCtrAttribut.h"

#include "mesh/QmAttribut.h"

QmCtrAttribut::~QmCtrAttribut() { RemoveAllAttr(); }

QmCtrAttribut& QmCtrAttribut::operator=(QmCtrAttribut const& other)
{
    head = other.head;
    return *this;
}

QmAttribut* QmCtrAttribut::GetAttr(long classId) const
{
    if (head == nullptr)
        return nullptr;
    QmAttribut* a = head;
    do
    {
        if (a->GetObjClassId() == classId)
            return a;
        a = a->next;
    } while (a != head);
    return nullptr;
}

QmAttribut* QmCtrAttribut::GetNextAttr(long classId, QmAttribut* attr) const
{
    if (attr == nullptr || head == nullptr || head->next == head)
        return nullptr;
    // Membership costs one lap; a foreign attribute must not start a walk in its own ring.
    QmAttribut* a = head;
    do
    {
        if (a == attr)
            break;
        a = a->next;
    } while (a != head);
    if (a != attr)
        return nullptr;
    for (a = attr->next; a != head; a = a->next)
        if (a->GetObjClassId() == classId)
            return a;
    return nullptr;
}

void QmCtrAttribut::AddAttr(QmAttribut* attr, bool first)
{
    if (attr == nullptr)
        return;
    if (head == nullptr)
    {
        attr->next = attr;
        attr->prev = attr;
        head = attr;
        return;
    }
    // Just before head is the end of the ring.
    QmAttribut* last = head->prev;
    attr->prev = last;
    attr->next = head;
    last->next = attr;
    head->prev = attr;
    if (first)
        head = attr;
}

void QmCtrAttribut::RemoveAttr(QmAttribut* attr)
{
    if (attr == nullptr)
        return;
    if (attr->next == attr)
    {
        if (head == attr)
            head = nullptr;
    }
    else
    {
        attr->prev->next = attr->next;
        attr->next->prev = attr->prev;
        if (head == attr)
            head = attr->next;
    }
    attr->next = nullptr;
    attr->prev = nullptr;
    delete attr;
}

void QmCtrAttribut::RemoveClassAttr(long classId)
{
    while (head != nullptr && head->GetObjClassId() == classId)
        RemoveAttr(head);
    if (head == nullptr)
        return;
    // head does not match and is never removed below, so it stays a fixed stop mark.
    QmAttribut* a = head->next;
    while (a != head)
    {
        QmAttribut* match = a;
        a = a->next;
        if (match->GetObjClassId() == classId)
            RemoveAttr(match);
    }
}

void QmCtrAttribut::RemoveAllAttr()
{
    if (head == nullptr)
        return;
    // Open the ring at its end so the walk stops at null, never on a deleted attribute.
    QmAttribut* a = head;
    head->prev->next = nullptr;
    head = nullptr;
    while (a != nullptr)
    {
        QmAttribut* next = a->next;
        a->next = nullptr;
        a->prev = nullptr;
        delete a;
        a = next;
    }
}
