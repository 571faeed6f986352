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

// Appends a fixed text to a shared event list.
class Action : public Core::Functors::Functor0<void>
{
public:
    Action(Events& events, std::string what) : m_events(events), m_what(std::move(what)) {}
    void operator()() override { m_events.push_back(m_what); }

private:
    Events& m_events;
    std::string m_what;
};

// Appends "<text> -> <next id>".
class LeaveAction : public Core::Functors::Functor1<void, int>
{
public:
    LeaveAction(Events& events, std::string what) : m_events(events), m_what(std::move(what)) {}
    void operator()(int next) override { m_events.push_back(m_what + " -> " + std::to_string(next)); }

private:
    Events& m_events;
    std::string m_what;
};

// A condition the test sets; counts how often it is asked.
class Switch : public Core::Functors::Functor0<bool>
{
public:
    explicit Switch(bool value) : on(value) {}
    bool operator()() override
    {
        ++asked;
        return on;
    }
    bool on;
    int asked = 0;
};

class FSMTest : public ::testing::Test
{
protected:
    // Adds a state whose callbacks record "enter <id>", "update <id>" and
    // "leave <id> -> <next>", with the given edges. Edges go in straight away
    // because AddState's pointer goes stale at the next AddState.
    void AddState(CFSM& machine, int id, const std::vector<CFSMState::Edge>& edges = {})
    {
        const std::string name = std::to_string(id);
        m_actions.emplace_back(new Action(events, "enter " + name));
        Action* enter = m_actions.back().get();
        m_actions.emplace_back(new Action(events, "update " + name));
        m_leaves.emplace_back(new LeaveAction(events, "leave " + name));
        CFSMState* state = machine.AddState(id);
        state->SetEnterFn(enter);
        state->SetUpdateFn(m_actions.back().get());
        state->SetLeaveFn(m_leaves.back().get());
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
    std::vector<std::unique_ptr<Action>> m_actions;
    std::vector<std::unique_ptr<LeaveAction>> m_leaves;
};

TEST_F(FSMTest, FirstUpdateRunsTheStartStateAndTakesItsEdge)
{
    CFSM machine(0);
    AddState(machine, 0, {{nullptr, 1}});
    AddState(machine, 1);
    machine.Update();
    // The start state is current from construction: no enter of its own, but
    // its edge is taken on the very first tick.
    EXPECT_EQ((Events{"update 0", "leave 0 -> 1", "enter 1"}), Take());
    EXPECT_EQ(1, machine.CurrentState());
    machine.Update();
    machine.Update();
    EXPECT_EQ((Events{"update 1", "update 1"}), Take()) << "a state without edges stays";
}

TEST_F(FSMTest, FirstTrueEdgeInOrderAddedWinsAndLaterConditionsAreNotAsked)
{
    Switch never(false);
    Switch first(true);
    Switch second(true);
    CFSM machine(0);
    AddState(machine, 0, {{&never, 1}, {&first, 2}, {&second, 1}});
    AddState(machine, 1);
    AddState(machine, 2, {{nullptr, 0}, {&second, 1}});
    machine.Update();
    EXPECT_EQ(2, machine.CurrentState());
    EXPECT_EQ(1, never.asked);
    EXPECT_EQ(0, second.asked);
    machine.Update();
    EXPECT_EQ(0, machine.CurrentState()) << "a null condition is always taken, ahead of later edges";
    EXPECT_EQ(0, second.asked);
    EXPECT_EQ((Events{"update 0", "leave 0 -> 2", "enter 2", "update 2", "leave 2 -> 0", "enter 0"}), Take());
}

TEST_F(FSMTest, TakenEdgeOutsideTheStateCountEndsTheTickWithoutCallbacks)
{
    Switch on(true);
    for (int target : {7, 3, -1})
    {
        SCOPED_TRACE(target);
        CFSM machine(0);
        // The first true edge is taken even though its target is ignored, so
        // the valid edge behind it never gets a chance.
        AddState(machine, 0, {{&on, target}, {nullptr, 1}});
        AddState(machine, 1);
        AddState(machine, 2);
        machine.Update();
        EXPECT_EQ((Events{"update 0"}), Take());
        EXPECT_EQ(0, machine.CurrentState());
    }
}

TEST_F(FSMTest, InRangeIdThatNamesNoStateLeavesAndReentersTheCurrentState)
{
    CFSM machine(0);
    AddState(machine, 0, {{nullptr, 1}});
    AddState(machine, 5);
    AddState(machine, 2);
    machine.Update();
    EXPECT_EQ((Events{"update 0", "leave 0 -> 1", "enter 0"}), Take());
    EXPECT_EQ(0, machine.CurrentState());
}

TEST_F(FSMTest, ForceEdgeIgnoresConditionsAndRangeButGoToAndResetCallNothing)
{
    Switch off(false);
    CFSM machine(0);
    AddState(machine, 0, {{&off, 1}});
    AddState(machine, 10);
    machine.ForceEdge(10);
    EXPECT_EQ(10, machine.CurrentState());
    EXPECT_EQ(0, off.asked);
    machine.ForceEdge(4);
    EXPECT_EQ((Events{"leave 0 -> 10", "enter 10", "leave 10 -> 4", "enter 10"}), Take());

    machine.GoTo(4);
    EXPECT_EQ(10, machine.CurrentState());
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
        // A machine moved onto a real state runs normally from there.
        machine.GoTo(0);
        machine.Update();
        EXPECT_EQ((Events{"update 0", "leave 0 -> 1", "enter 1"}), Take());
    }
}

} // namespace
