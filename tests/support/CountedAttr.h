#pragma once

#include "mesh/QmAttribut.h"

namespace qmtest
{
// An attribute that counts live instances, so tests can see who deletes what.
// Tag makes distinct classes with distinct class numbers.
template <int Tag> class CountedAttr : public QmAttribut
{
public:
    static int alive;
    int payload = 0;

    explicit CountedAttr(int p = 0) : payload(p) { ++alive; }
    CountedAttr(CountedAttr const& o) : QmAttribut(o), payload(o.payload) { ++alive; }
    CountedAttr& operator=(CountedAttr const&) = default;
    ~CountedAttr() override { --alive; }

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

template <int Tag> int CountedAttr<Tag>::alive = 0;
template <int Tag> long CountedAttr<Tag>::classId = 0;
} // namespace qmtest
