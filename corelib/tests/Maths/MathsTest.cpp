#include "Maths/Maths.h"
#include "Maths/Vector.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <tuple>
#include <type_traits>

namespace
{

using Core::Maths::Math;
using Core::Maths::Matrix3;
using Core::Maths::Matrix4;

static_assert(sizeof(Matrix3<double>) == 9 * sizeof(double) && std::is_standard_layout<Matrix3<double>>::value,
              "a Matrix3 is nine contiguous values and nothing else");
static_assert(sizeof(Matrix4<float>) == 16 * sizeof(float) && std::is_standard_layout<Matrix4<float>>::value,
              "a Matrix4 is sixteen contiguous values and nothing else");

TEST(MathConstants, EveryValueIsExactlyTheTabledOne)
{
    // Published values typed in from their definitions. The float ZERO_TOLERANCE
    // is 1e-05, not 1e-08, and the float RAD_TO_DEG is 180.0f / 3.1415927f, which
    // is not the nearest float of the double one.
    const struct { const char* name; double actualDouble, expectedDouble; float actualFloat, expectedFloat; } rows[] = {
        {"EPSILON", Math<double>::EPSILON, DBL_EPSILON, Math<float>::EPSILON, FLT_EPSILON},
        {"ZERO_TOLERANCE", Math<double>::ZERO_TOLERANCE, 1e-08, Math<float>::ZERO_TOLERANCE, 1e-05f},
        {"MAX_REAL", Math<double>::MAX_REAL, DBL_MAX, Math<float>::MAX_REAL, FLT_MAX},
        {"PI", Math<double>::PI, M_PI, Math<float>::PI, 3.1415927f},
        {"TWO_PI", Math<double>::TWO_PI, 2 * M_PI, Math<float>::TWO_PI, 6.2831855f},
        {"HALF_PI", Math<double>::HALF_PI, M_PI_2, Math<float>::HALF_PI, 1.5707964f},
        {"INV_PI", Math<double>::INV_PI, M_1_PI, Math<float>::INV_PI, 0.31830987f},
        {"INV_TWO_PI", Math<double>::INV_TWO_PI, M_1_PI / 2, Math<float>::INV_TWO_PI, 0.15915494f},
        {"DEG_TO_RAD", Math<double>::DEG_TO_RAD, M_PI / 180, Math<float>::DEG_TO_RAD, 0.017453292f},
        {"RAD_TO_DEG", Math<double>::RAD_TO_DEG, 180 / M_PI, Math<float>::RAD_TO_DEG, 180.0f / 3.1415927f},
        {"WGS_ES2", Math<double>::WGS_ES2, 0.00673949674227, Math<float>::WGS_ES2, 0.0067394967f},
        {"WGS_E2", Math<double>::WGS_E2, 0.00669437999013, Math<float>::WGS_E2, 0.0066943802f},
        {"WGS_B", Math<double>::WGS_B, 6356752.3142, Math<float>::WGS_B, 6356752.5f},
        {"WGS_A", Math<double>::WGS_A, 6378137.0, Math<float>::WGS_A, 6378137.0f},
        {"WGS_INV_FLAT", Math<double>::WGS_INV_FLAT, 298.257223563, Math<float>::WGS_INV_FLAT, 298.25723f},
        {"INFINITE_VALUE", Math<double>::INFINITE_VALUE, INFINITY, Math<float>::INFINITE_VALUE, INFINITY},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.expectedDouble, row.actualDouble);
        EXPECT_EQ(row.expectedFloat, row.actualFloat);
    }
    EXPECT_EQ(57.295776f, Math<float>::RAD_TO_DEG);
}

TEST(AngleHelpers, ClampAngleKeepsBothEndsAndZeroesAbnormalInput)
{
    const double pi = M_PI;
    const struct { double in, out; } cases[] = {
        {3 * pi, pi},   // fmod gives pi, which is not above pi
        {-3 * pi, -pi}, // and -pi is not below -pi
        {7.0, 7.0 - 2 * pi}, {-7.0, -7.0 + 2 * pi}, {-0.5, -0.5}, {NAN, 0.0}, {-INFINITY, 0.0},
    };
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(c.out, Core::Maths::ClampAngle(c.in)) << c.in;
    EXPECT_FLOAT_EQ(7.0f - 6.2831855f, Core::Maths::ClampAngle(7.0f));
    EXPECT_FALSE(Core::Maths::IsAbnormal(DBL_TRUE_MIN) || Core::Maths::IsAbnormal(-DBL_MAX));
}

TEST(DegreesMinutesSeconds, SplitCarriesOnlySecondsWithinTheToleranceOfSixty)
{
    const struct { double value; int degrees, minutes; double seconds; int sign; } cases[] = {
        {-0.5, 0, 30, 0.0, -1},
        // 0.999999999999 degrees is 59 minutes and 59.99999999964 seconds: carried twice.
        {10.999999999999, 11, 0, 0.0, 1},
        // 59.9999 seconds is far from 60 and keeps its fraction.
        {10 + 59 / 60.0 + 59.9999 / 3600.0, 10, 59, 59.9999, 1},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.value);
        int degrees = -99, minutes = -99, sign = 0;
        double seconds = -99;
        Core::Maths::DecimalDegreesToDMS(c.value, degrees, minutes, seconds, sign);
        EXPECT_EQ(std::make_tuple(c.degrees, c.minutes, c.sign), std::make_tuple(degrees, minutes, sign));
        EXPECT_NEAR(c.seconds, seconds, 1e-7);
    }
    EXPECT_DOUBLE_EQ(-12.51, Core::Maths::DMSToDecimalDegrees(12, 30, 36.0, -1));
    // A negative degree part is not corrected: the two minus signs cancel.
    EXPECT_DOUBLE_EQ(10.0, Core::Maths::DMSToDecimalDegrees(-10, 0, 0.0, -1));
}

TEST(Percentages, TruncateTowardZeroWithoutClamping)
{
    const struct { int part, whole, expected; } cases[] = {{5, 0, 100}, {5, -3, 100}, {-1, 3, -33}, {7, 5, 140}, {2, 3, 66}};
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, Core::Maths::Percent(c.part, c.whole)) << c.part << " of " << c.whole;
}

} // namespace
