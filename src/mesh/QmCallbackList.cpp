#include "mesh/QmCallbackList.h"

QmCallbackList::~QmCallbackList() { delete entries; }

void QmCallbackList::Add(Fn fn, void* data)
{
    if (entries == nullptr)
        entries = new std::list<Entry>;
    entries->push_front(Entry{fn, data});
}

bool QmCallbackList::Remove(Fn fn, void* data)
{
    if (entries == nullptr)
        return false;
    for (auto it = entries->begin(); it != entries->end(); ++it)
        if (it->fn == fn && it->data == data)
        {
            entries->erase(it);
            return true;
        }
    return false;
}

void QmCallbackList::Clear()
{
    if (entries != nullptr)
        entries->clear();
}

long QmCallbackList::GetNb() { return entries == nullptr ? 0 : static_cast<long>(entries->size()); }

void QmCallbackList::Invoke(void* arg)
{
    if (entries == nullptr)
        return;
    for (Entry const& e : *entries)
        e.fn(e.data, arg);
}
