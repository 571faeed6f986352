// The declarations callers are compiled against: enumerations that hold any
// int (so Mutex(7) is a defined value), the defaults of Functor's argument
// list, and calls that may change their callable's state (non-const).
#include "Threading/Functor.h"
#include "Threading/Mutex.h"

#include <type_traits>

namespace
{

static_assert(std::is_same_v<int, std::underlying_type_t<Core::Mutex::EMutexType>>);
static_assert(std::is_same_v<int, std::underlying_type_t<Core::ConditionalGuard::EConditionType>>);

// Unused argument positions default to void, and the voids are dropped.
using TwoInts = Core::Functor<long, int, int>;
static_assert(std::is_same_v<TwoInts::Signature, Core::Functor<long, int, int, void, void, void, void>::Signature>);
static_assert(std::is_same_v<long (TwoInts::Signature::*)(int, int), decltype(&TwoInts::Signature::Execute)>,
              "Execute is not const");
static_assert(std::is_same_v<long (Core::Bound<long>::*)(), decltype(&Core::Bound<long>::Execute)>);
static_assert(std::is_same_v<bool (Core::Functors::Functor0<bool>::*)(),
                             decltype(&Core::Functors::Functor0<bool>::operator())>,
              "the call operator is not const");
static_assert(std::is_same_v<void (Core::Functors::Functor1<void, int>::*)(int),
                             decltype(&Core::Functors::Functor1<void, int>::operator())>);

} // namespace
