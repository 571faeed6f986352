#include "Maths/LinearInterpolator.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cmath>
#include <limits>

namespace
{

using Core::Maths::C_InterpolatorPolicy;
using Core::Maths::C_LinearInterpolator;

TEST(LinearInterpolatorTest, PositionsMapPiecewiseAndOutOfRangeIsInvalid)
{
    const C_LinearInterpolator interpolator(C_InterpolatorPolicy(1, 2, 4));
    const struct
    {
        double position;
        double value;
    } cases[] = {{0, 1}, {25, 1.5}, {50, 2}, {75, 3}, {100, 4}, {10, 1.2}, {90, 3.6}};
    for (const auto& c : cases)
    {
        const std::pair<bool, double> result = interpolator.Interpolate(c.position);
        EXPECT_TRUE(result.first) << c.position;
        EXPECT_DOUBLE_EQ(c.value, result.second) << c.position;
    }
    for (double refused : {100.5, -0.001, std::numeric_limits<double>::quiet_NaN(), double(INFINITY)})
    {
        EXPECT_EQ(std::make_pair(false, 0.0), interpolator.Interpolate(refused)) << refused;
    }
}

TEST(LinearInterpolatorTest, ValuesMapBackAndAreClamped)
{
    const C_LinearInterpolator interpolator(C_InterpolatorPolicy(1, 2, 4));
    const struct
    {
        double value;
        double position;
    } cases[] = {{0, 0}, {1, 0}, {1.5, 25}, {2, 50}, {2 + 5e-9, 50}, {3, 75}, {4, 100}, {5, 100}};
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(c.position, interpolator.InverseInterpolate(c.value)) << c.value;

    // The lower side has no width: 50 / 0 is infinite and the clamp takes the result to 0.
    const C_LinearInterpolator flat(C_InterpolatorPolicy(2, 2, 4));
    EXPECT_EQ(0.0, flat.InverseInterpolate(1.9));
    EXPECT_EQ(50.0, flat.InverseInterpolate(2));
    EXPECT_EQ(75.0, flat.InverseInterpolate(3));
}

TEST(LinearInterpolatorTest, InterpolatorKeepsItsOwnCopyOfThePolicy)
{
    C_InterpolatorPolicy policy(0, 5, 10);
    const C_LinearInterpolator interpolator(policy);
    policy.Max() = 1000; // unchecked, and not seen by the interpolator
    EXPECT_EQ(1000.0, policy.Max());
    EXPECT_DOUBLE_EQ(10.0, interpolator.Interpolate(100).second);
}

TEST(LinearInterpolatorTest, InconsistentPoliciesAbortWithTheStandardAssertionInEveryBuild)
{
    const struct
    {
        double min, deflt, max;
        const char* report;
    } cases[] = {
        {3, 1, 2, "corelib/src/Maths/LinearInterpolator.cpp:19: "
                  "Core::Maths::C_InterpolatorPolicy::C_InterpolatorPolicy(const double&, const double&, "
                  "const double&): Assertion `min<=max' failed.\n"},
        {2, 1, 3, "corelib/src/Maths/LinearInterpolator.cpp:20: "
                  "Core::Maths::C_InterpolatorPolicy::C_InterpolatorPolicy(const double&, const double&, "
                  "const double&): Assertion `min<=deflt' failed.\n"},
        {1, 3, 2, "corelib/src/Maths/LinearInterpolator.cpp:21: "
                  "Core::Maths::C_InterpolatorPolicy::C_InterpolatorPolicy(const double&, const double&, "
                  "const double&): Assertion `deflt<=max' failed.\n"},
    };
    for (const auto& c : cases)
    {
        const CoreTest::ChildResult child =
            CoreTest::RunInChild([&] { C_InterpolatorPolicy policy(c.min, c.deflt, c.max); });
        EXPECT_TRUE(child.signalled && child.signal == SIGABRT) << child.output;
        EXPECT_NE(std::string::npos, child.output.find(c.report)) << child.output;
    }
}

} // namespace
