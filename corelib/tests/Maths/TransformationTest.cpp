#include "Maths/Transformation.h"

#include "Support/TestSupport.h"
#include "Utilities/Assert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>

namespace
{

using Core::Maths::Matrix3;
using Core::Maths::Matrix4;
using Core::Maths::Transformation;
using V3 = Core::Maths::Vector3<double>;

class TransformationTest : public ::testing::Test
{
protected:
    enum Form
    {
        kIdentity,
        kTranslation,
        kUniformRS,
        kScaledRS,
        kGeneral,
        kFormCount
    };

    double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(m_rng); }

    // A proper rotation from a random unit quaternion.
    Matrix3<double> RandomRotation()
    {
        double w, x, y, z, n;
        do
        {
            w = Uniform(-1, 1), x = Uniform(-1, 1), y = Uniform(-1, 1), z = Uniform(-1, 1);
            n = std::sqrt(w * w + x * x + y * y + z * z);
        } while (n < 0.1 || n > 1);
        w /= n, x /= n, y /= n, z /= n;
        return Matrix3<double>(1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),
                               2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
                               2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y));
    }

    // A non-zero scale factor with either sign.
    double RandomFactor() { return Uniform(0.2, 5) * (Uniform(0, 1) < 0.5 ? -1 : 1); }

    V3 RandomPoint() { return V3(Uniform(-100, 100), Uniform(-100, 100), Uniform(-100, 100)); }

    Transformation RandomTransformation(Form form)
    {
        Transformation t;
        switch (form)
        {
        case kIdentity:
            break;
        case kTranslation:
            t.SetTranslate(RandomPoint());
            break;
        case kUniformRS:
            t.SetRotate(RandomRotation());
            t.SetUniformScale(RandomFactor());
            t.SetTranslate(RandomPoint());
            break;
        case kScaledRS:
            t.SetRotate(RandomRotation());
            t.SetScale(V3(RandomFactor(), RandomFactor(), RandomFactor()));
            t.SetTranslate(RandomPoint());
            break;
        default:
        {
            Matrix3<double> m;
            do
            {
                for (double& e : m.m)
                    e = Uniform(-3, 3);
            } while (std::fabs(Determinant(m)) < 0.5);
            t.SetMatrix(m);
            t.SetTranslate(RandomPoint());
        }
        }
        return t;
    }

    static double Determinant(const Matrix3<double>& m)
    {
        return m(0, 0) * (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) - m(0, 1) * (m(1, 0) * m(2, 2) - m(1, 2) * m(2, 0)) +
               m(0, 2) * (m(1, 0) * m(2, 1) - m(1, 1) * m(2, 0));
    }

    static void ExpectNear(const V3& expected, const V3& actual, double tolerance)
    {
        EXPECT_NEAR(expected.x, actual.x, tolerance);
        EXPECT_NEAR(expected.y, actual.y, tolerance);
        EXPECT_NEAR(expected.z, actual.z, tolerance);
    }

    // What the release handler prints when the operation runs on t.
    static std::string Report(const std::function<void()>& operation)
    {
        return CoreTest::RunInChild(operation).output;
    }

    static std::string Line(const char* expression, int line, const char* message)
    {
        return std::string("Assertion ") + expression + " failed at line " + std::to_string(line) +
               " in corelib/src/Maths/Transformation.cpp. " + message + "\n";
    }

    std::mt19937 m_rng{20240607};
};

TEST_F(TransformationTest, FailedPreconditionsReportTheirExactLinesAndCarryOn)
{
    Transformation general;
    general.SetMatrix(Matrix3<double>(1, 2, 3, 4, 5, 6, 7, 8, 10));
    Transformation scaled;
    scaled.SetScale(V3(1, 2, 3));

    EXPECT_EQ(Line("m_isRSMatrix", 36, "Transformation::GetRotate(): m_isRSMatrix == false"),
              Report([&] { general.GetRotate(); }));
    EXPECT_EQ(Line("m_isRSMatrix", 78, "Transformation::SetUniformScale: m_isRSMatrix == false"),
              Report([&] { general.SetUniformScale(2); }));
    EXPECT_EQ(Line("m_isRSMatrix", 119, "Transformation::MakeUnitScale(): m_isRSMatrix == false"),
              Report([&] { general.MakeUnitScale(); }));
    EXPECT_EQ(Line("m_isUniformScale", 86, "Transformation::GetUniformScale(): m_isUniformScale == false"),
              Report([&] { scaled.GetUniformScale(); }));
    // Both checks fail, in order, and the x scale is still returned.
    EXPECT_EQ(Line("m_isUniformScale", 86, "Transformation::GetUniformScale(): m_isUniformScale == false") +
                  Line("m_isRSMatrix", 87, "Transformation::GetUniformScale(): m_isRSMatrix == false") + "1\n",
              Report([&] {
                  scaled.SetMatrix(Matrix3<double>());
                  std::fprintf(stderr, "%g\n", scaled.GetUniformScale());
              }));

    // The failed SetScale goes on to store the scale, marked non-uniform.
    Transformation t;
    t.SetMatrix(Matrix3<double>());
    EXPECT_EQ(Line("m_isRSMatrix", 65, "Transformation::SetScale: m_isRSMatrix == false") + "7 8 9 0\n",
              Report([&] {
                  t.SetScale(V3(7, 8, 9));
                  std::fprintf(stderr, "%g %g %g %d\n", t.GetScale().x, t.GetScale().y, t.GetScale().z,
                               t.IsUniformScale());
              }));

    // An exiting release handler stops at the first report.
    auto child = CoreTest::RunInChild([&] {
        Core::ReleaseAssertHandler::AlwaysAbort(true);
        t.GetUniformScale();
    });
    EXPECT_TRUE(child.exited && child.exitStatus == 1);
    EXPECT_EQ(Line("m_isRSMatrix", 87, "Transformation::GetUniformScale(): m_isRSMatrix == false"), child.output);

    EXPECT_EQ("", Report([&] { scaled.GetRotate(); })) << "a satisfied check prints nothing";
}

TEST_F(TransformationTest, FlagsFollowEachSetter)
{
    EXPECT_TRUE(Transformation::IDENTITY.IsIdentity());
    EXPECT_TRUE(Transformation::IDENTITY.IsRSMatrix());
    EXPECT_TRUE(Transformation::IDENTITY.IsUniformScale());

    Transformation t;
    t.SetTranslate(V3(1, 2, 3));
    EXPECT_FALSE(t.IsIdentity());
    EXPECT_TRUE(t.IsRSMatrix()) << "a translation keeps the rotation-scale form";
    EXPECT_EQ(V3(1, 1, 1), t.GetScale());

    t.SetScale(V3(2, 2, 2));
    EXPECT_FALSE(t.IsUniformScale()) << "equal factors set one by one are not marked uniform";
    t.SetMatrix(Matrix3<double>());
    EXPECT_FALSE(t.IsRSMatrix());
    EXPECT_FALSE(t.IsUniformScale()) << "SetMatrix leaves the uniform flag as it was";

    Transformation u;
    u.SetUniformScale(3);
    u.SetMatrix(Matrix3<double>());
    EXPECT_TRUE(u.IsUniformScale());
    u.SetRotate(Matrix3<double>());
    EXPECT_TRUE(u.IsRSMatrix());
    EXPECT_EQ(V3(3, 3, 3), u.GetScale()) << "SetRotate keeps the scale";
    u.MakeUnitScale();
    EXPECT_EQ(V3(1, 1, 1), u.GetScale());
    EXPECT_FALSE(u.IsIdentity()) << "a unit scale does not make an identity";
    u.MakeIdentity();
    EXPECT_TRUE(u.IsIdentity());
}

TEST_F(TransformationTest, HomogeneousMatrixAndNorm)
{
    const Matrix3<double> r(0, -1, 0, 1, 0, 0, 0, 0, 1); // a quarter turn about z
    Transformation t;
    t.SetRotate(r);
    t.SetScale(V3(2, 3, 4));
    t.SetTranslate(V3(1, 2, 3));
    Matrix4<double> h = Matrix4<double>::Zero();
    t.GetHomogeneous(h);
    const double expected[16] = {0, -3, 0, 1, 2, 0, 0, 2, 0, 0, 4, 3, 0, 0, 0, 1};
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(expected[i], h.m[i]) << "element " << i;
    EXPECT_EQ(V3(-2, 4, 7), t.ApplyForward(V3(1, 1, 1))) << "scaled, then rotated, then translated";

    t.SetScale(V3(-5, 2, 3));
    EXPECT_EQ(5.0, t.GetNorm());
    t.SetMatrix(Matrix3<double>(1, -2, 3, 4, 0, 0, 0, 0, 1));
    EXPECT_EQ(6.0, t.GetNorm()) << "largest absolute row sum";
}

TEST_F(TransformationTest, InverseUndoesForwardForEveryForm)
{
    for (int form = kIdentity; form < kFormCount; ++form)
    {
        for (int trial = 0; trial < 200; ++trial)
        {
            SCOPED_TRACE(testing::Message() << "form " << form << " trial " << trial);
            const Transformation t = RandomTransformation(static_cast<Form>(form));
            const V3 x = RandomPoint();
            const V3 y = t.ApplyForward(x);
            ExpectNear(x, t.ApplyInverse(y), 1e-9);
            ExpectNear(x - t.ApplyInverse(V3()), t.InvertVector(y), 1e-9);

            Transformation inverse;
            t.Inverse(inverse);
            ExpectNear(x, inverse.ApplyForward(y), 1e-9);
            if (form == kUniformRS)
            {
                EXPECT_TRUE(inverse.IsRSMatrix() && inverse.IsUniformScale());
            }

            Matrix4<double> h;
            t.GetHomogeneous(h);
            ExpectNear(y, h.TransformPoint(x), 1e-9);
            if (HasFailure())
                return;
        }
    }
}

TEST_F(TransformationTest, ProductAppliesTheSecondFirst)
{
    for (int trial = 0; trial < 500; ++trial)
    {
        SCOPED_TRACE(trial);
        const Form formA = static_cast<Form>(trial % kFormCount);
        const Form formB = static_cast<Form>((trial / kFormCount) % kFormCount);
        const Transformation a = RandomTransformation(formA);
        const Transformation b = RandomTransformation(formB);
        Transformation ab;
        ab.Product(a, b);
        const V3 x = RandomPoint();
        ExpectNear(a.ApplyForward(b.ApplyForward(x)), ab.ApplyForward(x), 1e-8);
        ExpectNear(x, ab.ApplyInverse(ab.ApplyForward(x)), 1e-8);

        // An identity passes the other through; otherwise only a uniform
        // rotation-scale first factor keeps a rotation-scale second in that form.
        const bool keepsRS = formA == kIdentity   ? formB != kGeneral
                             : formB == kIdentity ? formA != kGeneral
                                                  : (formA == kUniformRS || formA == kTranslation) && formB != kGeneral;
        EXPECT_EQ(keepsRS, ab.IsRSMatrix());

        // Composition with itself as an argument.
        Transformation c = a;
        c.Product(c, b);
        ExpectNear(ab.ApplyForward(x), c.ApplyForward(x), 1e-9);
        if (HasFailure())
            return;
    }
}

TEST_F(TransformationTest, ArrayFormsWorkInPlace)
{
    Transformation t = RandomTransformation(kGeneral);
    V3 points[3] = {V3(1, 2, 3), V3(-4, 5, 6), V3(0, 0, 0)};
    const V3 original[3] = {points[0], points[1], points[2]};
    t.ApplyForward(points, points, 3);
    for (int i = 0; i < 3; ++i)
        ExpectNear(t.ApplyForward(original[i]), points[i], 0);
    t.ApplyInverse(points, points, 3);
    for (int i = 0; i < 3; ++i)
        ExpectNear(original[i], points[i], 1e-9);
}

TEST_F(TransformationTest, CofactorDifferencesKeepTheRoundingOfTheirProducts)
{
    // With e = 2^-27 the lower block has determinant (1+e)(1-e) - 1 = -2^-54, but
    // (1+e)(1-e) rounds to 1 in double arithmetic: an uncompensated difference
    // gives zero and an infinite inverse.
    const double e = std::ldexp(1.0, -27);
    const double big = std::ldexp(1.0, 54);
    Transformation t;
    t.SetMatrix(Matrix3<double>(1, 0, 0, 0, 1 + e, 1, 0, 1, 1 - e));
    Transformation inverse;
    t.Inverse(inverse);
    const Matrix3<double>& m = inverse.GetMatrix();
    // The inverse of [[a, b], [c, d]] is [[d, -b], [-c, a]] / det.
    EXPECT_EQ(1.0, m(0, 0));
    EXPECT_EQ(-(1 - e) * big, m(1, 1));
    EXPECT_EQ(big, m(1, 2));
    EXPECT_EQ(big, m(2, 1));
    EXPECT_EQ(-(1 + e) * big, m(2, 2));
}

} // namespace
