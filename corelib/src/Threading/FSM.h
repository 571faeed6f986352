// A table-driven state machine ticked from the application's own loop. Each
// state has optional enter, update and leave callbacks and an ordered list of
// edges (a condition and a target state id); one Update() runs the current
// state's update callback, then takes the first edge whose condition holds.
// Ids are meant to be 0, 1, 2, ... in the order the states are added (id equal
// to index): the machine starts from an index and range-checks edge targets
// against the number of states.
// Not thread-safe: one machine belongs to one thread; it has no thread or lock.
#ifndef CORELIB_THREADING_FSM_H
#define CORELIB_THREADING_FSM_H

#include "Threading/Functor.h"

#include <utility>
#include <vector>

namespace Core
{
namespace FSM
{

// One state: borrowed callbacks (each may be null) and its edges. The machine
// copies states into its list; callbacks must outlive the machine.
class CFSMState
{
public:
    // A condition and the id of the state it leads to; a null condition is
    // always true.
    typedef std::pair<Functors::Functor0<bool>*, int> Edge;

    // A state with the given id, without callbacks or edges.
    explicit CFSMState(int id);

    // Replace a callback; the old one is not deleted.
    void SetEnterFn(Functors::Functor0<void>* enter);
    void SetUpdateFn(Functors::Functor0<void>* update);
    // The leave callback receives the id of the state being moved to.
    void SetLeaveFn(Functors::Functor1<void, int>* leave);

    // Appends an edge; edges are tried in the order added.
    void AddEdge(const Edge& edge);

    // Call the matching callback if one is set.
    void Enter();
    void Update();
    // Calls the leave callback, if one is set, with the id of the next state.
    void Leave(int nextId);

    // The edges, in the order added.
    std::vector<Edge>& Edges();
    // The state's id.
    int Id() const;

private:
    Functors::Functor0<void>* m_enter;
    Functors::Functor0<void>* m_update;
    Functors::Functor1<void, int>* m_leave;
    std::vector<Edge> m_edges;
    int m_id;
};

class CFSM
{
public:
    // A machine with no states whose first Update() starts at index start.
    explicit CFSM(int start);

    // Appends a state with this id and returns it for configuration. The
    // pointer is valid until the next AddState.
    CFSMState* AddState(int id);

    // Runs the current state's update callback, then takes the first edge
    // whose condition holds: the old state's leave callback (with the target
    // id), then the new state's enter callback. A machine whose current index
    // is negative starts at the start index, running only its update callback.
    // Edges to negative ids or ids not below the number of states are ignored;
    // an in-range id that names no state leaves and re-enters the current one.
    void Update();

    // Leaves the current state (if its index is valid) towards targetId and
    // enters the state with that id (or the current one if no state has it),
    // whatever the conditions say. With no valid state to enter (no states,
    // or an unstarted machine and an unknown id) only the leave can happen.
    void ForceEdge(int targetId);

    // Makes the state with targetId current without any callback; an unknown
    // id changes nothing.
    void GoTo(int targetId);

    // Returns to the start index without any callback.
    void Reset();

    // The id of the current state, or -1 while the current index names none
    // (an unstarted machine whose start index is outside the list).
    int CurrentState();

private:
    // Index of the first state with this id, or -1.
    int IndexOf(int id) const;
    // Whether index names a state in the list.
    bool IsValidIndex(int index) const;

    int m_start;
    int m_current;
    std::vector<CFSMState> m_states;
};

} // namespace FSM
} // namespace Core

#endif
