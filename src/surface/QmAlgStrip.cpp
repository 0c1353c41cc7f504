#include "surface/QmAlgStrip.h"

#include "query/QmAlgNeib.h"
#include "query/QmAlgNeibNumber.h"
#include "query/QmAlgNeibWalk.h"

#include <cstdint>
#include <limits>
#include <new>

namespace
{
using edge = QmPstMesh::edge;
using vertex = QmPstMesh::vertex;

// A vertex's point number, for a vertex whose visits should share one point. Nothing
// hangs it yet, so every visit makes a point; the lookup and the removal keep the door open.
class AttrVertexStrip : public QmAttribut
{
public:
    std::int32_t num = 0;

    AttrVertexStrip() = default;
    AttrVertexStrip(AttrVertexStrip const&) = default;
    AttrVertexStrip& operator=(AttrVertexStrip const&) = default;
    ~AttrVertexStrip() override = default;

    long GetObjClassId() override { return GetClassId(); }
    static long GetClassId()
    {
        if (classId == 0)
            classId = getNewClassId();
        return classId;
    }

protected:
    static long classId;
};

long AttrVertexStrip::classId = 0;

QmAlgNeib::AttrEdge* neibOf(edge* e)
{
    return static_cast<QmAlgNeib::AttrEdge*>(
        e->mesh->GetEleAttr(e, QmAlgNeib::AttrEdge::GetClassId()));
}

// 1 is a free end and 3 a junction: a strip neither runs on nor starts further back there.
// 0, a neighbour without links, lets the walk step onto it.
bool isBorderOrJunction(long nb) { return nb == 1 || nb > 2; }
} // namespace

// The state of one GetLineStrip.
class QmAlgStrip::Work
{
public:
    QmAlgStrip* strip;
    QmPstMesh* mesh = nullptr;
    // Entries of indices; the walks fill all but the last two, kept for closing.
    std::int32_t capIndex = 0;
    // Set if the entries ever run out. No input tried so far gets there, even with
    // scrambled links; it stops the run before anything is written past the arrays.
    bool full = false;

    explicit Work(QmAlgStrip* s) : strip(s) {}

    edge* findStart(edge* e0);
    void walkChain(edge* s);

private:
    bool addVisit(vertex* v);
    void closeStrip() { strip->indices[strip->nbIndex++] = -1; }
};

QmAlgStrip::QmAlgStrip() : work(new Work(this)) {}

QmAlgStrip::~QmAlgStrip()
{
    freeResult();
    delete work;
}

void QmAlgStrip::freeResult()
{
    delete[] points;
    points = nullptr;
    delete[] indices;
    indices = nullptr;
    nbPoint = 0;
    nbIndex = 0;
}

void QmAlgStrip::GetLineStrip(QmPstMesh& mesh)
{
    work->mesh = &mesh;
    freeResult();
    const long nbEdge = mesh.GetNbEdge();
    if (nbEdge > (std::numeric_limits<std::int32_t>::max() - 1) / 3)
        return;
    // Three entries per edge and one: a lone edge takes its two points and -1. Each visit
    // uses an entry and makes a point, so points needs one record per entry but the final
    // -1, not one per vertex.
    const auto capIndex = static_cast<std::int32_t>(3 * nbEdge + 1);
    points = new (std::nothrow) ZgVector3[capIndex - 1];
    if (points == nullptr)
        return;
    indices = new (std::nothrow) std::int32_t[capIndex];
    if (indices == nullptr)
        return;
    work->capIndex = capIndex;
    work->full = false;

    bool neibBuilt = false;
    auto first = mesh.GetIterEdge();
    if (!first.IsEnd() && neibOf(first.Get()) == nullptr)
    {
        QmAlgNeib().BuildAttrEdge(mesh);
        neibBuilt = true;
    }
    for (auto it = mesh.GetIterEdge(); !it.IsEnd() && !work->full; it.Next())
        if (!QmAlgNeibWalk::IsMark(it.Get()))
            work->walkChain(work->findStart(it.Get()));
    indices[nbIndex++] = -1;

    QmAttribut::RemoveAttrV(&mesh, AttrVertexStrip::GetClassId());
    if (neibBuilt)
        QmAttribut::RemoveAttrE(&mesh, QmAlgNeib::AttrEdge::GetClassId());
    QmAttribut::RemoveAttrE(&mesh, QmAlgNeibWalk::AttrEdge::GetClassId());
}

// Goes backward from e0 while the previous edge runs head to tail into the current one
// through a plain joint. Stops on a marked edge, which is then walked once more, and
// returns e0 after a full turn of a ring. The step bound only matters for links that
// do not form rings (hand-made or stale): a true chain has at most one step per edge.
edge* QmAlgStrip::Work::findStart(edge* e0)
{
    edge* e = e0;
    for (long step = mesh->GetNbEdge(); step > 0; --step)
    {
        if (QmAlgNeibWalk::IsMark(e))
            return e;
        QmAlgNeib::AttrEdge* a = neibOf(e);
        if (a == nullptr || a->neib[0].num != 1 ||
            isBorderOrJunction(QmAlgNeibNumber::GetNbEdgeBord(e, 0)) || a->neib[0].e == nullptr)
            return e;
        e = a->neib[0].e;
        if (e == e0)
            return e0;
    }
    return e;
}

// Emits the strip from s, and after a group break the strips that follow it. Every step
// forward lands on an unmarked edge and marks it, so a run takes at most one step per
// edge and one restart per step, whatever the links.
void QmAlgStrip::Work::walkChain(edge* s)
{
    for (;;)
    {
        bool groupBreak = false;
        edge* c = s;
        if (!addVisit(s->v[0]))
            return;
        for (;;)
        {
            if (!addVisit(c->v[1]))
                break;
            QmAlgNeibWalk::Mark(c);
            QmAlgNeib::AttrEdge* a = neibOf(c);
            // An edge without links ends the walk with the strip left open.
            if (a == nullptr)
                return;
            const QmAlgNeib::NeibEdge next = a->neib[1];
            if (next.num != 0 || isBorderOrJunction(QmAlgNeibNumber::GetNbEdgeBord(c, 1)))
                break;
            // The group of the previous edge, not of the next: a change shows one edge late.
            // On the strip's own first edge a break would restart here with the same
            // comparison for ever, so there the strip simply goes on.
            const edge* prev = a->neib[0].e;
            if (c != s && prev != nullptr && prev->grp != s->grp)
            {
                groupBreak = true;
                break;
            }
            // A marked edge ahead is a ring that a group break entered somewhere else:
            // its edges are all in strips already, and going round again would never end.
            if (next.e == nullptr || next.e == s || QmAlgNeibWalk::IsMark(next.e))
                break;
            c = next.e;
        }
        closeStrip();
        if (!groupBreak || full)
            return;
        s = c;
    }
}

// Appends the point of one visit of v. false, appending nothing, once only the two
// closing entries are left.
bool QmAlgStrip::Work::addVisit(vertex* v)
{
    if (strip->nbIndex + 2 >= capIndex)
    {
        full = true;
        return false;
    }
    std::int32_t num;
    if (QmAttribut* a = v->mesh->GetEleAttr(v, AttrVertexStrip::GetClassId()))
        num = static_cast<AttrVertexStrip*>(a)->num;
    else
    {
        num = strip->nbPoint++;
        // x, then z in the second place; the third stays at the record's 0. Consumers of
        // strips read this layout.
        strip->points[num].x = v->coo[0];
        strip->points[num].y = v->coo[2];
    }
    strip->indices[strip->nbIndex++] = num;
    return true;
}
