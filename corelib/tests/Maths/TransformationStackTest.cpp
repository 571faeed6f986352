#include "Maths/TransformationStack.h"

#include "Support/EmulatorLimits.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using Core::TransformationStack;
using Core::Maths::Matrix4;
using V3 = Core::Maths::Vector3<double>;

void ExpectMaps(const TransformationStack& stack, const V3& from, const V3& to)
{
    const V3 actual = stack.GetHomogeneous().TransformPoint(from);
    EXPECT_NEAR(to.x, actual.x, 1e-12);
    EXPECT_NEAR(to.y, actual.y, 1e-12);
    EXPECT_NEAR(to.z, actual.z, 1e-12);
}

TEST(TransformationStackTest, NeverEmptyAndBoundedByItsCapacity)
{
    TransformationStack stack(2);
    EXPECT_EQ(1u, stack.GetSize());
    EXPECT_EQ(Matrix4<double>(), stack.GetHomogeneous());
    stack.Pop();
    EXPECT_EQ(1u, stack.GetSize());

    stack.Translate(V3(1, 0, 0));
    stack.Push();
    EXPECT_EQ(2u, stack.GetSize());
    // A push copies the top.
    ExpectMaps(stack, V3(0, 0, 0), V3(1, 0, 0));
    stack.Push();
    EXPECT_EQ(2u, stack.GetSize()) << "the push beyond the capacity is ignored";

    stack.Translate(V3(0, 5, 0));
    ExpectMaps(stack, V3(0, 0, 0), V3(1, 5, 0));
    stack.Pop();
    // The pop restores the saved matrix.
    ExpectMaps(stack, V3(0, 0, 0), V3(1, 0, 0));

    TransformationStack none(0);
    none.Push();
    EXPECT_EQ(1u, none.GetSize());
}

TEST(TransformationStackTest, NewestOperationIsAppliedFirst)
{
    TransformationStack stack(4);
    stack.Translate(V3(1, 2, 3));
    stack.Scale(V3(2, 2, 2));
    ExpectMaps(stack, V3(1, 1, 1), V3(3, 4, 5));
}

TEST(TransformationStackTest, RotationsAreRightHandedAboutTheirAxis)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    TransformationStack stack(4);
    stack.Rotate(V3(0, 0, 1), M_PI / 2);
    ExpectMaps(stack, V3(1, 0, 0), V3(0, 1, 0));
    stack.Translate(V3(1, 0, 0));
    // Translated along x, then turned onto y.
    ExpectMaps(stack, V3(0, 0, 0), V3(0, 1, 0));

    // A third of a turn about the diagonal cycles the axes x -> y -> z.
    const double third = 1 / std::sqrt(3.0);
    stack.LoadIdentity();
    stack.Rotate(V3(third, third, third), 2 * M_PI / 3);
    ExpectMaps(stack, V3(1, 0, 0), V3(0, 1, 0));
    ExpectMaps(stack, V3(0, 1, 0), V3(0, 0, 1));
    stack.Rotate(V3(1, 0, 0), M_PI / 2);
    // y turns to z about x first, then z to x.
    ExpectMaps(stack, V3(0, 1, 0), V3(1, 0, 0));
}

TEST(TransformationStackTest, LoadAndMultiplyWithTransformations)
{
    Core::Maths::Transformation t;
    t.SetUniformScale(3);
    t.SetTranslate(V3(0, 0, 1));
    TransformationStack stack(1);
    stack.Translate(V3(9, 9, 9));
    stack.Load(t);
    ExpectMaps(stack, V3(1, 1, 1), V3(3, 3, 4));
    stack.Multiply(t);
    ExpectMaps(stack, V3(1, 1, 1), V3(9, 9, 13));

    Matrix4<double> copy = Matrix4<double>::Zero();
    stack.GetHomogeneous(copy);
    stack.LoadIdentity();
    stack.Load(copy);
    ExpectMaps(stack, V3(1, 1, 1), V3(9, 9, 13));
}

} // namespace
