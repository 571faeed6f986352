#include "Threading/FSM.h"

#include <cstddef>

namespace Core
{
namespace FSM
{

CFSMState::CFSMState(int id) : m_enter(nullptr), m_update(nullptr), m_leave(nullptr), m_id(id) {}

void CFSMState::SetEnterFn(Functors::Functor0<void>* enter)
{
    m_enter = enter;
}

void CFSMState::SetUpdateFn(Functors::Functor0<void>* update)
{
    m_update = update;
}

void CFSMState::SetLeaveFn(Functors::Functor1<void, int>* leave)
{
    m_leave = leave;
}

void CFSMState::AddEdge(const Edge& edge)
{
    m_edges.push_back(edge);
}

void CFSMState::Enter()
{
    if (m_enter != nullptr)
    {
        (*m_enter)();
    }
}

void CFSMState::Update()
{
    if (m_update != nullptr)
    {
        (*m_update)();
    }
}

void CFSMState::Leave(int nextId)
{
    if (m_leave != nullptr)
    {
        (*m_leave)(nextId);
    }
}

std::vector<CFSMState::Edge>& CFSMState::Edges()
{
    return m_edges;
}

int CFSMState::Id() const
{
    return m_id;
}

// The first Update() therefore runs the start state's update and its edges.
CFSM::CFSM(int start) : m_start(start), m_current(start) {}

CFSMState* CFSM::AddState(int id)
{
    m_states.push_back(CFSMState(id));
    return &m_states.back();
}

void CFSM::Update()
{
    if (m_current < 0)
    {
        // Starting: the start state's update runs, but not its enter callback.
        m_current = m_start;
        if (IsValidIndex(m_current))
        {
            m_states[m_current].Update();
        }
        return;
    }
    if (!IsValidIndex(m_current))
    {
        return;
    }
    CFSMState& state = m_states[m_current];
    state.Update();

    const CFSMState::Edge* taken = nullptr;
    for (const CFSMState::Edge& edge : state.Edges())
    {
        if (edge.first == nullptr || (*edge.first)())
        {
            taken = &edge;
            break;
        }
    }
    if (taken == nullptr)
    {
        return;
    }
    const int target = taken->second;
    if (!IsValidIndex(target))
    {
        return;
    }
    ForceEdge(target);
}

void CFSM::ForceEdge(int targetId)
{
    if (IsValidIndex(m_current))
    {
        m_states[m_current].Leave(targetId);
    }
    GoTo(targetId);
    // Only reachable with a stale index when the machine was never started
    // and the target is unknown; there is no state to enter then.
    if (IsValidIndex(m_current))
    {
        m_states[m_current].Enter();
    }
}

void CFSM::GoTo(int targetId)
{
    const int index = IndexOf(targetId);
    if (index >= 0)
    {
        m_current = index;
    }
}

void CFSM::Reset()
{
    m_current = m_start;
}

int CFSM::CurrentState()
{
    return IsValidIndex(m_current) ? m_states[m_current].Id() : -1;
}

int CFSM::IndexOf(int id) const
{
    for (std::size_t i = 0; i < m_states.size(); ++i)
    {
        if (m_states[i].Id() == id)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool CFSM::IsValidIndex(int index) const
{
    return index >= 0 && static_cast<std::size_t>(index) < m_states.size();
}

} // namespace FSM
} // namespace Core
