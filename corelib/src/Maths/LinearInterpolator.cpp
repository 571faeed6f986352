#include "Maths/LinearInterpolator.h"

#include <cmath>

// The policy checks are part of the interface: they stay in every build and
// fail through the standard assertion (report, then abort). assert.h takes
// NDEBUG afresh at each inclusion, so this applies to this file only.
#undef NDEBUG
#include <assert.h>

namespace Core
{
namespace Maths
{

C_InterpolatorPolicy::C_InterpolatorPolicy(const double& min, const double& deflt, const double& max)
    : m_min(min), m_default(deflt), m_max(max)
{
    assert(min<=max);
    assert(min<=deflt);
    assert(deflt<=max);
}

C_LinearInterpolator::C_LinearInterpolator(const C_InterpolatorPolicy& policy) : m_policy(policy)
{
}

std::pair<bool, double> C_LinearInterpolator::Interpolate(double position) const
{
    // Written so that NaN fails the test as well.
    if (!(position >= 0 && position <= 100))
        return std::make_pair(false, 0.0);
    const double min = m_policy.Min(), deflt = m_policy.Default(), max = m_policy.Max();
    if (position >= 50)
        return std::make_pair(true, deflt + (position - 50) * (max - deflt) / 50);
    return std::make_pair(true, position * (deflt - min) / 50 + min);
}

double C_LinearInterpolator::InverseInterpolate(double value) const
{
    const double min = m_policy.Min(), deflt = m_policy.Default(), max = m_policy.Max();
    if (value == deflt || std::fabs(value - deflt) < 1e-08)
        return 50;
    // A zero-width side divides by zero; the infinity that results clamps to the nearer end.
    const double position =
        value < deflt ? (value - min) * (50 / (deflt - min)) : 50 + (value - deflt) * (50 / (max - deflt));
    if (position < 0)
        return 0;
    if (position > 100)
        return 100;
    return position;
}

} // namespace Maths
} // namespace Core
