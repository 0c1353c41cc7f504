#pragma once

#include "shell/QmExport.h"

#include <list>

// An observer list. Add puts an entry at the front and Invoke walks from the front, so
// the last registered function runs first. Algorithms own static lists and invoke them
// with themselves as arg; a callback reads what is being processed from that object.
// A callback must not add to or remove from the list that is calling it.
class QM_API QmCallbackList
{
public:
    using Fn = void (*)(void* data, void* arg);

    // Allocates nothing, so static lists cost nothing at load time.
    QmCallbackList() = default;
    ~QmCallbackList();
    QmCallbackList(QmCallbackList const&) = delete;
    QmCallbackList& operator=(QmCallbackList const&) = delete;

    // Duplicates are allowed.
    void Add(Fn fn, void* data);
    // Removes the first entry, from the front, whose function and data both match.
    // false when there is none or the list was never made.
    bool Remove(Fn fn, void* data);
    void Clear();
    long GetNb();
    // Calls fn(data, arg) for each entry, front to back.
    void Invoke(void* arg);

private:
    struct Entry
    {
        Fn fn;
        void* data;
    };
    std::list<Entry>* entries = nullptr;
};
