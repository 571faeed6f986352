// Process-wide call-tree profiler for instrumented code. A ProfileTag at the
// top of a scope records entry and exit; per call path the profiler keeps the
// number of completed calls and their total, shortest and longest wall-clock
// durations, and DumpData writes the tree as a fixed-width table onto the USB
// stick (kUSBMountPoint + "profile_<pid>.txt").
// Threading: no lock. The tree and the current node are shared by every
// thread, so profile one thread at a time; tags in two threads at once corrupt
// the call path.
#ifndef CORELIB_UTILITIES_PROFILER_H
#define CORELIB_UTILITIES_PROFILER_H

#include "Utilities/StaticSingleton.h"
#include "Utilities/Time.h"

#include <cstdio>
#include <list>
#include <string>

namespace Core
{

class Profiler
{
public:
    // One node of the call tree: one call path to one tag.
    struct Profile
    {
        Profile();
        // Requires: name and file (which may be null) stay valid for the life
        // of the process; the name pointer itself is the node's identity.
        Profile(const char* name, const char* file, int line, Profile* parent);

        // The tag's name (its pointer is the node's identity), and the file and line where
        // it was first entered.
        const char* m_name;
        const char* m_file;
        // The line in that file.
        int m_line;
        int m_calls;             // completed calls
        Time m_firstCalled;      // when the node was created
        Time m_start;            // entry time of the call in progress
        Time m_total;            // sum of the completed calls' durations
        // The longest and the shortest completed call.
        Time m_max;
        Time m_min;
        Profile* m_parent;       // null for the root
        std::list<Profile> m_children;  // in order of first entry
    };

    // Enters the singleton's node for name on construction and exits it on
    // destruction. Requires: name and file are string literals (or otherwise
    // live for the rest of the process).
    class ProfileTag
    {
    public:
        // Enters the node for name; the destructor exits it.
        ProfileTag(const char* name, const char* file, int line);
        ~ProfileTag();
        ProfileTag(const ProfileTag&) = delete;
        ProfileTag& operator=(const ProfileTag&) = delete;
    };

    // A tree holding only the root, "Overall", whose first-called and start
    // times are now; the root is the current node.
    Profiler();
    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    // Makes the current node's child with this very name pointer current,
    // appending it first if there is none, and starts timing it. The same text
    // from two distinct literals gives two nodes.
    void Entry(const char* name, const char* file, int line);
    // Adds the time since the current node's entry to its totals and makes its
    // parent current (the root stays current). There is no check that an Entry
    // matched: an unmatched Exit closes the current node early.
    void Exit();
    // Sets the root's total to the time since the profiler was created, then
    // replaces kUSBMountPoint + "profile_<pid>.txt" with the report; does nothing when
    // that file cannot be opened.
    void DumpData();
    // Writes the row of node, then its children's rows with prefix + "-".
    // overallTotal is the root's total in seconds.
    void DumpDataForNode(std::FILE* file, const std::string& prefix, Profile* node, double overallTotal);

    // The root ("Overall") and the node the next Entry descends from.
    const Profile& Root() const { return m_root; }
    // The node the next Entry descends from.
    const Profile* Current() const { return m_current; }

private:
    Profile m_root;
    Profile* m_current;
};

// The process-wide profiler lives in the library, shared by every module.
extern template class Patterns::StaticSingleton<Profiler>;

} // namespace Core

#endif
