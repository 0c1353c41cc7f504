#pragma once

// Whether the edges of a set of contours keep clear of one another: the test the diagram's
// construction makes on its input before it starts. Not exported.

#include "kernel/ZgVector2.h"

#include <vector>

// One edge of a contour: from a to b, the index-th of the count edges of chain `chain`,
// closed when its last edge joins its first. Indices within a chain are expected distinct.
struct VorSegment
{
    ZgVector2 a, b;
    long chain, index, count;
    bool closed;
};

// True when no two segments that are not neighbours cross or come within tol of each other
// (distance <= tol, absolute). Neighbours are two edges of one chain with consecutive indices,
// or the last and the first of a closed chain of more than two edges; they share a vertex and
// are never compared here (a neighbour folding back onto the other is the caller's test).
// False for a coordinate that is not finite or beyond 1e150 in magnitude, and for a tol that
// is negative or not finite. Zero-length segments are taken as points. O(n log n).
bool VorSegmentsClear(std::vector<VorSegment> const& segs, double tol);
