#include "voronoi/QmVorGeom.h"

#include "voronoi/VorGeomDetail.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace
{
std::uint64_t bits(double d)
{
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}
} // namespace

bool IsInfini(ZgVector2 p)
{
    const std::uint64_t inf = bits(VorInfini);
    return bits(p.x) == inf && bits(p.y) == inf;
}

double DistPtDte(ZgVector2 const& v, ZgVector2 const& d)
{
    return std::fabs(SinusAngle(v, d) * v.Length());
}
