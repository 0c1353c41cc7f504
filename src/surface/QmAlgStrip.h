#pragma once

#include "kernel/ZgVector3.h"
#include "mesh/QmAlgorithm.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

#include <cstdint>

// Turns the edges of a mesh into line strips, flat arrays ready to draw. A strip follows
// edges head to tail (end 1 of one edge on end 0 of the next) and ends at a free end, at
// a junction of three or more ends, where the next edge turns back, or after a change of
// edge group.
//
// indices holds the strips one after another, each a run of point numbers closed by -1,
// and one more -1 closes the array: it ends -1, -1, or is just -1 for a mesh with no
// edge. Where the caller's neighbour links miss an edge, the strip reaching it is left
// open and runs into the next. Every visit of a vertex makes a new point, so a vertex
// shared by two strips, or the closing vertex of a ring, stands more than once: a ring
// of n edges gives n + 1 points. A point record holds x, then z, then 0: the second
// coordinate is the vertex's z, and y is not kept.
//
// A change of group is seen one edge late: the walk compares the strip's first edge with
// the edge before the current one, so a change on a chain's last edge is never seen. The
// edge where a strip stops for it starts the next strip as well, so it stands in both.
//
// The arrays belong to this object and stay valid until the next GetLineStrip or the
// destructor. The run removes one QmAlgNeibWalk::AttrEdge from every edge, a caller's
// mark included, and the edge neighbour links only when it built them itself (when the
// first edge had none).
class QM_API QmAlgStrip : public QmAlgorithm
{
public:
    std::int32_t nbPoint = 0;
    ZgVector3* points = nullptr;
    std::int32_t nbIndex = 0;
    std::int32_t* indices = nullptr;

    QmAlgStrip();
    ~QmAlgStrip();
    QmAlgStrip(QmAlgStrip const&) = delete;
    QmAlgStrip& operator=(QmAlgStrip const&) = delete;

    // Frees the previous result first. On an allocation failure the arrays that could not
    // be made stay null and their counts 0.
    void GetLineStrip(QmPstMesh& mesh);

private:
    class Work;
    Work* work;

    void freeResult();
};
