#pragma once

// The data record of a diagram and the operations of its construction: contours and sites,
// the binary schedule of joins, the merge walk and the crossing of bisectors. Not
// installed, not exported.

#include "kernel/ZgBBox2.h"
#include "kernel/ZgVector2.h"
#include "mesh/QmPstMesh.h"
#include "query/QmAlgDistMin.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"
#include "voronoi/VorPool.h"
#include "voronoi/qmSommetVor.h"

#include <cstdint>
#include <memory>

// An entry of a pocket's site list: the segment of I (IsEdge true) or a point at one of
// its ends, which end following from the entry's place in the list.
struct VorSite
{
    QmPstMesh::edge* I;
    bool IsEdge;
};

// The edge of an unused site entry: every bit set, never dereferenced.
inline QmPstMesh::edge* VorSiteVide()
{
    return reinterpret_cast<QmPstMesh::edge*>(~std::uintptr_t{0});
}

// Flag 0 on b, its Alpha and every dart beyond b, depth first in Sigma order about each far
// vertex, stopping where both are 0 already.
void VorUnsetFlagArbre(QmAlgVor::BrinVor* b);

// The next edge of the contour through QmAlgNeib::AttrEdge; null at an open end.
QmPstMesh::edge* VorNextIde(QmPstMesh::edge* e);

struct VorBrinDestroy
{
    static void Run(QmAlgVor::BrinVor* b) { qmVorAccess::DestroyBrin(b); }
};

// One record per computed diagram, owned by its QmAlgVor from Compute to Delete. The
// construction runs as member functions, with the record as their state.
class QmAlgVorData
{
public:
    using BrinVor = QmAlgVor::BrinVor;
    using AttrEdgeVor = QmAlgVor::AttrEdgeVor;
    using edge = QmPstMesh::edge;
    using Step = BrinVor* (*)(BrinVor*);

    explicit QmAlgVorData(QmPstMesh** meshes, long count);
    QmAlgVorData(QmAlgVorData const&) = delete;
    QmAlgVorData& operator=(QmAlgVorData const&) = delete;
    // Frees the arrays and whatever darts and vertices are still live.
    ~QmAlgVorData();

    // Fields, in the order of the original record.
    QmPstMesh** PstMesh = nullptr; // not owned: the caller's array
    void* unused0 = nullptr;
    long NbPoches = 0;
    std::unique_ptr<edge*[]> PocheIde;
    std::unique_ptr<long[]> NbEdge;
    std::unique_ptr<bool[]> Ferme;
    std::unique_ptr<BrinVor*[]> BrinPoche;
    std::unique_ptr<BrinVor*[]> BrinIle;
    std::unique_ptr<double[]> DistPoche;
    long unused1 = 0;
    long CoupeDroite = 0;
    long CoupeGauche = 0;
    BrinVor* StopDroite = nullptr;
    BrinVor* StopGauche = nullptr;

    // Set when a join had to be given up (a double crossing that fails its side test, a
    // walk past its step bound, a contour the construction cannot take): the construction
    // then fails whatever the check of the map would say.
    bool Echec = false;
    // While set, the two sites of every arc NewBrinPair makes are noted here (an island's
    // join): the arcs themselves may be gone by the end of the walk.
    std::vector<edge*>* Nouveaux = nullptr;

    VorPool<BrinVor, VorBrinDestroy> Brins;
    VorPool<qmSommetVor> Sommets;

    // Darts and vertices of this diagram.
    BrinVor* NewBrin(edge* e, bool isEdge, bool extr);
    void FreeBrin(BrinVor* b) { Brins.Free(b); }
    qmSommetVor* NewSommet();
    void FreeSommet(qmSommetVor* s) { Sommets.Free(s); }

    // Construction driver and sites.
    long BuildDiagram(QmPstMesh** meshes, long count);
    void CollectContour(long pocket);
    void SetContourBox(long pocket);
    void BuildSites(long pocket, VorSite* list, long& n);
    static void FixVertexSites(VorSite* list, long n);
    void BuildSitePairs(VorSite* list, long n);
    static void CloseSites(VorSite* list, long& n, bool closed);
    void MergeSites(VorSite* list, long n);
    void FindMergeStart(edge* e1, bool f1, edge* e2, bool f2, BrinVor*& start, BrinVor*& right,
                        BrinVor*& left, long& mode);
    BrinVor* CreateSitePair(edge* e1, bool f1, edge* e2, bool f2);
    BrinVor* NewBrinPair(edge* e1, bool isEdge1, bool extr1, edge* e2, bool isEdge2, bool extr2);
    void PropagateSites();
    void PropagateSites(long pocket);
    bool CheckDiagram(long count);
    bool CheckPocket(long pocket) const;
    void FillDistances();
    static double DistToSite(BrinVor* b);

    // Islands, joined one by one through a bridge to the contours joined before.
    bool JoinIslands();
    bool OuvreAnneaux();
    void CoupeArc(BrinVor* a);
    long NextIsland(long island, ZgVector2& p);
    static bool IslandPairFilter(void* pairs, QmPstMesh* meshA, QmPstMesh::ele* a, QmPstMesh* meshB,
                                 QmPstMesh::ele* b);
    static void SolToBrins(QmAlgDistMin::Sol& sol, BrinVor*& brinA, bool& inA, BrinVor*& brinB,
                           bool& inB);
    static BrinVor* SolToBrin(QmAlgDistMin::Sol& sol, bool& inEdge, long which);
    ZgVector2 BridgeMidPoint(BrinVor* poche, BrinVor* ile, long island) const;
    void BridgeIsland(long island, ZgVector2 const& p, BrinVor*& start, BrinVor*& left,
                      BrinVor*& right);

    // Merge walk.
    void MergeChains(BrinVor* start, BrinVor* right, BrinVor* left, long mode);
    static long ChooseCrossing(BrinVor* b, ZgVector2 pr, ZgVector2 pl, long const* code);
    // Which of pr and pl comes first along the parabola b: 0 pr, 1 pl, 2 together. By their
    // feet on the directrix (a tie goes to pl), or along the axis when the feet coincide.
    static long ChooseOnParabola(BrinVor* b, ZgVector2 pr, ZgVector2 pl);
    BrinVor* ApplyCrossing(BrinVor* b, BrinVor** arcs, long n, long status, bool* created,
                           Step stepRight, Step stepLeft);
    BrinVor* RemoveBisector(BrinVor* b, BrinVor* w);
    void DeleteChain(BrinVor* x, Step step);
    void DeleteArc(BrinVor* d);
    static void UnlinkArc(BrinVor* d);
    static void SitesOfCrossing(BrinVor* x, BrinVor* y, edge*& e1, bool& isEdge1, bool& extr1,
                                edge*& e2, bool& isEdge2, bool& extr2);
    // The pending cuts of an island join, run first by ApplyCrossing. Nothing happens
    // while CoupeDroite and CoupeGauche are zero, as during the joins of one contour.
    void ApplyCuts(BrinVor* b, BrinVor** arcs, long n);
    // The cut of an arc that is not a dead end: D stops short of its far vertex and a new
    // arc, the result, starts there on the other side.
    BrinVor* CutOpen(BrinVor* D);

    // Bisector crossing. The status values: 0 no crossing, 1 inside both arcs, 2 the
    // walker's arc is the bisector itself, 3 at the bisector's origin, 4 at the walker's
    // origin. Case codes: tens digit the bisector's kind, units the walker's (1 straight,
    // 2 parabola).
    long FindCrossing(BrinVor* b, BrinVor* w, ZgVector2& p, BrinVor*& dart, long& code, Step step);
    static void ClassifyCandidates(BrinVor* b, BrinVor* w, long code, ZgVector2* cands,
                                   long const& count, long* statuses);
    static long OnStraightArc(BrinVor* a, ZgVector2 p, double& t);
    static long OnCurvedArc(BrinVor* a, ZgVector2 p);
    static bool InZones(BrinVor* a, BrinVor* c, ZgVector2 p);
    static bool InZone(BrinVor* a, ZgVector2 p, bool side);
    static bool InZoneSite(BrinVor* a, bool side, ZgVector2 p);
    static bool InZoneFreeEnd(ZgVector2 end, ZgVector2 other, ZgVector2 p, bool last);
    static bool SameBisector(BrinVor* a, BrinVor* c);
    static bool SameBisectorCurved(BrinVor* a, BrinVor* c);
    static long CrossRays(double length, ZgVector2 const& a, ZgVector2 const& da,
                          ZgVector2 const& c, ZgVector2 const& dc, ZgVector2& out);
    static long CrossSegments(ZgVector2 const& a1, ZgVector2 const& a2, ZgVector2 const& c1,
                              ZgVector2 const& c2, ZgVector2& out);
    static long CrossStraightCurved(BrinVor* line, BrinVor* parabola, ZgVector2* cands,
                                    long& count);
    static long CrossCurvedCurved(BrinVor* a, BrinVor* c, ZgVector2* cands, long& count);
    // The parabola y = x^2 / (2 p) in the frame of axes ox, oy at origin, against the line
    // through l0 and l1: the crossings, mapped back to the plane, in cands; their count.
    static long CrossLinePara(ZgVector2 const& ox, ZgVector2 const& oy, ZgVector2 const& origin,
                              ZgVector2 const& l0, ZgVector2 const& l1, double p, ZgVector2* cands);
    static long ChooseOnArc(BrinVor* b, ZgVector2 pa, ZgVector2 pb);

    // Flag 0 on b, its Alpha and the subtree beyond b (stopping where both are 0), and on
    // the subtrees of every entry dart of the first count pockets.
    static void UnsetFlagArbre(BrinVor* b);
    void UnsetFlag(long count);

    // Taking a map down (the driver).
    void FreePartial();
    void FreeFrom(BrinVor* b);
};

// While one lives, the vertices that the darts' own insertions make (AddPrecFront and its
// kin) come from this record's pool, so that the record frees them like its own.
class VorSommetScope
{
public:
    explicit VorSommetScope(QmAlgVorData* record);
    ~VorSommetScope();
    VorSommetScope(VorSommetScope const&) = delete;
    VorSommetScope& operator=(VorSommetScope const&) = delete;

private:
    QmAlgVorData* previous;
};
