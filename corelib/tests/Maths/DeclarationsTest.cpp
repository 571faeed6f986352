// The declarations callers are compiled against: Geometry and BoundingBox
// take the vector as a template template parameter, the box's corners come
// back by value from a const box, the plane-only primitives exist on the
// Vector2 instantiation, and the random draws have their documented types.
#include "Maths/Geometry.h"
#include "Maths/Random.h"
#include "Maths/Vector.h"

#include <type_traits>
#include <utility>

namespace
{

using Core::Maths::Vector2;
using Core::Maths::Vector3;
using Plane = Core::Geometry<double, Vector2>;
using Box = Core::BoundingBox<double, Vector3>;

static_assert(std::is_same_v<Vector3<double> (Box::*)() const, decltype(&Box::GetMin)>);
static_assert(std::is_same_v<Vector3<double> (Box::*)() const, decltype(&Box::GetMax)>);

using V2 = Vector2<double>;
static_assert(std::is_same_v<V2 (*)(const V2&), decltype(&Plane::Perpendicular)>);
static_assert(std::is_same_v<V2 (*)(const V2&, const V2&, const V2&), decltype(&Plane::Bisector)>);
static_assert(std::is_same_v<double (*)(const V2&, const V2&, const V2&), decltype(&Plane::Radius)>);

static_assert(std::is_same_v<unsigned int, decltype(std::declval<Core::Random&>().RandInt())>);
static_assert(std::is_same_v<double, decltype(std::declval<Core::Random&>().Rand())>);

// Both sides of a scalar product, and division, keep the vector type.
static_assert(std::is_same_v<V2, decltype(2.0 * V2() / 2.0)>);
static_assert(std::is_same_v<Vector3<float>, decltype(Vector3<float>() * 2.0f)>);

} // namespace
