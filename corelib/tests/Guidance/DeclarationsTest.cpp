// The declarations callers are compiled against: the spline type holds any
// int, the poly-line's accessors, and the plain whole-line search that a
// spline must not hide behind its own windowed override.
#include "Guidance/PolySpline.h"

#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using Core::PolyLine;
using Core::PolySpline;
using Vec3 = Core::Maths::Vector3<double>;

static_assert(std::is_same_v<int, std::underlying_type_t<Core::SplineInterpolator::SplineTypes>>);

static_assert(std::is_same_v<const std::vector<Vec3>& (PolyLine::*)() const, decltype(&PolyLine::GetPoints)>);
static_assert(std::is_same_v<unsigned int (PolyLine::*)() const, decltype(&PolyLine::GetPointCount)>);
static_assert(std::is_same_v<const Core::BoundingBox<double, Core::Maths::Vector3>& (PolyLine::*)() const,
                             decltype(&PolyLine::GetBounds)>);
static_assert(std::is_same_v<void (PolyLine::*)(unsigned int), decltype(&PolyLine::SetLoopSpan)>);
static_assert(std::is_same_v<void (PolyLine::*)(unsigned int), decltype(&PolyLine::SetOffsetLoopSpan)>);
static_assert(std::is_same_v<unsigned int (PolyLine::*)() const, decltype(&PolyLine::GetLoopSpan)>);
static_assert(std::is_same_v<unsigned int (PolyLine::*)() const, decltype(&PolyLine::GetOffsetLoopSpan)>);

static_assert(std::is_same_v<bool, decltype(std::declval<const PolySpline&>().DistanceToNearest(
                                       std::declval<const Vec3&>(), std::declval<unsigned int&>(),
                                       std::declval<double&>(), std::declval<double&>(), std::declval<Vec3&>()))>,
              "the whole-line search stays visible on a spline");

} // namespace
