#include "voronoi/VorSegSweep.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <utility>
#include <vector>

// Three passes, each O(n log n); a pair is rejected only by its exact distance test.
//
// Sweep over x (Shamos-Hoey). The status holds the segments the sweep line meets, in order
// of y, and every pair that becomes adjacent in it is tested. Two segments that cross are
// adjacent just before their leftmost crossing, so the first crossing is found before the
// sweep passes it, and until then the status keeps the true order. At each endpoint v the
// sweep also tests v's segments against every segment crossing the vertical through v
// within kReach tol of v (the window).
// Endpoint boxes. Endpoints within kReach tol of each other in x and in y test their
// segments.
// Transposed sweep. The first pass with x and y exchanged: its windows lie along the
// horizontal through each endpoint.
//
// Why every near pair is found. Two segments s and t that do not cross are nearest at an
// endpoint of one of them, say v of s, with q the nearest point of t, |vq| = d <= tol. When
// q is an endpoint of t, the boxes test the pair. Otherwise t lies on the line through q
// normal to vq; that line meets the horizontal or the vertical through v (whichever is nearer
// the direction of vq) within d sqrt 2 of v. If t reaches that point, the window in that
// direction holds t; if it stops short, its endpoint lies between q and that point, within
// d sqrt 2 of v, and the boxes hold it. kReach = 1.5 covers sqrt 2 with room for rounding.

namespace
{
// Coordinates beyond this magnitude are refused: differences and squared distances of the
// accepted ones stay finite.
constexpr double kVorSegLimit = 1e150;

// Half the length of a window, and of a side of a box, in units of tol.
constexpr double kReach = 1.5;

// Caps on the segments one window meets and on the endpoints one box holds. In a
// clear set the neighbour relation has degree at most 2, so at least a third of any group of
// segments are pairwise non-neighbours, hence pairwise more than tol apart: at most 4 cross a
// window 3 tol long (12 segments in all), at most 15 endpoints fit in a box of 1.5 tol by
// 3 tol (45 segments, 90 endpoints). A crowd beyond the caps cannot be clear, and the caps
// keep a bad input from making the passes quadratic.
constexpr std::size_t kWindowCrowd = 64;
constexpr std::size_t kBoxCrowd = 256;

// A segment has at most two neighbours, so a walk along the status passes at most two of
// them before it reaches a segment to test.
constexpr int kWalk = 3;

bool neighbours(VorSegment const& s, VorSegment const& t)
{
    if (s.chain != t.chain)
        return false;
    const long d = std::labs(s.index - t.index);
    return d == 1 || (s.closed && s.count > 2 && d == s.count - 1);
}

double dist2PointSeg(ZgVector2 const& p, ZgVector2 const& s, ZgVector2 const& t)
{
    const double ux = t.x - s.x;
    const double uy = t.y - s.y;
    const double l2 = ux * ux + uy * uy;
    double k = l2 > 0.0 ? ((p.x - s.x) * ux + (p.y - s.y) * uy) / l2 : 0.0;
    k = std::min(1.0, std::max(0.0, k));
    const double fx = s.x + ux * k - p.x;
    const double fy = s.y + uy * k - p.y;
    return fx * fx + fy * fy;
}

// Which side of the line p-q r lies on: 1 left, -1 right, 0 on it.
int side(ZgVector2 const& p, ZgVector2 const& q, ZgVector2 const& r)
{
    const double o = (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x);
    return (o > 0.0) - (o < 0.0);
}

// Closest approach of two segments, squared: 0 when they cross.
double dist2SegSeg(VorSegment const& s, VorSegment const& t)
{
    if (side(s.a, s.b, t.a) * side(s.a, s.b, t.b) < 0 &&
        side(t.a, t.b, s.a) * side(t.a, t.b, s.b) < 0)
        return 0.0;
    return std::min(std::min(dist2PointSeg(s.a, t.a, t.b), dist2PointSeg(s.b, t.a, t.b)),
                    std::min(dist2PointSeg(t.a, s.a, s.b), dist2PointSeg(t.b, s.a, s.b)));
}

class Checker
{
public:
    Checker(std::vector<VorSegment> const& s, double tol) : segs(s), tol2(tol * tol) {}

    bool Neighbours(long i, long j) const { return neighbours(segs[i], segs[j]); }

    // The pair that makes the set unclear.
    bool TooClose(long i, long j) const
    {
        return i != j && !neighbours(segs[i], segs[j]) && dist2SegSeg(segs[i], segs[j]) <= tol2;
    }

private:
    std::vector<VorSegment> const& segs;
    double tol2;
};

// The sweep, in a frame where (x, y) is the input's, or its transpose. Below, x and y
// name the frame's coordinates.
class Sweep
{
public:
    Sweep(Checker const& c, std::vector<VorSegment> const& segs, double r, bool transposed)
        : check(c), reach(r), status(Less{this})
    {
        edges.reserve(segs.size());
        for (VorSegment const& s : segs)
        {
            ZgVector2 p = transposed ? ZgVector2(s.a.y, s.a.x) : s.a;
            ZgVector2 q = transposed ? ZgVector2(s.b.y, s.b.x) : s.b;
            if (q.x < p.x || (q.x == p.x && q.y < p.y))
                std::swap(p, q);
            Edge e{p.x, p.y, q.x, q.y, q.x - p.x, q.y - p.y, kUp, 0.0};
            if (e.dx > 0.0)
            {
                e.slope = e.dy / e.dx;
                e.invDx = 1.0 / e.dx;
            }
            edges.push_back(e);
        }
        where.resize(edges.size());
    }
    Sweep(Sweep const&) = delete;
    Sweep& operator=(Sweep const&) = delete;

    bool Clear();

private:
    static constexpr double kUp = std::numeric_limits<double>::infinity();
    static constexpr long kProbe = -1;

    // From p to q, p the lexicographically smaller end. Vertical segments and points take the
    // slope +inf.
    struct Edge
    {
        double px, py, qx, qy, dx, dy, slope;
        double invDx; // 1 / dx, so that the comparisons of the status do not divide
    };

    // Order of the status at the current event: y where the segment meets the sweep line, then
    // slope (the order just right of a common point), then index. The probe sorts before every
    // segment at its y.
    struct Less
    {
        Sweep const* sweep;
        bool operator()(long i, long j) const
        {
            const double yi = sweep->KeyY(i);
            const double yj = sweep->KeyY(j);
            if (yi != yj)
                return yi < yj;
            const double si = sweep->Slope(i);
            const double sj = sweep->Slope(j);
            if (si != sj)
                return si < sj;
            return i < j;
        }
    };
    using Status = std::set<long, Less>;

    // A vertical segment (or a point) meets the sweep line along its whole length; it takes the
    // event's y, clamped to its ends. It is in the status only while the event lies on it.
    double KeyY(long i) const
    {
        if (i == kProbe)
            return probeY;
        Edge const& e = edges[i];
        if (e.dx == 0.0)
            return std::min(std::max(evY, e.py), e.qy);
        const double t = (evX - e.px) * e.invDx;
        if (!(t > 0.0))
            return e.py;
        if (t >= 1.0)
            return e.qy;
        return e.py + e.dy * t;
    }

    double Slope(long i) const { return i == kProbe ? -kUp : edges[i].slope; }

    // Tests it against the segments above (below) it, past at most two of its neighbours.
    bool ClearAbove(Status::iterator it) const
    {
        const long s = *it;
        int step = 0;
        for (auto k = std::next(it); k != status.end() && step < kWalk; ++k, ++step)
        {
            if (check.TooClose(s, *k))
                return false;
            if (!check.Neighbours(s, *k))
                break;
        }
        return true;
    }

    bool ClearBelow(Status::iterator it) const
    {
        const long s = *it;
        for (int step = 0; it != status.begin() && step < kWalk; ++step)
        {
            --it;
            if (check.TooClose(s, *it))
                return false;
            if (!check.Neighbours(s, *it))
                break;
        }
        return true;
    }

    // Takes segment i out by its stored position (no comparison, so an order that rounding
    // has bent cannot misplace it) and tests the two segments that become adjacent.
    bool Remove(long i)
    {
        const Status::iterator it = where[i];
        const Status::iterator above = std::next(it);
        const bool hasBelow = it != status.begin();
        const Status::iterator below = hasBelow ? std::prev(it) : status.end();
        status.erase(it);
        if (!hasBelow || above == status.end())
            return true;
        return ClearAbove(below) && ClearBelow(above);
    }

    Checker const& check;
    double reach;
    std::vector<Edge> edges;
    Status status;
    std::vector<Status::iterator> where;
    double evX = 0.0;
    double evY = 0.0;
    double probeY = 0.0;
};

bool Sweep::Clear()
{
    // At one point the ends leave first, so two neighbours meeting there are never in the
    // status together; then the starts enter; points leave last, once tested.
    enum Kind
    {
        kLeave,
        kEnter,
        kLeavePoint
    };
    struct Event
    {
        double x, y;
        int kind;
        long seg;
    };
    std::vector<Event> events;
    events.reserve(2 * edges.size());
    for (size_t i = 0; i < edges.size(); ++i)
    {
        Edge const& e = edges[i];
        const bool point = e.dx == 0.0 && e.dy == 0.0;
        events.push_back({e.px, e.py, kEnter, static_cast<long>(i)});
        events.push_back({e.qx, e.qy, point ? kLeavePoint : kLeave, static_cast<long>(i)});
    }
    std::sort(events.begin(), events.end(),
              [](Event const& u, Event const& v)
              {
                  if (u.x != v.x)
                      return u.x < v.x;
                  if (u.y != v.y)
                      return u.y < v.y;
                  if (u.kind != v.kind)
                      return u.kind < v.kind;
                  return u.seg < v.seg;
              });
    std::vector<long> window;
    for (size_t g = 0; g < events.size();)
    {
        size_t h = g;
        while (h < events.size() && events[h].x == events[g].x && events[h].y == events[g].y)
            ++h;
        evX = events[g].x;
        evY = events[g].y;

        // The window: segments across the sweep line within reach of the point, before the
        // point's own segments leave or enter.
        window.clear();
        probeY = evY - reach;
        for (auto it = status.lower_bound(kProbe); it != status.end() && KeyY(*it) <= evY + reach;
             ++it)
        {
            if (window.size() == kWindowCrowd)
                return false;
            window.push_back(*it);
        }
        for (size_t k = g; k < h; ++k)
            for (long w : window)
                if (check.TooClose(events[k].seg, w))
                    return false;

        for (size_t k = g; k < h; ++k)
        {
            const long s = events[k].seg;
            if (events[k].kind != kEnter)
            {
                if (!Remove(s))
                    return false;
                continue;
            }
            const std::pair<Status::iterator, bool> in = status.insert(s);
            if (!in.second)
                return false;
            where[s] = in.first;
            if (!ClearAbove(in.first) || !ClearBelow(in.first))
                return false;
        }
        g = h;
    }
    return true;
}

// The boxes: endpoints in x order; the set holds, by y, those within reach behind the current
// one.
bool endsClear(Checker const& check, std::vector<VorSegment> const& segs, double reach)
{
    struct End
    {
        double x, y;
        long seg;
    };
    std::vector<End> ends;
    ends.reserve(2 * segs.size());
    for (size_t i = 0; i < segs.size(); ++i)
    {
        ends.push_back({segs[i].a.x, segs[i].a.y, static_cast<long>(i)});
        ends.push_back({segs[i].b.x, segs[i].b.y, static_cast<long>(i)});
    }
    std::sort(ends.begin(), ends.end(), [](End const& u, End const& v) { return u.x < v.x; });
    std::set<std::pair<double, size_t>> byY;
    size_t tail = 0;
    for (size_t k = 0; k < ends.size(); ++k)
    {
        for (; ends[tail].x < ends[k].x - reach; ++tail)
            byY.erase({ends[tail].y, tail});
        size_t seen = 0;
        for (auto it = byY.lower_bound({ends[k].y - reach, 0});
             it != byY.end() && it->first <= ends[k].y + reach; ++it)
        {
            if (++seen > kBoxCrowd || check.TooClose(ends[k].seg, ends[it->second].seg))
                return false;
        }
        byY.insert({ends[k].y, k});
    }
    return true;
}
} // namespace

bool VorSegmentsClear(std::vector<VorSegment> const& segs, double tol)
{
    if (!(std::isfinite(tol) && tol >= 0.0))
        return false;
    for (VorSegment const& s : segs)
        if (!(std::fabs(s.a.x) <= kVorSegLimit && std::fabs(s.a.y) <= kVorSegLimit &&
              std::fabs(s.b.x) <= kVorSegLimit && std::fabs(s.b.y) <= kVorSegLimit))
            return false;
    if (segs.size() < 2)
        return true;
    const Checker check(segs, tol);
    const double reach = kReach * tol;
    return Sweep(check, segs, reach, false).Clear() && endsClear(check, segs, reach) &&
           Sweep(check, segs, reach, true).Clear();
}
