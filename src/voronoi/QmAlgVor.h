#pragma once

#include "kernel/ZgBBox2.h"
#include "kernel/ZgVector2.h"
#include "mesh/QmAlgorithm.h"
#include "mesh/QmAttribut.h"
#include "mesh/QmCtrAttribut.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"
#include "voronoi/QmVorGeom.h"
#include "voronoi/qmSommetVor.h"

#include <cassert>
#include <cstdint>

// Opens the private operations of the darts and of AttrEdgeVor to the construction code
// outside QmAlgVor and to the tests, which build maps by hand. Defined in the library's
// private header voronoi/VorBrinDetail.h, never installed.
struct qmVorAccess;
class QmAlgVorData;

// The Voronoi diagram (medial axis) of planar pockets, stored as a combinatorial map.
//
// A pocket is a chain of edges of a QmPstMesh in the plane z = 0, directed so that the
// diagram lies on the right of each edge: the outer contour clockwise, islands
// counter-clockwise. Each edge is a segment site; a vertex that needs a cell of its own is
// a point site. A site is the triple (edge, IsEdge, Extr): IsEdge true for the segment,
// false for the single point at the end picked by Extr (false: v[0], true: v[1]); for a
// segment Extr picks the end it runs from.
//
// Each arc is a pair of darts, each the Alpha of the other. Phi is the next dart along
// the face on the dart's side and starts where the dart ends; Sigma(b) = Phi(Alpha(b))
// turns about the vertex where b starts. The diagram of a contour is a tree, so one Phi
// orbit walks around all of it. A dart b with Phi(b) == Alpha(b) is a dead end (Last).
// The darts from one dead end to the next along Phi form a pseudo-face, which lies along
// one site's cell; only its first dart is sure to carry that site until the construction
// propagates it.
//
// Arcs are straight, or parabolic between a point site and a segment site whose line does
// not hold the point. Nothing of their geometry is stored: it follows from the sites and
// from the positions of the arc's two vertices.
class QM_API QmAlgVor : public QmAlgorithm
{
public:
    class BrinVor;
    class AttrEdgeVor;

    // A dart: one side of one arc, carrying the site of that side and the vertex it starts
    // from. Darts are made and freed in pairs by the diagram; the public part reads and
    // walks the map, and relinks it through the reference forms of Phi, Alpha and Sigma.
    class QM_API BrinVor
    {
    public:
        BrinVor* Phi() const { return phi; }
        BrinVor*& Phi() { return phi; }
        BrinVor* Alpha() const { return alpha; }
        BrinVor*& Alpha() { return alpha; }
        // Phi of Alpha; the reference form is that Phi field, so assigning to Sigma
        // rewrites it.
        BrinVor* Sigma() const
        {
            assert(alpha != nullptr);
            return alpha->phi;
        }
        BrinVor*& Sigma()
        {
            assert(alpha != nullptr);
            return alpha->phi;
        }

        // Flag 1 on every dart of the Sigma orbit from this one, and on their Alpha too
        // when both is true.
        void FlagSigmaStar(bool both);
        // pred(dart, ctx) on each dart of the Sigma orbit from this one: false at the first
        // false, true after a full turn. An orbit that does not close within the walk bound
        // (a corrupt map) gives false.
        bool SigmaStar(bool (*pred)(BrinVor const*, void*), void* ctx) const;

        // Copies Phi, Alpha, the site, Sommet and Flag; the attribute container stays.
        BrinVor& operator=(BrinVor const& other);
        BrinVor(BrinVor const&) = delete;
        // Same Phi and Alpha, same sites on both sides and the same GetD1, compared as
        // exact doubles. Flag and the Sommet pointer play no part.
        bool operator==(BrinVor const& other) const;

        // The site on this dart's side (1) and on Alpha's side (2).
        QmPstMesh::edge* GetI1() const { return I; }
        QmPstMesh::edge* GetI2() const { return alphaRef().I; }
        bool IsEdge1() const { return IsEdge; }
        bool IsEdge2() const { return alphaRef().IsEdge; }
        bool GetExtr1() const { return Extr; }
        bool GetExtr2() const { return alphaRef().Extr; }

        // Visit mark of the walks; zero outside a walk.
        void SetFlag(unsigned char f) { Flag = f; }
        unsigned char GetFlag() const { return Flag; }

        QmCtrAttribut& GetCtrAttribut() const { return attributes; }
        QmAttribut* GetAttr(long classId) const { return attributes.GetAttr(classId); }
        void AddAttr(QmAttribut* attr, bool first) { attributes.AddAttr(attr, first); }

        // Distance and position of the start vertex (1) and of Alpha's (2): VorInfini and
        // (VorInfini, VorInfini) where there is no vertex (at infinity, or not made yet).
        double GetD1() const { return Sommet != nullptr ? Sommet->D : VorInfini; }
        double GetD2() const { return alphaRef().GetD1(); }
        ZgVector2 GetPoint1() const
        {
            return Sommet != nullptr ? Sommet->Point : ZgVector2(VorInfini, VorInfini);
        }

        // The start vertex's container; the dart must have a vertex.
        QmCtrAttribut& GetSommetCtrAttribut() const
        {
            assert(Sommet != nullptr);
            return Sommet->attributes;
        }
        QmAttribut* GetSommetAttr(long classId) const
        {
            return GetSommetCtrAttribut().GetAttr(classId);
        }
        void AddSommetAttr(QmAttribut* attr, bool first)
        {
            GetSommetCtrAttribut().AddAttr(attr, first);
        }

        // A dead end: the walk turns back along the same arc.
        bool Last() const { return phi == alpha; }
        // A dead end whose far vertex lies on the contour (distance exactly 0.0).
        bool LastBord() const;

        // The neighbouring entry dart along the contour, through the AttrEdgeVor of the
        // contour edges: null when that step finds no dart, VorBrinFin() past the end of
        // an open contour.
        BrinVor* GetPrevB() const;
        BrinVor* GetNextB() const;

        // Predecessors, found by one turn about a vertex: GetPrec gives q with
        // Phi(q) == this, GetPrecAlpha q with Phi(q) == Alpha(this). null when the orbit
        // does not close within the walk bound (a corrupt map).
        BrinVor* GetPrecAlpha() const;
        BrinVor* GetPrec() const;

        // Whether c's site follows this dart's right site (ADroite) or this dart's left
        // site follows c's right site (AGauche) along the contour: see SitesContigus.
        bool ADroite(BrinVor const* c) const;
        bool AGauche(BrinVor const* c) const;
        // A straight arc; false for a parabola (a point site facing a segment whose line
        // does not hold it). Reads the stored sites of the dart and its Alpha.
        bool IsDroite() const;

        // Arc geometry. The parameter t runs from 0 at this dart's vertex to 1 at Alpha's.
        // Forms go into a caller's buffer of three points: one unit direction (count 1)
        // for a straight arc, or the quadratic Bezier control points P0, C, P2 (count 3),
        // exact for a parabola. Nothing is cached: each call recomputes.

        // Only for a parabola: the focus, a point of the directrix and its direction, from
        // the sites walked to the pseudo-faces' ends (SiteGauche, SiteDroite).
        void GetFoyerDirectrice(ZgVector2& foyer, ZgVector2& point, ZgVector2& direction) const;
        // CoteDroite(a, b, p): 1 when p lies right of a->b, -1 left, 0 on the line.
        long GetCoteAxe(ZgVector2 const& p, ZgVector2 const& a, ZgVector2 const& b) const;
        // The normal of line a-b on p's side (the left one when p is on the line), with the
        // length of b - a.
        ZgVector2 GetAxe(ZgVector2 const& p, ZgVector2 const& a, ZgVector2 const& b) const;
        // Direction of a straight arc, not normalised, from the stored sites only; its sign
        // comes from the edges' own directions, never from Extr.
        void GetVectDir(ZgVector2& out) const;
        // The site point: vertex GetExtr1() of GetI1() when first, else GetExtr2() of
        // GetI2().
        ZgVector2 GetPtContour(bool first) const;
        // The edge GetI1() (first) or GetI2(): start gets its v[0], the result is
        // v[1] - v[0]. Extr plays no part.
        ZgVector2 GetSegContour(bool first, ZgVector2& start) const;

        // The power of two n whose first step [0, 1/n] keeps the curve's midpoint within tol
        // of the chord's. Only that first step is refined: the deviation of a parabola is
        // taken as uniform in t. The second argument is ignored. tol must be positive; n
        // stops growing at 2^30.
        long ParaPrec(double tol, long n) const;
        // A parameter of a point of the arc within tol of p, by bisection on the distance
        // from the nearer bound; a point off the arc gives whichever bound is reached.
        double GetPtParam(ZgVector2 const& p, double tol) const;
        // The form of a finite arc. A parabola whose two vertices match within dZgZero
        // gives three equal points; tangents that do not meet give the vertices' midpoint
        // as control point.
        void GetEquation(ZgVector2* out, long& count) const;
        // Bezier of GetEquation for a parabola, (1 - t) P1 + t P2 for a straight arc (not
        // usable for an arc running off to infinity: use XYtV).
        ZgVector2 XYt(double t) const;
        // As XYt on finite arcs. A dead end runs on: a parabola by the form of
        // GetEquationV, a straight arc as GetPoint1() + t * unit direction, where t is a
        // length.
        ZgVector2 XYtV(double t) const;

    private:
        friend class QmAlgVor;
        friend struct qmVorAccess;

        // Alpha, Phi, Sommet and Flag zero, container empty, then SetI.
        BrinVor(QmPstMesh::edge* const e, bool isEdge, bool extr);
        // Empties the container; frees neither Sommet nor other darts.
        ~BrinVor() = default;

        void SetI(QmPstMesh::edge* const e, bool isEdge, bool extr)
        {
            I = e;
            IsEdge = isEdge;
            Extr = extr;
            Sur = false;
        }
        void SetExtr1(bool extr)
        {
            Extr = extr;
            Sur = false;
        }
        void SetExtr2(bool extr)
        {
            alphaRef().Extr = extr;
            alphaRef().Sur = false;
        }
        // The dart must have a vertex.
        void SetD1(double d)
        {
            assert(Sommet != nullptr);
            Sommet->D = d;
        }
        void SetPoint1(ZgVector2 const& p)
        {
            assert(Sommet != nullptr);
            Sommet->Point = p;
        }
        qmSommetVor* GetSommet() const { return Sommet; }
        void SetSommet(qmSommetVor* s) { Sommet = s; }

        // SetI along the pseudo-face: SetAllI1 from this dart forward by Phi through the
        // next dead end; SetAllI2 from Alpha(this) backward by GetPrec through the first
        // dart whose Alpha is a dead end (the start of that pseudo-face).
        void SetAllI1(QmPstMesh::edge* const e, bool isEdge, bool extr);
        void SetAllI2(QmPstMesh::edge* const e, bool isEdge, bool extr);

        // Insert new arcs at this dart's vertex; each new dart has its Alpha set. A missing
        // vertex on this dart is made first (all values VorInfini) and shared as stated.
        // AddPrecFront: Alpha(n) comes just after this dart in Sigma order, and takes its
        // vertex. AddPrecBack: Alpha(n) comes just before, and takes its vertex.
        // AddPrec: after this dart come Alpha(arr[count-1]), ..., Alpha(arr[0]); the vertex
        // goes to arr[0..count-2] themselves (not their Alpha) and to Alpha(arr[count-1]),
        // and the construction sets the others afterwards. count >= 1.
        void AddPrecFront(BrinVor* n);
        void AddPrecBack(BrinVor* n);
        void AddPrec(BrinVor** arr, long count);

        // Other forms of the arc. GetEquationV gives a dead end a finite form too: a
        // straight one its unit direction, a parabolic one the span from its vertex to the
        // point 8 parameters further along the directrix's direction. GetEquationC spans
        // the whole curve symmetrically about its apex, whatever the arc's ends.
        // GetEquationAffichage writes nothing for a dead end, and for a parabola takes
        // feet divided by |D| rather than D.D (true feet only for a unit directrix) with no
        // fallback. Where their tangents do not meet, out[1] is (VorInfini, VorInfini).
        void GetEquationV(ZgVector2* out, long& count) const;
        void GetEquationC(ZgVector2* out, long& count) const;
        void GetEquationAffichage(ZgVector2* out, long& count) const;
        // XYtC: Bezier for a parabola, GetPoint1() + t * unit direction for a straight arc.
        // XYtAffichage: Bezier for a parabola, XYt for a straight arc, GetPoint1() + t * its
        // (unwritten, so zero) direction for a straight dead end: meaningless there.
        ZgVector2 XYtAffichage(double t) const;
        ZgVector2 XYtC(double t) const;

        BrinVor const& alphaRef() const
        {
            assert(alpha != nullptr);
            return *alpha;
        }
        BrinVor& alphaRef()
        {
            assert(alpha != nullptr);
            return *alpha;
        }

        BrinVor* alpha = nullptr;
        BrinVor* phi = nullptr;
        QmPstMesh::edge* I = nullptr;
        bool IsEdge = false;
        bool Extr = false;
        qmSommetVor* Sommet = nullptr;
        unsigned char Flag = 0;
        // The site holds that of the pseudo-face's first dart: set when the construction
        // propagates the sites, cleared by any later change of the site, so that SiteGauche
        // need not walk back along a long pseudo-face.
        bool Sur = false;
        mutable QmCtrAttribut attributes;
    };

    // The link from a contour edge into the map, on every edge of every pocket while a
    // diagram exists. B1 is the dart at the edge's start, B2 the one at its end: the
    // darts at which the walk along the contour enters the cells of this edge, null where
    // the edge has no such cell. The box is shared by every attribute of a diagram and
    // owned by the diagram; copies share box and darts.
    class QM_API AttrEdgeVor : public QmAttribut
    {
    public:
        AttrEdgeVor() = default;
        AttrEdgeVor(AttrEdgeVor const&) = default;
        AttrEdgeVor& operator=(AttrEdgeVor const&) = default;
        // Forgets the box (does not free it) and the diagonal.
        ~AttrEdgeVor() override;

        long GetObjClassId() override { return GetClassId(); }
        static long GetClassId()
        {
            if (classId == 0)
                classId = getNewClassId();
            return classId;
        }

        ZgBBox2* GetPstMeshBox() const { return box; }
        // The box's diagonal length; VorInfini until set.
        double GetPstMeshBoxDiag() const { return diag; }
        BrinVor* GetB1() const { return B1; }
        BrinVor* GetB2() const { return B2; }
        // B1 for 0, B2 for any other value.
        BrinVor* GetB(long i) const { return i == 0 ? B1 : B2; }

        // The contour neighbours of e from its QmAlgNeib::AttrEdge, which must exist; null
        // where the contour ends at e. They read nothing of this attribute.
        QmPstMesh::edge* GetPrevIde(QmPstMesh::edge* const e) const;
        QmPstMesh::edge* GetNextIde(QmPstMesh::edge* const e) const;

    protected:
        static long classId;

    private:
        friend class QmAlgVor;
        friend struct qmVorAccess;

        void SetPstMeshBox(ZgBBox2* b) { box = b; }
        void SetPstMeshBoxDiag(double d) { diag = d; }
        void SetB1(BrinVor const* b) { B1 = const_cast<BrinVor*>(b); }
        void SetB2(BrinVor const* b) { B2 = const_cast<BrinVor*>(b); }

        ZgBBox2* box = nullptr;
        double diag = VorInfini;
        BrinVor* B1 = nullptr;
        BrinVor* B2 = nullptr;
    };

    // The driver. From Compute to Delete the diagram owns every dart, every qmSommetVor,
    // one box shared by all pockets and an AttrEdgeVor on every contour edge. Copies share
    // the record, so only one of them may be deleted.
    QmAlgVor() = default;
    QmAlgVor(QmAlgVor const&) = default;
    QmAlgVor& operator=(QmAlgVor const&) = default;

    // The diagram of count pockets: meshes[0] is the outer contour, the others islands,
    // each one chain of edges in the plane, directed so that the pocket lies on its right
    // (QmAlgNeib::AttrEdge gives the direction and is built where the first edge lacks
    // one). The array is kept, not copied, and must outlive the diagram; the meshes must
    // not be edited until Delete. The text is ignored. 1 when the diagram stands, 0 on
    // failure, including contours it cannot take (a zero-length edge, a contour that
    // touches itself); Delete is due either way.
    long Compute(char const* unused, QmPstMesh** const meshes, long count);
    // Frees the map, the record, the box and every AttrEdgeVor of the meshes; leaves the
    // QmAlgNeib::AttrEdge links. The object is empty afterwards.
    void Delete(QmPstMesh** const meshes, long count);

    long GetNbPoches() const;
    QmPstMesh& GetPstMesh(long pocket) const;
    // The first edge of the pocket's contour: its open start, or the mesh's first edge when
    // the contour is closed.
    QmPstMesh::edge* GetPocheIde(long pocket) const;
    long GetNbEdge(long pocket) const;
    // 1 for a closed contour, 0 for an open one.
    long GetFerme(long pocket) const;

    // Flag 0 along every pocket's whole Phi tour.
    void UnsetFlagAll();
    // Flag 0 on the subtree of each entry dart along every contour.
    void UnsetFlag();
    // Flag 0 on b, its Alpha and the subtree beyond b, stopping where both flags are 0.
    void UnsetFlagArbre(BrinVor* b);

    // Makes a vertex at the narrowest place inside each arc that has one, so that the
    // vertices alone bound the clearance along every arc.
    void AddMinPt();
    // Writes the box and every arc as ISO contour text to path, which must be writable.
    void qmAfficheVorMD(char const* path);

private:
    friend struct qmVorAccess;

    // The tour of the arcs, each once, with a pen-up before an arc that does not continue
    // the previous one: false when a contour is open or a pocket's start dart is already
    // marked.
    bool ParcoursPseudoFaces(QmAlgVor& vor, bool (*cb)(void*, BrinVor*, bool), void* ctx);

    QmAlgVorData* data = nullptr;
};

// End of an open contour along the contour walks: a dart pointer with every bit set, told
// apart from null (no dart on this edge, search on) and from any real dart. Compare with ==
// only; it is never dereferenced.
inline QmAlgVor::BrinVor* VorBrinFin()
{
    return reinterpret_cast<QmAlgVor::BrinVor*>(~std::uintptr_t{0});
}

// The next (previous) entry dart along the contour from dart b on edge e, skipping edges
// without darts. Starting from a null b it starts with the edge after (before) e. Returns
// VorBrinFin() past the end of an open contour, and null when a closed contour holds no
// dart at all (or the chain of edges does not close within the walk bound). The result is
// b itself only when the contour closes on b.
QM_API QmAlgVor::BrinVor* FindNextB(QmPstMesh::edge* const e, QmAlgVor::BrinVor* b);
QM_API QmAlgVor::BrinVor* FindPrevB(QmPstMesh::edge* const e, QmAlgVor::BrinVor* b);

// The shared box and its diagonal, read from the AttrEdgeVor of b's GetI1().
QM_API ZgBBox2* GetPstMeshBox(QmAlgVor::BrinVor const* b);
QM_API double GetPstMeshBoxDiag(QmAlgVor::BrinVor const* b);

// From the vertex where b ends, the next arc on the right (Alpha(GetPrecAlpha(b))) and on
// the left (Phi(b)).
QM_API QmAlgVor::BrinVor* AvanceDroite(QmAlgVor::BrinVor* b);
QM_API QmAlgVor::BrinVor* AvanceGauche(QmAlgVor::BrinVor* b);
