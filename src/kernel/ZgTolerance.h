#pragma once

#include "shell/QmExport.h"

// Absolute length tolerance of the kernel, in model units (think millimetres).
// Coordinates a and b match when the larger is at most the smaller plus dZgZero.
extern QM_API const double dZgZero;
// dZgZero squared: a companion tolerance for squared lengths.
extern QM_API const double dZgZero2;

// The same value as dZgZero; the builder keeps its precision relative to it.
QM_API double ZgGetZero();
// A finite value above every squared distance of a model: the start of a search.
// Not the diagram's no-value marker.
QM_API double ZgGetInfini();

// The kernel's scalar closeness: with s the smaller and l the larger, l <= s + dZgZero.
inline bool ZgIsClose(double a, double b) { return a < b ? b <= a + dZgZero : a <= b + dZgZero; }
