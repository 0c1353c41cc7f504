#include "mesh/QmCacheMgr.h"

#include "mesh/QmPstMesh.h"
#include "mesh/qmCache.h"
#include "mesh/qmCacheNode.h"

#include <cstdint>
#include <cstdlib>

// The lists are plain data with no constructor, so they are ready before any static
// initialiser of the application runs, and stay usable (empty) after the library's own
// statics are torn down: a mesh destroyed that late only searches an empty list.

namespace
{
const int nbMaxCacheDefault = 10;
const int nbMaxLevelDefault = 11;

struct MruEntry
{
    MruEntry* prev;
    MruEntry* next;
    qmCacheNode* root;
};

// The MRU list: front is the most recently used tree.
MruEntry* mruFront = nullptr;
MruEntry* mruBack = nullptr;
int mruCount = 0;

// A stack of int limits, bottom first.
struct LimitStack
{
    int* data;
    int count;
    int capacity;

    void Push(int v)
    {
        if (count == capacity)
        {
            capacity = capacity == 0 ? 8 : capacity * 2;
            data = static_cast<int*>(std::realloc(data, sizeof(int) * capacity));
        }
        data[count++] = v;
    }
    void Pop()
    {
        if (count > 0)
            --count;
    }
    int Top(int byDefault) const { return count > 0 ? data[count - 1] : byDefault; }
};

LimitStack stackCache = {nullptr, 0, 0};
LimitStack stackLevel = {nullptr, 0, 0};

MruEntry* FindEntry(qmCacheNode* root)
{
    for (MruEntry* e = mruFront; e != nullptr; e = e->next)
        if (e->root == root)
            return e;
    return nullptr;
}

void Unlink(MruEntry* e)
{
    (e->prev != nullptr ? e->prev->next : mruFront) = e->next;
    (e->next != nullptr ? e->next->prev : mruBack) = e->prev;
    --mruCount;
}

void LinkFront(MruEntry* e)
{
    e->prev = nullptr;
    e->next = mruFront;
    (mruFront != nullptr ? mruFront->prev : mruBack) = e;
    mruFront = e;
    ++mruCount;
}

// Empties and frees the lists when the library unloads.
struct ListsJanitor
{
    ListsJanitor() = default;
    ListsJanitor(ListsJanitor const&) = delete;
    ListsJanitor& operator=(ListsJanitor const&) = delete;
    ~ListsJanitor()
    {
        while (mruFront != nullptr)
        {
            MruEntry* e = mruFront;
            Unlink(e);
            delete e;
        }
        std::free(stackCache.data);
        std::free(stackLevel.data);
        stackCache = {nullptr, 0, 0};
        stackLevel = {nullptr, 0, 0};
    }
};
ListsJanitor janitor;
} // namespace

unsigned long QmCacheMgr::dwRamAlloc = 0;
int QmCacheMgr::nbMaxCacheTop = nbMaxCacheDefault;
int QmCacheMgr::nbMaxLevelTop = nbMaxLevelDefault;

QmCacheMgr::QmCacheMgr(int nbMaxCache, int nbMaxLevel)
{
    stackCache.Push(nbMaxCache);
    stackLevel.Push(nbMaxLevel);
    nbMaxCacheTop = stackCache.Top(nbMaxCacheDefault);
    nbMaxLevelTop = stackLevel.Top(nbMaxLevelDefault);
}

QmCacheMgr::~QmCacheMgr()
{
    stackCache.Pop();
    stackLevel.Pop();
    nbMaxCacheTop = stackCache.Top(nbMaxCacheDefault);
    nbMaxLevelTop = stackLevel.Top(nbMaxLevelDefault);
    checkNbCache();
    checkNbLevel();
}

int QmCacheMgr::GetSizeRam(int nbCache, int nbLevel)
{
    // Unsigned arithmetic wraps where signed would be undefined; the result is the same
    // 32-bit pattern read back as signed.
    const std::uint32_t nodes = static_cast<std::uint32_t>(nbCache)
                                << (static_cast<std::uint32_t>(nbLevel) & 31u);
    return static_cast<std::int32_t>(nodes * 80u);
}

unsigned long QmCacheMgr::GetActualSize() { return dwRamAlloc; }

int QmCacheMgr::GetNbCacheMru() { return mruCount; }

qmCacheNode* QmCacheMgr::GetCacheMru(int rank)
{
    if (rank < 0)
        return nullptr;
    MruEntry* e = mruFront;
    for (; e != nullptr && rank > 0; --rank)
        e = e->next;
    return e != nullptr ? e->root : nullptr;
}

void QmCacheMgr::setCacheMru(qmCacheNode* root)
{
    MruEntry* e = FindEntry(root);
    if (e != nullptr)
        Unlink(e);
    else
        e = new MruEntry{nullptr, nullptr, root};
    LinkFront(e);
    checkNbCache();
}

void QmCacheMgr::removeCache(qmCacheNode* root)
{
    MruEntry* e = FindEntry(root);
    if (e == nullptr)
        return;
    Unlink(e);
    delete e;
}

void QmCacheMgr::checkNbCache()
{
    const int excess = mruCount - getNbMaxCache();
    if (excess <= 0)
        return;
    int dropped = 0;
    // Least recently used first. A drop frees the entry in hand, so the walk steps on
    // before it; only that entry can go, so the step stays valid.
    for (MruEntry* e = mruBack; e != nullptr && dropped < excess;)
    {
        MruEntry* towardFront = e->prev;
        qmCacheNode* root = e->root;
        qmCache* cache = root->mesh != nullptr ? root->mesh->GetCache() : nullptr;
        if (cache != nullptr && cache->DropTreeIfIdle(root))
            ++dropped;
        e = towardFront;
    }
}

void QmCacheMgr::checkNbLevel()
{
    for (MruEntry* e = mruFront; e != nullptr; e = e->next)
        e->root->Trim();
}
