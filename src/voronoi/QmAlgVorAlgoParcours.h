#pragma once

#include "mesh/QmAlgorithm.h"
#include "shell/QmExport.h"
#include "voronoi/QmAlgVor.h"

#include <list>

// Lets the tests reach the private steps of the walks; defined by the tests only.
struct qmVorParcoursAccess;

// Walks over a finished diagram for a client such as a tool-path generator. Each walk
// hands darts to a callback cb(context, dart, draw): draw false means "move to the dart's
// start vertex without drawing, the path is broken here", draw true "follow the dart's arc
// to its far vertex". The callback's result is ignored, and it must not relink the map.
//
// Every walk starts from B2 of the first edge of a pocket (GetPocheIde), whose start
// vertex is a contour leaf. The walks that mark darts set Flag 1 on a dart and on its
// Alpha at once, so each arc is given through one dart only; flags must be clear on entry
// and, unless stated otherwise, are cleared by UnsetFlagAll before the walk returns. No
// two walks may run on one diagram at the same time.
//
// A pocket without a start dart (no diagram, or one whose Compute failed) is not walked:
// the walk makes no call for it and, where it has a result, returns false. Every loop is
// bounded, so a corrupt map (a broken tour) ends a walk early rather than hanging it, with
// false where the walk has a result.
class QM_API QmAlgVorAlgoParcours : public QmAlgorithm
{
public:
    using BrinVor = QmAlgVor::BrinVor;
    using Callback = bool (*)(void* context, BrinVor* dart, bool draw);

    // Both darts of every arc, each once with draw true, pocket after pocket along its Phi
    // tour from the start dart, so that each face is told whole. A dart that starts on the
    // contour (its Alpha is a dead end at distance 0) is preceded by a call with draw
    // false, and so is each pocket's start dart. false, with no call at all, when a contour
    // is open; otherwise true. Touches no flag.
    bool ParcoursFaces(QmAlgVor& vor, Callback cb, void* ctx);
    // Each arc once, along the same tour: a dart whose arc was already taken (the way back
    // along the tree) is skipped, and the first new arc after such a stretch, or one that
    // starts on the contour, begins with a pen-up. false with no call when a contour is
    // open. false at once when a pocket's start dart is already marked: the flags then
    // stay as they are, including those this walk set (the case of the islands of a
    // diagram whose pockets are joined, which the first pocket's tour has marked).
    // Otherwise true, with the flags clear.
    bool ParcoursPseudoFaces(QmAlgVor& vor, Callback cb, void* ctx);
    // As ParcoursPseudoFaces, but a pocket whose start dart is already marked is passed
    // over and the walk goes on: true whenever the contours are closed, and the flags are
    // always clear afterwards.
    bool ParcoursPseudoFacesSansFlag(QmAlgVor& vor, Callback cb, void* ctx);
    // Each arc of the first pocket's tree once, depth first from its start dart, for long
    // unbroken paths: a pen-up comes first and then only after a dead end, so a tree with
    // L leaves besides the start gives L pen-ups. Open contours are allowed (an arc to
    // infinity is a dead end); other pockets are reached only through arcs joining them.
    void ParcoursPseudoRecursif(QmAlgVor& vor, Callback cb, void* ctx);
    // The first arc along the first pocket's Phi tour whose two sites lie in different
    // meshes, that is one arc between two pockets, given alone: a pen-up, then its dart.
    // With no such arc (a single pocket) the tour is walked once and nothing is called.
    void ParcoursInterPoche(QmAlgVor& vor, Callback cb, void* ctx);

private:
    friend struct qmVorParcoursAccess;

    // One step of the depth-first walk, at the vertex where a starts. Every unmarked dart
    // about that vertex (a excluded) is marked with its Alpha and pushed at the front of
    // stack, so the last one found in the turn is taken first. Returns the front of the
    // stack, removed from it, or a itself when the stack is empty (the walk is over).
    // gap becomes true when nothing was pushed here: the dart returned then lies
    // elsewhere and the path breaks.
    BrinVor* NextOnPseudoRecursif(BrinVor* a, std::list<BrinVor*>& stack, bool& gap);
    // As NextOnPseudoRecursif, but only darts whose two sites lie in different meshes are
    // pushed and marked; the others are left alone.
    BrinVor* NextOnInterPoche(BrinVor* a, std::list<BrinVor*>& stack, bool& gap);
};
