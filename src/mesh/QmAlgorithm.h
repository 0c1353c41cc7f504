#pragma once

#include "shell/QmExport.h"

// The empty base of the algorithm classes. An algorithm is a small value built on the
// stack: it holds at most the arguments of the run in progress, and the working
// attributes it hangs on elements are gone when the run returns.
class QM_API QmAlgorithm
{
public:
    QmAlgorithm& operator=(QmAlgorithm const&) = default;
};
