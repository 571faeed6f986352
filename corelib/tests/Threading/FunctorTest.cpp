// Bound calls and shared pointers: dispatch, argument forwarding, ownership of
// bound calls, and reference counting down to the deleting release.
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

class Shape
{
public:
    virtual ~Shape() {}
    virtual int Sides(int copies) { return 0 * copies; }
};

class Square : public Shape
{
public:
    int Sides(int copies) override { return 4 * copies; }
};

int s_freeCalls = 0;
double Scale(double value, double factor, const std::string& unit)
{
    ++s_freeCalls;
    return unit == "km" ? value * factor * 1000.0 : value * factor;
}

// Counts its calls and its destruction so ownership mistakes show.
class Probe : public Core::Bound<void>
{
public:
    explicit Probe(int& destroyed) : m_destroyed(destroyed) {}
    ~Probe() override { ++m_destroyed; }
    void Execute() override { ++calls; }
    int calls = 0;

private:
    int& m_destroyed;
};

TEST(FunctorTest, MethodDispatchesVirtuallyAndFunctionForwardsEveryArgument)
{
    Square square;
    Core::Functor<int, int>::Method<Shape> sides(&square, &Shape::Sides);
    Core::Functor<int, int>::Signature& asSignature = sides;
    EXPECT_EQ(12, asSignature.Execute(3));

    s_freeCalls = 0;
    Core::Functor<double, double, double, const std::string&>::Function scale(&Scale);
    EXPECT_DOUBLE_EQ(6000.0, scale.Execute(2.0, 3.0, "km"));
    EXPECT_DOUBLE_EQ(6.0, scale.Execute(2.0, 3.0, "m"));
    EXPECT_EQ(2, s_freeCalls);
}

struct Counter
{
    void Tick() { ++ticks; }
    void Add(int amount, std::string label)
    {
        total += amount;
        labels += label;
    }
    int ticks = 0;
    int total = 0;
    std::string labels;
};

TEST(FunctorTest, BoundCallBorrowsItsSignatureAndCallsItOncePerExecute)
{
    Counter counter;
    Core::Functor<void>::Method<Counter> tick(&counter, &Counter::Tick);
    Core::Bound<void>* bound = tick.Bind();
    EXPECT_EQ(0, counter.ticks) << "binding must not call";
    bound->Execute();
    EXPECT_EQ(1, counter.ticks);
    delete bound;
    // The signature survives the bound call made from it.
    tick.Execute();
    EXPECT_EQ(2, counter.ticks);
}

TEST(FunctorTest, BoundCallWithArgumentsKeepsCopiesTakenAtBindTime)
{
    Counter counter;
    Core::Functor<void, int, std::string>::Method<Counter> add(&counter, &Counter::Add);
    std::string label = "a";
    Core::Bound<void>* bound = add.Bind(5, label);
    label = "changed";
    bound->Execute();
    bound->Execute();
    delete bound;
    EXPECT_EQ(10, counter.total);
    EXPECT_EQ("aa", counter.labels);
}

TEST(SharedPtrTest, NullPointerHasCountZeroAndReleasingFreesOnlyTheCount)
{
    Core::SharedPtr<Core::Bound<void>> empty(nullptr);
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(0, empty.UseCount());
    Core::SharedPtr<Core::Bound<void>> copy(empty);
    Core::SharedPtr<Core::Bound<void>> assigned;
    assigned = empty;
    EXPECT_EQ(0, copy.UseCount());
    // Releasing all three must neither double-free the count nor leak it
    // (the address sanitizer run checks both).
    empty.Release();
    copy.Release();
}

TEST(SharedPtrTest, LastReleaseDeletesThroughTheVirtualDestructor)
{
    int destroyed = 0;
    Probe* probe = new Probe(destroyed);
    {
        Core::SharedPtr<Core::Bound<void>> first(probe);
        EXPECT_EQ(1, first.UseCount());
        {
            Core::SharedPtr<Core::Bound<void>> second(first);
            Core::SharedPtr<Core::Bound<void>> third;
            third = second;
            EXPECT_EQ(3, first.UseCount());
            third->Execute();
            (*second).Execute();
        }
        EXPECT_EQ(1, first.UseCount());
        EXPECT_EQ(0, destroyed);
        EXPECT_EQ(2, probe->calls);
    }
    EXPECT_EQ(1, destroyed);
}

TEST(SharedPtrTest, AssignmentReleasesTheOldObjectAndSelfAssignmentKeepsIt)
{
    int destroyedOld = 0;
    int destroyedNew = 0;
    Core::SharedPtr<Core::Bound<void>> holder(new Probe(destroyedOld));
    Core::SharedPtr<Core::Bound<void>>& alias = holder;
    holder = alias;
    EXPECT_EQ(0, destroyedOld);
    EXPECT_EQ(1, holder.UseCount());

    Core::SharedPtr<Core::Bound<void>> replacement(new Probe(destroyedNew));
    holder = replacement;
    EXPECT_EQ(1, destroyedOld);
    EXPECT_EQ(2, replacement.UseCount());

    {
        Core::SharedPtr<Core::Bound<void>> moved(std::move(holder));
        EXPECT_TRUE(holder.IsEmpty());
        EXPECT_EQ(2, moved.UseCount());
    }
    EXPECT_EQ(1, replacement.UseCount());
    EXPECT_EQ(0, destroyedNew);
}

} // namespace
