#pragma once

#include "kernel/ZgVector2.h"
#include "shell/QmExport.h"

// The diagram's no-value marker: a finite double chosen as a flag (bit pattern
// 0x7FEE42D130773B76), compared by exact equality only. Not the kernel's ZgGetInfini().
constexpr double VorInfini = 1.7e308;

// Both components hold VorInfini, compared by bit pattern.
QM_API bool IsInfini(ZgVector2 p);

// Distance from the point v to the line through the origin with direction d.
QM_API double DistPtDte(ZgVector2 const& v, ZgVector2 const& d);
