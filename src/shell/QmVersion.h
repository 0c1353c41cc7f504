#pragma once

#include "shell/QmExport.h"

// The library's version as "major.minor.patch"; a static string, never null.
QM_API char const* QmGetVersion();
