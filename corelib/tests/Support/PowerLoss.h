// Simulated power loss for the library's durable writers. A PowerLoss runs a
// writer against a real, flat directory with itself installed as the file
// layer, records every operation on that directory's files (creations, writes,
// truncations, renames, removals, file and directory syncs), and can then
// rebuild what the medium might hold had the power gone after any of them:
//   - a file's writes since its last sync are each dropped, kept, or torn at
//     512-byte sector boundaries, in any combination;
//   - the directory's creations, renames and removals since its last sync are
//     each present or absent (a rename of an absent name is skipped);
//   - a failed fsync loses the file's unsynced writes for good, as on Linux:
//     a later successful fsync does not bring them back.
// Every combination is tried while a crash point has at most kExhaustiveBits
// choices; beyond that Explore() draws the number of combinations it is given
// (none, all, evenly spread prefixes, then seeded random mixtures). Each
// distinct state is written as real files into a scratch directory and handed
// to a checker, which opens it with the library's own readers.
//
// Use:
//   PowerLoss power(scratch);                  // scratch: an empty directory
//   power.Prepare([&](const std::string& dir) { ... });  // the old, durable files
//   power.Arm({FileOp::Sync, 2, EIO});         // optional: one injected fault
//   power.Record([&](const std::string& dir) { ... power.Acknowledge(); ... });
//   power.Explore([&](const PowerLoss::State& s) -> std::string { ... }, 64);
// The writer calls Acknowledge() each time the code under test reports
// something durable; the checker learns how many acknowledgements preceded the
// crash and returns "" when the state is sound or a description of what is
// wrong. Explore() reports each violation as a test failure and counts states.
// Only files directly inside the recorded directory are modelled. Syncs are
// modelled, not performed: while recording, fsync and sync reach no disk.
// Not thread-safe: the writer runs on the test's thread.
#ifndef CORELIB_TESTS_SUPPORT_POWERLOSS_H
#define CORELIB_TESTS_SUPPORT_POWERLOSS_H

#include "Support/FaultyFiles.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace CoreTest
{

class PowerLoss : public FaultyFiles
{
public:
    // Crash points with at most this many choices are explored exhaustively.
    static const int kExhaustiveBits = 10;
    // Bytes per sector: writes tear only at these boundaries.
    static const int kSectorSize = 512;

    // What a checker is shown.
    struct State
    {
        // The directory holding the crash state's files (rewritten for every state).
        std::string directory;
        // Acknowledge() calls made before the crash.
        int acknowledged;
        // True for the live directory after the run (no crash at all): what
        // the next open sees when the power stayed on.
        bool live;
        // Which crash point and choices, for messages.
        std::string description;
    };
    typedef std::function<void(const std::string& directory)> Writer;
    typedef std::function<std::string(const State& state)> Checker;

    // scratch must exist and be empty; the recorded directory and the crash
    // states live below it.
    explicit PowerLoss(const std::string& scratch);
    // Restores the previous file layer if Record() is running.
    ~PowerLoss() override;

    // Runs setup with the plain layer: whatever it leaves in the directory is
    // the durable starting state.
    void Prepare(const Writer& setup);
    // Runs writer with this layer installed, recording its operations.
    void Record(const Writer& writer);
    // Marks that the code under test has just reported success.
    void Acknowledge();
    // Checks every crash state of the recorded run (samplesPerPoint sampled
    // combinations where there are too many to try all), then the live
    // directory as the next open after the run would see it. Returns the number
    // of violations, each also reported as a test failure. The checker runs
    // with a layer whose syncs do nothing (the states are throw-away copies).
    int Explore(const Checker& check, int samplesPerPoint);

    // Distinct crash states checked by Explore() so far.
    long States() const { return m_states; }

    int Open(const char* path, int flags, mode_t mode) override;
    int CreateTemporary(char* pathTemplate) override;
    ssize_t Write(int fd, const void* data, std::size_t length) override;
    int Sync(int fd) override;
    void SyncAll() override;
    int Close(int fd) override;
    int Rename(const char* from, const char* to) override;
    int Unlink(const char* path) override;
    int Truncate(int fd, off_t length) override;

    // One recorded operation on the directory or one of its files.
    struct Event
    {
        enum Kind
        {
            Create,
            Write,
            Truncate,
            SyncFile,
            LoseUnsynced,
            SyncDirectory,
            SyncAll,
            Rename,
            Unlink,
            Acknowledge
        } kind;
        int node;
        std::string name;
        std::string to;
        uint64_t offset;
        std::string data;
    };

private:
    // The name inside the recorded directory that path denotes, or "" when
    // path lies elsewhere.
    std::string NameOf(const std::string& path) const;
    // Notes a new file under name and returns its node.
    int Created(const std::string& name);
    // The node descriptor fd writes: -1 for the recorded directory itself,
    // kUntracked for a descriptor outside it.
    int Tracked(int fd) const;
    static constexpr int kUntracked = -2;
    // Adds an event to the log.
    void Log(Event::Kind kind, int node, const std::string& name = "", const std::string& to = "", uint64_t offset = 0,
             const std::string& data = "");

    std::string m_directory;
    std::string m_realDirectory;
    std::string m_stateDirectory;
    Core::Utilities::FileLayer* m_previous;
    bool m_recording;
    // Files present before recording, by name: durable from the start.
    std::map<std::string, std::string> m_initial;
    // The live name of every file during recording, and the node each
    // descriptor writes (-1: the recorded directory itself).
    std::map<std::string, int> m_live;
    std::map<int, int> m_descriptors;
    int m_nodes;
    std::vector<Event> m_log;
    long m_states;
};

} // namespace CoreTest

#endif
