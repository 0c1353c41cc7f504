#pragma once

#include "shell/QmExport.h"

class qmCache;
class qmCacheNode;

// The process-wide budget of the spatial cache. All its state is static: the list of live
// trees, most recently used first (the MRU list), two stacks of limits and a byte count.
//
// An application narrows or widens the limits for a stretch of code by making a
// QmCacheMgr on the stack; scopes nest. With no scope open the limits are 10 trees and
// 11 resident levels. A tighter tree limit acts at the next GetTree, a tighter level limit
// at each Release of a node to zero and when a scope closes.
//
// Single-threaded: every call that can reach a cache, on any mesh, must come from one
// thread at a time.
class QM_API QmCacheMgr
{
public:
    // Accounted bytes of every live qmCacheNode of the process: a fixed 80 bytes a node,
    // whatever a node really takes. Array buffers are not counted.
    static unsigned long dwRamAlloc;

    // Pushes the limits; checks nothing until the next eviction point.
    QmCacheMgr(int nbMaxCache, int nbMaxLevel);
    // Pops both limits, then evicts idle trees over the restored tree limit and collapses
    // idle nodes over the restored level limit.
    ~QmCacheMgr();
    QmCacheMgr(QmCacheMgr const&) = delete;
    QmCacheMgr& operator=(QmCacheMgr const&) = delete;

    // The bytes nbCache trees of 2^nbLevel nodes would be charged: (nbCache << nbLevel) * 80
    // computed in 32 bits, wrapping as such. A shift count outside 0..31 is taken modulo
    // 32, as the hardware shift does.
    static int GetSizeRam(int nbCache, int nbLevel);
    // dwRamAlloc.
    static unsigned long GetActualSize();

    // The MRU list, for tests and memory reports: its length, and the root at a rank
    // (0 is the most recently used; null outside the list).
    static int GetNbCacheMru();
    static qmCacheNode* GetCacheMru(int rank);

private:
    // Moves root to the front of the MRU list (adding it if absent), then checkNbCache.
    static void setCacheMru(qmCacheNode* root);
    // Unlinks root from the MRU list; a root not on it is no fault.
    static void removeCache(qmCacheNode* root);
    // Drops idle trees from the back of the list until the list is within the limit or
    // the front is passed; trees in use are skipped.
    static void checkNbCache();
    // Trims every tree on the list, front to back.
    static void checkNbLevel();
    static int getNbMaxCache() { return nbMaxCacheTop; }
    static int getNbMaxLevel() { return nbMaxLevelTop; }
    static void nodeAlloc(unsigned long n) { dwRamAlloc += n; }
    static void nodeFree(unsigned long n) { dwRamAlloc -= n; }

    // The tops of the two limit stacks, or the defaults when a stack is empty, kept by the
    // constructor and destructor so that the readers on the descent path stay inline.
    static int nbMaxCacheTop;
    static int nbMaxLevelTop;

    friend class qmCache;
    friend class qmCacheNode;
};
