#include "Maths/TransformationStack.h"

#include "Support/EmulatorLimits.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using Core::TransformationStack;
using V3 = Core::Maths::Vector3<double>;

void ExpectMaps(const TransformationStack& stack, const V3& from, const V3& to)
{
    const V3 actual = stack.GetHomogeneous().TransformPoint(from);
    EXPECT_NEAR(0.0, (to - actual).Length(), 1e-12) << actual.x << ", " << actual.y << ", " << actual.z;
}

TEST(TransformationStackTest, NeverEmptyBoundedByItsCapacityAndPopRestores)
{
    TransformationStack stack(2);
    stack.Pop();
    EXPECT_EQ(1u, stack.GetSize()) << "the last matrix is never popped";
    stack.Translate(V3(1, 0, 0));
    stack.Push();
    stack.Push();
    EXPECT_EQ(2u, stack.GetSize()) << "the push beyond the capacity is ignored";
    stack.Scale(V3(2, 2, 2));
    ExpectMaps(stack, V3(1, 1, 1), V3(3, 2, 2)); // the newest operation applies first
    stack.Pop();
    ExpectMaps(stack, V3(1, 1, 1), V3(2, 1, 1));
}

TEST(TransformationStackTest, RotationsAreRightHandedAboutTheirAxis)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    TransformationStack stack(4);
    stack.Rotate(V3(0, 0, 1), M_PI / 2);
    stack.Translate(V3(1, 0, 0));
    ExpectMaps(stack, V3(0, 0, 0), V3(0, 1, 0)); // translated along x, then turned onto y

    // A third of a turn about the diagonal cycles the axes x -> y -> z.
    const double third = 1 / std::sqrt(3.0);
    stack.LoadIdentity();
    stack.Rotate(V3(third, third, third), 2 * M_PI / 3);
    ExpectMaps(stack, V3(1, 0, 0), V3(0, 1, 0));
    ExpectMaps(stack, V3(0, 1, 0), V3(0, 0, 1));
}

TEST(TransformationStackTest, LoadAndMultiplyWithTransformations)
{
    Core::Maths::Transformation t;
    t.SetUniformScale(3);
    t.SetTranslate(V3(0, 0, 1));
    TransformationStack stack(1);
    stack.Translate(V3(9, 9, 9));
    stack.Load(t);
    stack.Multiply(t);
    ExpectMaps(stack, V3(1, 1, 1), V3(9, 9, 13));
    Core::Maths::Matrix4<double> product;
    stack.GetHomogeneous(product);
    TransformationStack copy(1);
    copy.Load(product);
    ExpectMaps(copy, V3(1, 1, 1), V3(9, 9, 13));
}

} // namespace
