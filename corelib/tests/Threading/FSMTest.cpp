// The state machine: the first Update, edge order and range checks, the order
// of callbacks around a transition, and the callback-free moves.
#include "Threading/FSM.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

using Core::FSM::CFSM;
using Core::FSM::CFSMState;
typedef std::vector<std::string> Events;

// Appends "<text>" (or "<text> -> <next id>" as a leave callback) to a list.
class Recorder : public Core::Functors::Functor0<void>, public Core::Functors::Functor1<void, int>
{
public:
    Recorder(Events& events, std::string text) : m_events(events), m_text(std::move(text)) {}
    void operator()() override { m_events.push_back(m_text); }
    void operator()(int next) override { m_events.push_back(m_text + " -> " + std::to_string(next)); }

private:
    Events& m_events;
    std::string m_text;
};

// A condition the test sets; counts how often it is asked.
struct Switch : Core::Functors::Functor0<bool>
{
    explicit Switch(bool value) : on(value) {}
    bool operator()() override { return ++asked, on; }
    bool on;
    int asked = 0;
};

class FSMTest : public ::testing::Test
{
protected:
    // Adds a state whose callbacks record "enter <id>", "update <id>" and
    // "leave <id> -> <next>", with its edges (added at once: AddState's
    // pointer goes stale at the next AddState).
    void AddState(CFSM& machine, int id, const std::vector<CFSMState::Edge>& edges = {})
    {
        for (const char* what : {"enter ", "update ", "leave "})
        {
            m_recorders.emplace_back(new Recorder(events, what + std::to_string(id)));
        }
        const size_t last = m_recorders.size() - 1;
        CFSMState* state = machine.AddState(id);
        state->SetEnterFn(m_recorders[last - 2].get());
        state->SetUpdateFn(m_recorders[last - 1].get());
        state->SetLeaveFn(m_recorders[last].get());
        for (const CFSMState::Edge& edge : edges)
        {
            state->AddEdge(edge);
        }
    }

    // The events since the last call.
    Events Take()
    {
        Events taken;
        taken.swap(events);
        return taken;
    }

    Events events;

private:
    std::vector<std::unique_ptr<Recorder>> m_recorders;
};

TEST_F(FSMTest, FirstUpdateRunsTheStartStateAndTakesItsEdge)
{
    CFSM machine(0);
    AddState(machine, 0, {{nullptr, 1}});
    AddState(machine, 1);
    machine.Update();
    // The start state is current from construction: no enter of its own, but
    // its edge is taken on the very first tick. The new state's update waits
    // for the next tick.
    EXPECT_EQ((Events{"update 0", "leave 0 -> 1", "enter 1"}), Take());
    machine.Update();
    machine.Update();
    EXPECT_EQ((Events{"update 1", "update 1"}), Take()) << "a state without edges stays";
}

TEST_F(FSMTest, FirstTrueEdgeInOrderAddedWinsAndLaterConditionsAreNotAsked)
{
    Switch never(false), first(true), second(true);
    CFSM machine(0);
    AddState(machine, 0, {{&never, 1}, {&first, 2}, {&second, 1}});
    AddState(machine, 1);
    AddState(machine, 2, {{nullptr, 0}, {&second, 1}});
    machine.Update();
    machine.Update();
    EXPECT_EQ(0, machine.CurrentState()) << "a null condition is taken ahead of later edges";
    EXPECT_EQ(1, never.asked);
    EXPECT_EQ(0, second.asked);
    EXPECT_EQ((Events{"update 0", "leave 0 -> 2", "enter 2", "update 2", "leave 2 -> 0", "enter 0"}), Take());
}

TEST_F(FSMTest, EdgeTargetsAreCheckedAgainstTheStateCountNotTheIds)
{
    struct Case
    {
        int target;
        Events expected;
    };
    // States have ids 0, 5 and 2. The first taken edge ends the scan even
    // when its target is ignored; an in-range id naming no state re-enters.
    const Case cases[] = {
        {7, {"update 0"}},
        {3, {"update 0"}},
        {-1, {"update 0"}},
        {1, {"update 0", "leave 0 -> 1", "enter 0"}},
        {2, {"update 0", "leave 0 -> 2", "enter 2"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.target);
        CFSM machine(0);
        AddState(machine, 0, {{nullptr, c.target}, {nullptr, 5}});
        AddState(machine, 5);
        AddState(machine, 2);
        machine.Update();
        EXPECT_EQ(c.expected, Take());
    }
}

TEST_F(FSMTest, ForceEdgeIgnoresConditionsAndRangeButGoToAndResetCallNothing)
{
    Switch off(false);
    CFSM machine(0);
    AddState(machine, 0, {{&off, 1}});
    AddState(machine, 10);
    machine.ForceEdge(10);
    EXPECT_EQ(10, machine.CurrentState());
    machine.ForceEdge(4);
    EXPECT_EQ((Events{"leave 0 -> 10", "enter 10", "leave 10 -> 4", "enter 10"}), Take());
    EXPECT_EQ(0, off.asked);

    machine.GoTo(4);
    EXPECT_EQ(10, machine.CurrentState()) << "unknown id: no change";
    machine.GoTo(0);
    EXPECT_EQ(0, machine.CurrentState());
    machine.GoTo(10);
    machine.Reset();
    EXPECT_EQ(0, machine.CurrentState());
    EXPECT_TRUE(Take().empty());
}

TEST_F(FSMTest, StartIndexOutsideTheStatesNeverRunsAnything)
{
    for (int start : {-1, 2})
    {
        SCOPED_TRACE(start);
        CFSM machine(start);
        AddState(machine, 0, {{nullptr, 1}});
        AddState(machine, 1);
        machine.Update();
        machine.Update();
        EXPECT_TRUE(Take().empty());
        EXPECT_EQ(-1, machine.CurrentState());
        machine.GoTo(0);
        machine.Update();
        EXPECT_EQ((Events{"update 0", "leave 0 -> 1", "enter 1"}), Take());
    }
}

} // namespace
