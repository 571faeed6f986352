// The declarations callers are compiled against: an integer second count is
// not ambiguous between Time's int, long and double forms, MonotonicTime
// adds its own double form beside Time's operators, the merge order holds
// any int, and the singleton hands out a plain reference.
#include "Utilities/StaticSingleton.h"
#include "Utilities/Time.h"
#include "Utilities/UTF8.h"

#include <type_traits>

namespace
{

using Core::MonotonicTime;
using Core::Time;

static_assert(std::is_constructible_v<Time, int> && std::is_constructible_v<Time, long> &&
              std::is_constructible_v<Time, double>);
static_assert(std::is_same_v<MonotonicTime, decltype(MonotonicTime() + 0.5)>);
static_assert(std::is_same_v<Time, decltype(MonotonicTime() + Time())>);

static_assert(std::is_same_v<int, std::underlying_type_t<Core::Utilities::EStringMergeType>>);

struct Settings
{
    int value = 0;
};
static_assert(std::is_same_v<Settings&, decltype(Core::Patterns::StaticSingleton<Settings>::ref())>);

} // namespace
