#include "Maths/Transformation.h"

#include "Support/TestSupport.h"
#include "Utilities/Assert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace
{

using Core::Maths::Matrix3;
using Core::Maths::Matrix4;
using Core::Maths::Transformation;
using V3 = Core::Maths::Vector3<double>;

class TransformationTest : public ::testing::Test
{
protected:
    enum Form { kIdentity, kTranslation, kUniformRS, kScaledRS, kGeneral, kFormCount };

    double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(m_rng); }
    double RandomFactor() { return Uniform(0.2, 5) * (Uniform(0, 1) < 0.5 ? -1 : 1); }
    V3 RandomPoint() { return V3(Uniform(-100, 100), Uniform(-100, 100), Uniform(-100, 100)); }

    // A proper rotation: orthonormal rows from Gram-Schmidt, the third their cross product.
    Matrix3<double> RandomRotation()
    {
        const V3 a = RandomPoint().Normalised(), p = RandomPoint();
        const V3 b = (p - a * a.Dot(p)).Normalised(), c = a.Cross(b);
        return Matrix3<double>(a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z);
    }

    Transformation RandomTransformation(Form form)
    {
        Transformation t;
        if (form == kGeneral)
        {
            Matrix3<double> m;
            for (int i = 0; i < 9; ++i)
                m.m[i] = Uniform(-3, 3) + (i % 4 == 0 ? 10 : 0); // diagonally dominant: far from singular
            t.SetMatrix(m);
        }
        if (form == kUniformRS || form == kScaledRS)
            t.SetRotate(RandomRotation());
        if (form == kUniformRS)
            t.SetUniformScale(RandomFactor());
        if (form == kScaledRS)
            t.SetScale(V3(RandomFactor(), RandomFactor(), RandomFactor()));
        if (form != kIdentity)
            t.SetTranslate(RandomPoint());
        return t;
    }

    static void ExpectNear(const V3& expected, const V3& actual, double tolerance)
    {
        EXPECT_NEAR(0.0, (expected - actual).Length(), tolerance) << actual.x << ", " << actual.y << ", " << actual.z;
    }

    static std::string Line(const char* expression, int line, const std::string& message)
    {
        return std::string("Assertion ") + expression + " failed at line " + std::to_string(line) +
               " in corelib/src/Maths/Transformation.cpp. Transformation::" + message + " == false\n";
    }

    std::mt19937 m_rng{20240607};
};

TEST_F(TransformationTest, FailedPreconditionsReportTheirExactLinesAndCarryOn)
{
    Transformation general;
    general.SetMatrix(Matrix3<double>(1, 2, 3, 4, 5, 6, 7, 8, 10));
    Transformation scaled;
    scaled.SetScale(V3(1, 2, 3));
    const struct { std::function<void()> operation; std::string report; } cases[] = {
        {[&] { general.GetRotate(); }, Line("m_isRSMatrix", 36, "GetRotate(): m_isRSMatrix")},
        {[&] { general.SetUniformScale(2); }, Line("m_isRSMatrix", 78, "SetUniformScale: m_isRSMatrix")},
        {[&] { general.MakeUnitScale(); }, Line("m_isRSMatrix", 119, "MakeUnitScale(): m_isRSMatrix")},
        {[&] { scaled.GetUniformScale(); }, Line("m_isUniformScale", 86, "GetUniformScale(): m_isUniformScale")},
        {[&] { scaled.GetRotate(); }, ""},
        // Both checks fail, in order, and the x scale is still returned.
        {[&] {
             scaled.SetMatrix(Matrix3<double>());
             std::fprintf(stderr, "%g\n", scaled.GetUniformScale());
         },
         Line("m_isUniformScale", 86, "GetUniformScale(): m_isUniformScale") +
             Line("m_isRSMatrix", 87, "GetUniformScale(): m_isRSMatrix") + "1\n"},
        // The failed SetScale goes on to store the scale, marked non-uniform.
        {[&] {
             general.SetScale(V3(7, 8, 9));
             std::fprintf(stderr, "%g %g %d\n", general.GetScale().x, general.GetScale().z,
                          general.IsUniformScale());
         },
         Line("m_isRSMatrix", 65, "SetScale: m_isRSMatrix") + "7 9 0\n"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.report, CoreTest::RunInChild(c.operation).output);

    // An exiting release handler stops at the first report.
    auto child = CoreTest::RunInChild([&] {
        Core::ReleaseAssertHandler::AlwaysAbort(true);
        general.GetUniformScale();
    });
    EXPECT_TRUE(child.exited && child.exitStatus == 1);
    EXPECT_EQ(Line("m_isRSMatrix", 87, "GetUniformScale(): m_isRSMatrix"), child.output);
}

TEST_F(TransformationTest, FactoredFormAppliesScaleThenRotationThenTranslation)
{
    Transformation t;
    t.SetRotate(Matrix3<double>(0, -1, 0, 1, 0, 0, 0, 0, 1)); // a quarter turn about z
    t.SetScale(V3(2, 3, 4));
    t.SetTranslate(V3(1, 2, 3));
    EXPECT_EQ(V3(-2, 4, 7), t.ApplyForward(V3(1, 1, 1)));
    EXPECT_EQ(V3(1, 2, 3), t.GetTranslate());
    // The array forms map each point as the single-point forms do.
    const std::vector<V3> in = {V3(1, 1, 1), V3(0, 0, 0)};
    std::vector<V3> out(2), back(2);
    t.ApplyForward(in.data(), out.data(), 2);
    EXPECT_EQ((std::vector<V3>{V3(-2, 4, 7), V3(1, 2, 3)}), out);
    t.ApplyInverse(out.data(), back.data(), 2);
    EXPECT_EQ(in, back);
    t.SetMatrix(Matrix3<double>(1, -2, 3, 4, 0, 0, 0, 0, 1));
    EXPECT_EQ(6.0, t.GetNorm()) << "largest absolute row sum";
}

TEST_F(TransformationTest, InverseAndProductAgreeWithTheForwardMapForEveryForm)
{
    for (int trial = 0; trial < 500; ++trial)
    {
        SCOPED_TRACE(trial);
        const Form formA = static_cast<Form>(trial % kFormCount),
                   formB = static_cast<Form>(trial / kFormCount % kFormCount);
        const Transformation a = RandomTransformation(formA), b = RandomTransformation(formB);
        const V3 x = RandomPoint();
        const V3 y = a.ApplyForward(x);
        ExpectNear(x, a.ApplyInverse(y), 1e-9);
        ExpectNear(x - a.ApplyInverse(V3()), a.InvertVector(y), 1e-9);
        Transformation inverse;
        a.Inverse(inverse);
        ExpectNear(x, inverse.ApplyForward(y), 1e-9);
        Matrix4<double> h;
        a.GetHomogeneous(h);
        ExpectNear(y, h.TransformPoint(x), 1e-9);

        Transformation ab = a;
        ab.Product(ab, b); // the result may be an argument
        ExpectNear(a.ApplyForward(b.ApplyForward(x)), ab.ApplyForward(x), 1e-8);
        // An identity passes the other through; otherwise only a uniform
        // rotation-scale first factor keeps a rotation-scale second in that form.
        const bool keepsRS = formA == kIdentity   ? formB != kGeneral
                             : formB == kIdentity ? formA != kGeneral
                                                  : (formA == kUniformRS || formA == kTranslation) && formB != kGeneral;
        EXPECT_EQ(keepsRS, ab.IsRSMatrix());
        if (HasFailure())
            return;
    }
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
    // The inverse of [[a, b], [c, d]] is [[d, -b], [-c, a]] / det.
    EXPECT_EQ(Matrix3<double>(1, 0, 0, 0, -(1 - e) * big, big, 0, big, -(1 + e) * big), inverse.GetMatrix());
}

} // namespace
