#include "Maths/Maths.h"
#include "Maths/Vector.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>

namespace
{

using Core::Maths::Math;
using Core::Maths::Matrix3;
using Core::Maths::Matrix4;
using Core::Maths::Vector2;
using Core::Maths::Vector3;

static_assert(sizeof(Matrix3<double>) == 9 * sizeof(double) && std::is_standard_layout<Matrix3<double>>::value,
              "a Matrix3 is nine contiguous values and nothing else");
static_assert(sizeof(Matrix4<float>) == 16 * sizeof(float) && std::is_standard_layout<Matrix4<float>>::value,
              "a Matrix4 is sixteen contiguous values and nothing else");

struct ConstantRow
{
    const char* name;
    double doubleValue;    // the library's double constant
    float floatValue;      // the library's float constant
    double expectedDouble; // the published value, typed in from its definition
    float expectedFloat;
};

TEST(MathConstants, EveryValueIsExactlyTheTabledOne)
{
    const ConstantRow rows[] = {
        {"EPSILON", Math<double>::EPSILON, Math<float>::EPSILON, DBL_EPSILON, FLT_EPSILON},
        {"ZERO_TOLERANCE", Math<double>::ZERO_TOLERANCE, Math<float>::ZERO_TOLERANCE, 1e-08, 1e-05f},
        {"MAX_REAL", Math<double>::MAX_REAL, Math<float>::MAX_REAL, DBL_MAX, FLT_MAX},
        {"PI", Math<double>::PI, Math<float>::PI, M_PI, 3.1415927f},
        {"TWO_PI", Math<double>::TWO_PI, Math<float>::TWO_PI, 2 * M_PI, 6.2831855f},
        {"HALF_PI", Math<double>::HALF_PI, Math<float>::HALF_PI, M_PI_2, 1.5707964f},
        {"INV_PI", Math<double>::INV_PI, Math<float>::INV_PI, M_1_PI, 0.31830987f},
        {"INV_TWO_PI", Math<double>::INV_TWO_PI, Math<float>::INV_TWO_PI, M_1_PI / 2, 0.15915494f},
        {"DEG_TO_RAD", Math<double>::DEG_TO_RAD, Math<float>::DEG_TO_RAD, M_PI / 180, 0.017453292f},
        {"RAD_TO_DEG", Math<double>::RAD_TO_DEG, Math<float>::RAD_TO_DEG, 180 / M_PI, 57.295776f},
        {"WGS_ES2", Math<double>::WGS_ES2, Math<float>::WGS_ES2, 0.00673949674227, 0.0067394967f},
        {"WGS_E2", Math<double>::WGS_E2, Math<float>::WGS_E2, 0.00669437999013, 0.0066943802f},
        {"WGS_B", Math<double>::WGS_B, Math<float>::WGS_B, 6356752.3142, 6356752.5f},
        {"WGS_A", Math<double>::WGS_A, Math<float>::WGS_A, 6378137.0, 6378137.0f},
        {"WGS_INV_FLAT", Math<double>::WGS_INV_FLAT, Math<float>::WGS_INV_FLAT, 298.257223563, 298.25723f},
    };
    for (const ConstantRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.expectedDouble, row.doubleValue);
        EXPECT_EQ(row.expectedFloat, row.floatValue);
        // The float column is the nearest float of the double one, except for the
        // machine limits and two deliberate departures.
        const std::string name = row.name;
        if (name != "EPSILON" && name != "MAX_REAL" && name != "ZERO_TOLERANCE" && name != "RAD_TO_DEG")
        {
            EXPECT_EQ(static_cast<float>(row.doubleValue), row.floatValue);
        }
    }
    EXPECT_NE(static_cast<float>(Math<double>::RAD_TO_DEG), Math<float>::RAD_TO_DEG);
    EXPECT_EQ(180.0f / 3.1415927f, Math<float>::RAD_TO_DEG);
    EXPECT_TRUE(std::isinf(Math<double>::INFINITE_VALUE) && Math<double>::INFINITE_VALUE > 0);
    EXPECT_TRUE(std::isinf(Math<float>::INFINITE_VALUE) && Math<float>::INFINITE_VALUE > 0);
}

TEST(AngleHelpers, ClampAngleKeepsBothEndsAndZeroesAbnormalInput)
{
    const double pi = M_PI;
    const struct
    {
        double in;
        double out;
    } cases[] = {
        {3 * pi, pi},   // fmod gives pi, which is not above pi
        {-3 * pi, -pi}, // and -pi is not below -pi
        {pi, pi},
        {-pi, -pi},
        {7.0, 7.0 - 2 * pi},
        {-7.0, -7.0 + 2 * pi},
        {1.0, 1.0},
        {-0.5, -0.5},
        {0.0, 0.0},
        {NAN, 0.0},
        {INFINITY, 0.0},
        {-INFINITY, 0.0},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.in);
        EXPECT_DOUBLE_EQ(c.out, Core::Maths::ClampAngle(c.in));
    }
    EXPECT_FLOAT_EQ(7.0f - 6.2831855f, Core::Maths::ClampAngle(7.0f));
    EXPECT_EQ(0.0f, Core::Maths::ClampAngle(std::numeric_limits<float>::quiet_NaN()));
}

TEST(AngleHelpers, IsAbnormalOnlyForNanAndInfinities)
{
    EXPECT_TRUE(Core::Maths::IsAbnormal(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_TRUE(Core::Maths::IsAbnormal(INFINITY));
    EXPECT_TRUE(Core::Maths::IsAbnormal(-INFINITY));
    EXPECT_FALSE(Core::Maths::IsAbnormal(std::numeric_limits<double>::denorm_min()));
    EXPECT_FALSE(Core::Maths::IsAbnormal(-DBL_MAX));
    EXPECT_FALSE(Core::Maths::IsAbnormal(0.0));
}

struct DMS
{
    int degrees;
    int minutes;
    double seconds;
    int sign;
};

DMS Split(double value)
{
    DMS d{-99, -99, -99.0, 0};
    Core::Maths::DecimalDegreesToDMS(value, d.degrees, d.minutes, d.seconds, d.sign);
    return d;
}

TEST(DegreesMinutesSeconds, SplitCarriesOnlySecondsWithinTheToleranceOfSixty)
{
    DMS d = Split(-0.5);
    EXPECT_EQ(0, d.degrees);
    EXPECT_EQ(30, d.minutes);
    EXPECT_NEAR(0.0, d.seconds, 1e-9);
    EXPECT_EQ(-1, d.sign);

    // 0.999999999999 degrees is 59 minutes and 59.99999999964 seconds: carried twice.
    d = Split(10.999999999999);
    EXPECT_EQ(11, d.degrees);
    EXPECT_EQ(0, d.minutes);
    EXPECT_EQ(0.0, d.seconds);
    EXPECT_EQ(1, d.sign);

    // 59.9999 seconds is far from 60 and keeps its fraction.
    d = Split(10 + 59 / 60.0 + 59.9999 / 3600.0);
    EXPECT_EQ(10, d.degrees);
    EXPECT_EQ(59, d.minutes);
    EXPECT_NEAR(59.9999, d.seconds, 1e-7);

    d = Split(52.2036);
    EXPECT_EQ(52, d.degrees);
    EXPECT_EQ(12, d.minutes);
    EXPECT_NEAR(12.96, d.seconds, 1e-8);
    EXPECT_EQ(1, d.sign);
}

TEST(DegreesMinutesSeconds, JoinAppliesTheSignAsAFactorOnly)
{
    EXPECT_DOUBLE_EQ(-12.51, Core::Maths::DMSToDecimalDegrees(12, 30, 36.0, -1));
    EXPECT_DOUBLE_EQ(52.2036, Core::Maths::DMSToDecimalDegrees(52, 12, 12.96, 1));
    // A negative degree part is not corrected: the two minus signs cancel.
    EXPECT_DOUBLE_EQ(10.0, Core::Maths::DMSToDecimalDegrees(-10, 0, 0.0, -1));
}

TEST(Percentages, TruncateTowardZeroWithoutClamping)
{
    const struct
    {
        int part, whole, expected;
    } cases[] = {
        {5, 0, 100}, {5, -3, 100}, {1, 3, 33}, {-1, 3, -33}, {7, 5, 140}, {0, 9, 0}, {2, 3, 66},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, Core::Maths::Percent(c.part, c.whole)) << c.part << " of " << c.whole;
}

TEST(Vectors, ArithmeticAndProducts)
{
    EXPECT_EQ(Vector3<double>(0, 0, 0), Vector3<double>());
    EXPECT_EQ(Vector2<double>(0, 0), Vector2<double>());
    EXPECT_EQ(Vector2<double>(6, 8), 2 * Vector2<double>(3, 4));
    EXPECT_EQ(Vector3<double>(3, 6, 9), 3 * Vector3<double>(1, 2, 3));
    EXPECT_EQ(Vector2<double>(0.6, 0.8), Vector2<double>(3, 4).Normalised());
    EXPECT_EQ(5.0, Vector2<double>(3, 4).Length());
    EXPECT_EQ(Vector3<double>(-1, -1.5, -2), -Vector3<double>(2, 3, 4) / 2.0);
    EXPECT_EQ(Vector3<double>(0, 0, 1), Vector3<double>(1, 0, 0).Cross(Vector3<double>(0, 1, 0)));
    EXPECT_EQ(Vector3<double>(-3, 6, -3), Vector3<double>(1, 2, 3).Cross(Vector3<double>(4, 5, 6)));
    EXPECT_EQ(32.0, Vector3<double>(1, 2, 3).Dot(Vector3<double>(4, 5, 6)));
    EXPECT_EQ(3.0, Vector3<double>(1, 2, 3)[2]);
}

TEST(Vectors, RowVectorTimesMatrixUsesTheColumns)
{
    const Matrix3<double> m(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_EQ(5.0, m(1, 1));
    EXPECT_EQ(6.0, m.m[5]) << "row-major storage";
    // (1, 0, 2) times m: row 0 plus twice row 2.
    EXPECT_EQ(Vector3<double>(15, 18, 21), Vector3<double>(1, 0, 2) * m);
    // m times the column (1, 0, 2): column 0 plus twice column 2.
    EXPECT_EQ(Vector3<double>(7, 16, 25), m * Vector3<double>(1, 0, 2));
    EXPECT_EQ(Vector3<float>(15, 18, 21), Vector3<float>(1, 0, 2) * Matrix3<float>(1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST(Matrices, DefaultIsIdentityAndProductsAreRowByColumn)
{
    const Matrix3<double> a(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_EQ(a, Matrix3<double>() * a);
    EXPECT_EQ(a, a * Matrix3<double>());
    EXPECT_EQ(Matrix3<double>(30, 36, 42, 66, 81, 96, 102, 126, 150), a * a);
    EXPECT_EQ(Matrix3<double>(1, 4, 7, 2, 5, 8, 3, 6, 9), a.Transposed());

    Matrix4<double> t;
    t(0, 3) = 5;
    Matrix4<double> s;
    s(0, 0) = 2;
    // Translation after scaling: x -> 2x + 5.
    EXPECT_EQ(Vector3<double>(7, 1, 1), (t * s).TransformPoint(Vector3<double>(1, 1, 1)));
    EXPECT_EQ(Vector3<double>(12, 1, 1), (s * t).TransformPoint(Vector3<double>(1, 1, 1)));
}

} // namespace
