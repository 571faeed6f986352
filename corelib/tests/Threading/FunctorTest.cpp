// Bound calls and shared pointers: dispatch, ownership of bound calls, and
// reference counting down to the deleting release.
#include "Threading/Functor.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace
{

// Trailing void positions name the same family as the shorter spelling.
static_assert(std::is_same<Core::Functor<void, int, int, void, void, void, void>::Signature,
                           Core::Functor<void, int, int>::Signature>::value,
              "void argument positions are dropped");
// Execute may change its callable's state, so it is not const.
static_assert(std::is_same<long (Core::Functor<long, int>::Signature::*)(int),
                           decltype(&Core::Functor<long, int>::Signature::Execute)>::value,
              "Execute is not const");

struct Shape
{
    virtual ~Shape() {}
    virtual int Sides(int copies) { return 0 * copies; }
    int calls = 0;
};

struct Square : Shape
{
    int Sides(int copies) override { return ++calls, 4 * copies; }
};

double Scale(double value, double factor, const std::string& unit)
{
    return unit == "km" ? value * factor * 1000.0 : value * factor;
}

// Counts its destruction, so ownership mistakes show.
class Probe : public Core::Bound<void>
{
public:
    explicit Probe(int& destroyed) : m_destroyed(destroyed) {}
    ~Probe() override { ++m_destroyed; }
    void Execute() override {}

private:
    int& m_destroyed;
};

typedef Core::SharedPtr<Core::Bound<void>> BoundPtr;

TEST(FunctorTest, MethodDispatchesVirtuallyAndBoundCallsBorrowTheirSignature)
{
    Square square;
    Core::Functor<int, int>::Method<Shape> sides(&square, &Shape::Sides);
    Core::Functor<int, int>::Signature& signature = sides;
    EXPECT_EQ(12, signature.Execute(3));

    Core::Bound<int>* bound = sides.Bind(2);
    EXPECT_EQ(8, bound->Execute());
    EXPECT_EQ(2, square.calls) << "one call per Execute";
    delete bound;
    EXPECT_EQ(4, sides.Execute(1)) << "the signature survives its bound call";

    Core::Functor<double, double, double, const std::string&>::Function scale(&Scale);
    std::string unit = "km";
    Core::Bound<double>* scaled = scale.Bind(2.0, 3.0, unit);
    unit = "m";
    EXPECT_DOUBLE_EQ(6000.0, scaled->Execute()) << "arguments are copied when bound";
    delete scaled;
}

TEST(SharedPtrTest, LastReleaseDeletesThroughTheVirtualDestructorAndANullPointerFreesOnlyItsCount)
{
    int destroyed = 0, replacedDestroyed = 0;
    {
        BoundPtr first(new Probe(destroyed));
        BoundPtr second(first), third;
        third = second;
        third = third;
        EXPECT_EQ(3, first.UseCount());
        BoundPtr replaced(new Probe(replacedDestroyed));
        replaced = first;
        EXPECT_EQ(1, replacedDestroyed) << "assignment releases the old object";
        BoundPtr moved(std::move(replaced));
        EXPECT_TRUE(replaced.IsEmpty());
        EXPECT_EQ(4, moved.UseCount());
    }
    EXPECT_EQ(1, destroyed);

    // Releasing these must neither free the count twice nor leak it (the
    // address sanitizer run checks both).
    BoundPtr empty(nullptr), copy(empty), assigned;
    assigned = empty;
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(0, empty.UseCount() + copy.UseCount());
}

} // namespace
