#include "Maths/LinearInterpolator.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cmath>

namespace
{

using Core::Maths::C_InterpolatorPolicy;
using Core::Maths::C_LinearInterpolator;

TEST(LinearInterpolatorTest, MapsPercentagesPiecewiseEachWayAndClampsOnlyTheInverse)
{
    // 0..50 % spans min..default and 50..100 % spans default..max.
    const C_LinearInterpolator interpolator(C_InterpolatorPolicy(1, 2, 4));
    for (const auto& c : {std::make_pair(0.0, 1.0), {10.0, 1.2}, {50.0, 2.0}, {75.0, 3.0}, {100.0, 4.0}})
    {
        const std::pair<bool, double> result = interpolator.Interpolate(c.first);
        EXPECT_TRUE(result.first) << c.first;
        EXPECT_DOUBLE_EQ(c.second, result.second) << c.first;
        EXPECT_DOUBLE_EQ(c.first, interpolator.InverseInterpolate(c.second)) << c.second;
    }
    for (double refused : {100.5, -0.001, double(NAN)})
        EXPECT_EQ(std::make_pair(false, 0.0), interpolator.Interpolate(refused)) << refused;
    EXPECT_EQ(0.0, interpolator.InverseInterpolate(0.0));
    EXPECT_EQ(100.0, interpolator.InverseInterpolate(5.0));

    // The lower side has no width: 50 / 0 is infinite and the clamp takes the result to 0.
    const C_LinearInterpolator flat(C_InterpolatorPolicy(2, 2, 4));
    EXPECT_EQ(0.0, flat.InverseInterpolate(1.9));
    EXPECT_EQ(50.0, flat.InverseInterpolate(2));
}

TEST(LinearInterpolatorTest, InconsistentPoliciesAbortWithTheStandardAssertionInEveryBuild)
{
    const std::string function = "Core::Maths::C_InterpolatorPolicy::C_InterpolatorPolicy(const double&, "
                                 "const double&, const double&)";
    const struct { double min, deflt, max; int line; const char* expression; } cases[] = {{3, 1, 2, 19, "min<=max"}, {2, 1, 3, 20, "min<=deflt"}, {1, 3, 2, 21, "deflt<=max"}};
    for (const auto& c : cases)
    {
        const CoreTest::ChildResult child =
            CoreTest::RunInChild([&] { C_InterpolatorPolicy policy(c.min, c.deflt, c.max); });
        EXPECT_TRUE(child.signalled && child.signal == SIGABRT) << child.output;
        const std::string report = "corelib/src/Maths/LinearInterpolator.cpp:" + std::to_string(c.line) + ": " +
                                   function + ": Assertion `" + c.expression + "' failed.\n";
        EXPECT_NE(std::string::npos, child.output.find(report)) << child.output;
    }
}

} // namespace
