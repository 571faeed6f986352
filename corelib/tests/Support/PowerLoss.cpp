#include "Support/PowerLoss.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <random>
#include <set>

namespace CoreTest
{

namespace
{

// The layer checkers run under: crash states are throw-away copies, so the
// readers' and the recovering writers' syncs need not reach a real medium.
class UnsyncedFiles : public Core::Utilities::PosixFileLayer
{
public:
    int Sync(int) override { return 0; }
    void SyncAll() override {}
};

// Keeps errno as the file operation left it, through the bookkeeping that
// follows it: callers read errno after a failure, and a successful system
// call leaves it alone.
class KeptErrno
{
public:
    KeptErrno() : m_error(errno) {}
    ~KeptErrno() { errno = m_error; }

private:
    int m_error;
};

// The canonical path of an existing directory, or "" when it does not exist.
std::string RealPath(const std::string& path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : "";
}

// Writes bytes at offset into contents, filling any gap before it with zeros
// (the hole a later write leaves when earlier bytes never reached the medium).
void Overlay(std::string& contents, uint64_t offset, const std::string& bytes)
{
    if (contents.size() < offset + bytes.size())
        contents.resize(offset + bytes.size(), '\0');
    contents.replace(offset, bytes.size(), bytes);
}

using Event = PowerLoss::Event;

// What the medium holds after a crash, rebuilt from the log: each file's synced
// bytes and its writes and truncations since, the synced and the live names,
// and the name changes since the directory was last synced.
struct Model
{
    std::vector<std::string> durable;
    std::vector<std::vector<const Event*>> pending;
    std::map<std::string, int> durableNames, liveNames;
    std::vector<const Event*> pendingNames;
    int acknowledged = 0;

    void SyncNode(std::size_t node)
    {
        for (const Event* event : pending[node])
            if (event->kind == Event::Truncate)
                durable[node].resize(event->offset, '\0');
            else
                Overlay(durable[node], event->offset, event->data);
        pending[node].clear();
    }

    // Renames, creations and removals, applied to a set of names.
    static void Rename(std::map<std::string, int>& names, const Event& event)
    {
        if (event.kind == Event::Create)
            names[event.name] = event.node;
        else if (event.kind == Event::Unlink)
            names.erase(event.name);
        else if (event.kind == Event::Rename && names.count(event.name) != 0)
        {
            names[event.to] = names[event.name];
            names.erase(event.name);
        }
    }

    void Replay(const Event& event)
    {
        const auto node = static_cast<std::size_t>(event.node);
        switch (event.kind)
        {
        case Event::Create:
        case Event::Rename:
        case Event::Unlink: Rename(liveNames, event), pendingNames.push_back(&event); break;
        case Event::Write:
        case Event::Truncate: pending[node].push_back(&event); break;
        case Event::SyncFile: SyncNode(node); break;
        case Event::LoseUnsynced: pending[node].clear(); break;
        case Event::SyncAll:
            for (std::size_t n = 0; n < pending.size(); ++n)
                SyncNode(n);
            [[fallthrough]];
        case Event::SyncDirectory: durableNames = liveNames, pendingNames.clear(); break;
        case Event::Acknowledge: ++acknowledged; break;
        }
    }
};

// One thing a crash may or may not have put on the medium: a sector-aligned
// piece of a pending write, a pending truncation, or a pending name change.
struct Choice
{
    int node; // -1 for a name change
    const Event* event;
    uint64_t begin, end; // the piece of a write
};

// Every choice of a model, in the order the operations happened.
std::vector<Choice> Choices(const Model& model)
{
    std::vector<Choice> choices;
    for (std::size_t n = 0; n < model.pending.size(); ++n)
        for (const Event* event : model.pending[n])
        {
            if (event->kind == Event::Truncate)
                choices.push_back({static_cast<int>(n), event, 0, 0});
            // A truncation carries no data: no pieces.
            for (uint64_t begin = event->offset, end = begin + event->data.size(); begin < end;)
            {
                const uint64_t boundary = (begin / PowerLoss::kSectorSize + 1) * PowerLoss::kSectorSize;
                choices.push_back({static_cast<int>(n), event, begin, std::min(boundary, end)});
                begin = std::min(boundary, end);
            }
        }
    for (const Event* event : model.pendingNames)
        choices.push_back({-1, event, 0, 0});
    return choices;
}

// The files on the medium when exactly the chosen operations reached it.
std::map<std::string, std::string> CrashFiles(const Model& model, const std::vector<Choice>& choices,
                                              const std::vector<bool>& kept)
{
    std::vector<std::string> contents = model.durable;
    std::map<std::string, int> names = model.durableNames;
    for (std::size_t i = 0; i < choices.size(); ++i)
    {
        const Choice& choice = choices[i];
        if (!kept[i])
            continue;
        else if (choice.node < 0)
            Model::Rename(names, *choice.event);
        else if (choice.event->kind == Event::Truncate)
            contents[choice.node].resize(choice.event->offset, '\0');
        else
            Overlay(contents[choice.node], choice.begin,
                    choice.event->data.substr(choice.begin - choice.event->offset, choice.end - choice.begin));
    }
    std::map<std::string, std::string> files;
    for (const auto& [name, node] : names)
        files[name] = contents[node];
    return files;
}

// The combinations tried at one crash point: all of them while few, else
// nothing, everything, evenly spread prefixes (a device that stopped part-way
// through its queue) and seeded random draws.
std::vector<std::vector<bool>> Combinations(std::size_t count, int samples, uint64_t seed)
{
    const bool exhaustive = count <= static_cast<std::size_t>(PowerLoss::kExhaustiveBits);
    const std::size_t prefixes = samples / 2 > 1 ? samples / 2 : 2;
    const std::size_t total = exhaustive ? std::size_t(1) << count : std::max<std::size_t>(prefixes, samples) + 1;
    std::mt19937_64 random(seed);
    std::vector<std::vector<bool>> masks(total, std::vector<bool>(count));
    for (std::size_t m = 0; m < total; ++m)
        for (std::size_t i = 0; i < count; ++i)
            masks[m][i] = exhaustive ? (m >> i) & 1u : m <= prefixes ? i < count * m / prefixes : (random() & 1u) != 0;
    return masks;
}

} // namespace

PowerLoss::PowerLoss(const std::string& scratch)
    : m_directory(scratch + "/files"), m_stateDirectory(scratch + "/crash"), m_previous(nullptr), m_recording(false),
      m_nodes(0), m_states(0)
{
    mkdir(m_directory.c_str(), 0700);
    mkdir(m_stateDirectory.c_str(), 0700);
}

PowerLoss::~PowerLoss()
{
    if (m_recording)
        Core::Utilities::SetFiles(m_previous);
}

void PowerLoss::Prepare(const Writer& setup)
{
    setup(m_directory);
}

void PowerLoss::Record(const Writer& writer)
{
    m_realDirectory = RealPath(m_directory);
    m_initial = ReadDirectory(m_directory);
    for (const auto& entry : m_initial)
        m_live[entry.first] = m_nodes++;
    m_previous = Core::Utilities::SetFiles(this);
    m_recording = true;
    writer(m_directory);
    m_recording = false;
    Core::Utilities::SetFiles(m_previous);
}

void PowerLoss::Acknowledge()
{
    Log(Event::Acknowledge, -1);
}

void PowerLoss::Log(Event::Kind kind, int node, const std::string& name, const std::string& to, uint64_t offset,
                    const std::string& data)
{
    m_log.push_back({kind, node, name, to, offset, data});
}

int PowerLoss::Explore(const Checker& check, int samplesPerPoint)
{
    UnsyncedFiles unsynced;
    const ScopedFiles layer(unsynced);
    int violations = 0;
    std::set<std::size_t> seen;
    const auto run = [&](const State& state) {
        const std::string problem = check(state);
        if (!problem.empty())
        {
            ++violations;
            ADD_FAILURE() << state.description << ": " << problem;
        }
    };
    Model start;
    start.durable.resize(static_cast<std::size_t>(m_nodes));
    start.pending.resize(static_cast<std::size_t>(m_nodes));
    int node = 0;
    for (const auto& [name, contents] : m_initial)
    {
        start.durableNames[name] = start.liveNames[name] = node;
        start.durable[static_cast<std::size_t>(node++)] = contents;
    }
    for (std::size_t point = 0; point <= m_log.size(); ++point)
    {
        // A crash just before an acknowledgement is the same as one just
        // after it, which promises more: check that one only.
        if (point < m_log.size() && m_log[point].kind == Event::Acknowledge)
            continue;
        Model model = start;
        for (std::size_t e = 0; e < point; ++e)
            model.Replay(m_log[e]);
        const std::vector<Choice> choices = Choices(model);
        const std::vector<std::vector<bool>> masks = Combinations(choices.size(), samplesPerPoint, point * 7919u + 17u);
        for (std::size_t m = 0; m < masks.size(); ++m)
        {
            const std::map<std::string, std::string> files = CrashFiles(model, choices, masks[m]);
            std::string key = std::to_string(model.acknowledged);
            for (const auto& [name, contents] : files)
                key += '\0' + name + '\0' + std::to_string(contents.size()) + '\0' + contents;
            if (!seen.insert(std::hash<std::string>()(key)).second)
                continue;
            for (const std::string& name : ListDirectory(m_stateDirectory))
                unlink((m_stateDirectory + "/" + name).c_str());
            for (const auto& [name, contents] : files)
                std::ofstream(m_stateDirectory + "/" + name, std::ios::binary) << contents;
            ++m_states;
            run({m_stateDirectory, model.acknowledged, false,
                 "crash after operation " + std::to_string(point) + " of " + std::to_string(m_log.size()) +
                     ", combination " + std::to_string(m) + " of " + std::to_string(masks.size())});
        }
    }
    const auto acknowledged =
        std::count_if(m_log.begin(), m_log.end(), [](const Event& event) { return event.kind == Event::Acknowledge; });
    run({m_directory, static_cast<int>(acknowledged), true, "the live directory after the run"});
    return violations;
}

std::string PowerLoss::NameOf(const std::string& path) const
{
    const std::size_t slash = path.rfind('/');
    if (RealPath(slash == std::string::npos ? "." : path.substr(0, slash)) != m_realDirectory)
        return "";
    return path.substr(slash + 1); // npos + 1 is 0: the whole path
}

int PowerLoss::Created(const std::string& name)
{
    Log(Event::Create, m_nodes, name);
    return m_live[name] = m_nodes++;
}

int PowerLoss::Tracked(int fd) const
{
    const auto tracked = m_descriptors.find(fd);
    return tracked == m_descriptors.end() ? kUntracked : tracked->second;
}

int PowerLoss::Open(const char* path, int flags, mode_t mode)
{
    const int fd = FaultyFiles::Open(path, flags, mode);
    const KeptErrno kept;
    const std::string name = fd < 0 || (flags & O_DIRECTORY) != 0 ? "" : NameOf(path);
    if (fd >= 0 && (flags & O_DIRECTORY) != 0 && RealPath(path) == m_realDirectory)
        m_descriptors[fd] = -1;
    if (name.empty())
        return fd;
    const auto live = m_live.find(name);
    m_descriptors[fd] = live == m_live.end() ? Created(name) : live->second;
    if (live != m_live.end() && (flags & O_TRUNC) != 0)
        Log(Event::Truncate, live->second, name);
    return fd;
}

int PowerLoss::CreateTemporary(char* pathTemplate)
{
    const int fd = FaultyFiles::CreateTemporary(pathTemplate);
    const KeptErrno kept;
    const std::string name = fd < 0 ? "" : NameOf(pathTemplate);
    if (!name.empty())
        m_descriptors[fd] = Created(name);
    return fd;
}

ssize_t PowerLoss::Write(int fd, const void* data, std::size_t length)
{
    const int node = Tracked(fd);
    struct stat status;
    uint64_t offset = 0;
    if (node >= 0)
        offset = (fcntl(fd, F_GETFL) & O_APPEND) != 0 && fstat(fd, &status) == 0
                     ? static_cast<uint64_t>(status.st_size)
                     : static_cast<uint64_t>(lseek(fd, 0, SEEK_CUR));
    const ssize_t written = FaultyFiles::Write(fd, data, length);
    const KeptErrno kept;
    if (written > 0 && node >= 0)
        Log(Event::Write, node, "", "", offset,
            std::string(static_cast<const char*>(data), static_cast<std::size_t>(written)));
    return written;
}

int PowerLoss::Sync(int fd)
{
    // The medium is modelled, not used: no real fsync is needed (and none is
    // made, which keeps thousands of runs fast).
    const int node = Tracked(fd);
    if (Inject(FileOp::Sync))
    {
        if (node >= 0)
            Log(Event::LoseUnsynced, node);
        return -1;
    }
    if (node != kUntracked)
        Log(node < 0 ? Event::SyncDirectory : Event::SyncFile, node);
    return 0;
}

void PowerLoss::SyncAll()
{
    Log(Event::SyncAll, -1);
}

int PowerLoss::Close(int fd)
{
    m_descriptors.erase(fd);
    return FaultyFiles::Close(fd);
}

int PowerLoss::Rename(const char* from, const char* to)
{
    const int result = FaultyFiles::Rename(from, to);
    const KeptErrno kept;
    const std::string fromName = NameOf(from), toName = NameOf(to);
    if (result != 0 || fromName.empty() || m_live.count(fromName) == 0)
        return result;
    // Moved out of the directory: gone from it.
    if (toName.empty())
        Log(Event::Unlink, -1, fromName);
    else
    {
        Log(Event::Rename, -1, fromName, toName);
        m_live[toName] = m_live[fromName];
    }
    m_live.erase(fromName);
    return result;
}

int PowerLoss::Unlink(const char* path)
{
    const int result = FaultyFiles::Unlink(path);
    const KeptErrno kept;
    const std::string name = NameOf(path);
    if (result == 0 && !name.empty() && m_live.erase(name) != 0)
        Log(Event::Unlink, -1, name);
    return result;
}

int PowerLoss::Truncate(int fd, off_t length)
{
    const int result = FaultyFiles::Truncate(fd, length);
    const KeptErrno kept;
    if (result == 0 && Tracked(fd) >= 0)
        Log(Event::Truncate, Tracked(fd), "", "", static_cast<uint64_t>(length));
    return result;
}

} // namespace CoreTest
