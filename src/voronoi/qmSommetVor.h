#pragma once

#include "kernel/ZgVector2.h"
#include "mesh/QmCtrAttribut.h"
#include "shell/QmExport.h"
#include "voronoi/QmVorGeom.h"

// A vertex of the diagram, shared by every dart of its Sigma orbit. Owned by the diagram,
// never by a dart: whoever deletes it first clears Sommet in every dart of the orbit.
class QM_API qmSommetVor
{
public:
    // (VorInfini, VorInfini) until the construction places the vertex.
    ZgVector2 Point{VorInfini, VorInfini};
    // Radius of the inscribed circle here: VorInfini until measured, exactly 0.0 for a
    // vertex of the contour (a marker, assigned and never computed).
    double D = VorInfini;
    // Owned; its destructor deletes what it holds.
    QmCtrAttribut attributes;

    qmSommetVor() = default;
    qmSommetVor(qmSommetVor const&) = delete;
    qmSommetVor& operator=(qmSommetVor const&) = delete;
};
