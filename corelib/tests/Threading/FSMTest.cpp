// The state machine: the first Update, edge order and range checks, the order
// of callbacks around a transition, and the callback-free moves.
#include "Threading/FSM.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <utility>
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
        const std::string name = std::to_string(id);
        CFSMState* state = machine.AddState(id);
        state->SetEnterFn(&m_recorders.emplace_back(m_events, "enter " + name));
        state->SetUpdateFn(&m_recorders.emplace_back(m_events, "update " + name));
        state->SetLeaveFn(&m_recorders.emplace_back(m_events, "leave " + name));
        for (const CFSMState::Edge& edge : edges)
            state->AddEdge(edge);
    }

    // The events since the last call.
    Events Take() { return std::exchange(m_events, {}); }

private:
    Events m_events;
    // A deque keeps the recorders where the states point at them.
    std::deque<Recorder> m_recorders;
};

TEST_F(FSMTest, FirstUpdateRunsTheStartStateWhileAStartOutsideTheStatesRunsNothing)
{
    for (int start : {0, -1, 2})
    {
        SCOPED_TRACE(start);
        CFSM machine(start);
        AddState(machine, 0, {{nullptr, 1}});
        AddState(machine, 1);
        if (start != 0)
        {
            machine.Update();
            EXPECT_TRUE(Take().empty());
            EXPECT_EQ(-1, machine.CurrentState());
            machine.GoTo(0);
        }
        machine.Update();
        // The start state is current from construction: no enter of its own,
        // but its edge is taken on the very first tick. The new state's update
        // waits for the next tick.
        EXPECT_EQ((Events{"update 0", "leave 0 -> 1", "enter 1"}), Take());
        machine.Update();
        EXPECT_EQ((Events{"update 1"}), Take()) << "a state without edges stays";
    }
}

TEST_F(FSMTest, FirstTrueEdgeInOrderAddedWinsAndLaterConditionsAreNotAsked)
{
    // A null condition counts as true, so it is taken ahead of a later true one.
    Switch never(false), second(true);
    CFSM machine(0);
    AddState(machine, 0, {{&never, 1}, {nullptr, 2}, {&second, 1}});
    AddState(machine, 1);
    AddState(machine, 2);
    machine.Update();
    EXPECT_EQ(std::make_pair(1, 0), std::make_pair(never.asked, second.asked));
    EXPECT_EQ((Events{"update 0", "leave 0 -> 2", "enter 2"}), Take());
}

TEST_F(FSMTest, EdgeTargetsAreCheckedAgainstTheStateCountNotTheIds)
{
    // States have ids 0, 5 and 2. A taken edge ends the scan even when its
    // target is ignored; an in-range id naming no state re-enters.
    for (int target : {5, 3, -1, 1})
    {
        SCOPED_TRACE(target);
        CFSM machine(0);
        AddState(machine, 0, {{nullptr, target}, {nullptr, 2}});
        AddState(machine, 5);
        AddState(machine, 2);
        machine.Update();
        EXPECT_EQ((target == 1 ? Events{"update 0", "leave 0 -> 1", "enter 0"} : Events{"update 0"}), Take());
    }
}

TEST_F(FSMTest, ForceEdgeIgnoresTheRangeButGoToAndResetCallNothing)
{
    CFSM machine(0);
    AddState(machine, 0);
    AddState(machine, 10);
    machine.ForceEdge(10);
    machine.ForceEdge(4);
    EXPECT_EQ((Events{"leave 0 -> 10", "enter 10", "leave 10 -> 4", "enter 10"}), Take());
    machine.GoTo(4);
    EXPECT_EQ(10, machine.CurrentState()) << "unknown id: no change";
    machine.Reset();
    EXPECT_EQ(0, machine.CurrentState());
    machine.GoTo(10);
    EXPECT_EQ(10, machine.CurrentState());
    EXPECT_TRUE(Take().empty());
}

} // namespace
