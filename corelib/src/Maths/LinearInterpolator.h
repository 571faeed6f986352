// Maps a setting on a fixed 0 to 100 scale (50 in the middle) piecewise
// linearly onto a value range given by a policy (minimum, default, maximum):
// 0 gives the minimum, 50 the default and 100 the maximum; and maps values back
// onto the scale.
// Threading: plain values; one object belongs to one thread at a time.
#ifndef CORELIB_MATHS_LINEARINTERPOLATOR_H
#define CORELIB_MATHS_LINEARINTERPOLATOR_H

#include <utility>

namespace Core
{
namespace Maths
{

// The minimum, default and maximum of a value range.
class C_InterpolatorPolicy
{
public:
    // Requires: min <= max, min <= deflt and deflt <= max. Each is checked in
    // that order in every build; a failed check ends the process through the
    // standard assertion failure (message and abort).
    C_InterpolatorPolicy(const double& min, const double& deflt, const double& max);

    // The minimum, the default and the maximum.
    double Min() const { return m_min; }
    double Default() const { return m_default; }
    double Max() const { return m_max; }
    // Writable views; a change through them is not checked.
    double& Min() { return m_min; }
    double& Default() { return m_default; }
    double& Max() { return m_max; }

private:
    double m_min;
    double m_default;
    double m_max;
};

class C_LinearInterpolator
{
public:
    // Keeps its own copy of policy: later changes to the caller's policy do not reach it.
    explicit C_LinearInterpolator(const C_InterpolatorPolicy& policy);

    // (true, value) for a position in [0, 100]; (false, 0) for any other
    // position, NaN included. Out-of-range positions are refused, not clamped.
    std::pair<bool, double> Interpolate(double position) const;
    // The position of value, clamped to [0, 100]; values within 1e-08 of the
    // default give 50. A side of zero width sends the values beyond it to the
    // nearer end.
    double InverseInterpolate(double value) const;

private:
    C_InterpolatorPolicy m_policy;
};

} // namespace Maths
} // namespace Core

#endif
