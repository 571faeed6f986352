#include "Support/PowerLoss.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

// The canonical path of an existing directory, or "" when it does not exist.
std::string RealPath(const std::string& path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : "";
}

// The regular files directly inside directory, by name, with their bytes.
std::map<std::string, std::string> ReadDirectory(const std::string& directory)
{
    std::map<std::string, std::string> files;
    for (const std::string& name : ListDirectory(directory))
    {
        const std::string path = directory + "/" + name;
        struct stat status;
        if (lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
            files[name] = ReadBytes(path);
    }
    return files;
}

// Removes every entry directly inside directory.
void EmptyDirectory(const std::string& directory)
{
    for (const std::string& name : ListDirectory(directory))
        unlink((directory + "/" + name).c_str());
}

// Writes bytes at offset into contents, filling any gap before it with zeros
// (the hole a later write leaves when earlier bytes never reached the medium).
void Overlay(std::string& contents, uint64_t offset, const std::string& bytes)
{
    if (contents.size() < offset + bytes.size())
        contents.resize(offset + bytes.size(), '\0');
    contents.replace(offset, bytes.size(), bytes);
}

// What the medium holds after a crash, rebuilt from the log.
struct Model
{
    // Each file's synced bytes and its operations since (writes and truncations).
    struct Node
    {
        std::string durable;
        std::vector<const PowerLoss::Event*> pending;
    };
    std::vector<Node> nodes;
    std::map<std::string, int> durableNames;
    std::map<std::string, int> liveNames;
    std::vector<const PowerLoss::Event*> pendingNames;
    int acknowledged = 0;

    void Apply(Node& node, const PowerLoss::Event& event)
    {
        if (event.kind == PowerLoss::Event::Truncate)
            node.durable.resize(event.offset, '\0');
        else
            Overlay(node.durable, event.offset, event.data);
    }

    void SyncNode(Node& node)
    {
        for (const PowerLoss::Event* event : node.pending)
            Apply(node, *event);
        node.pending.clear();
    }

    void SyncNames()
    {
        durableNames = liveNames;
        pendingNames.clear();
    }

    // Renames, creations and removals, applied to a set of names.
    static void Rename(std::map<std::string, int>& names, const PowerLoss::Event& event)
    {
        switch (event.kind)
        {
        case PowerLoss::Event::Create:
            names[event.name] = event.node;
            break;
        case PowerLoss::Event::Rename:
            if (names.count(event.name) != 0)
            {
                names[event.to] = names[event.name];
                names.erase(event.name);
            }
            break;
        case PowerLoss::Event::Unlink:
            names.erase(event.name);
            break;
        default:
            break;
        }
    }

    void Replay(const PowerLoss::Event& event)
    {
        switch (event.kind)
        {
        case PowerLoss::Event::Create:
        case PowerLoss::Event::Rename:
        case PowerLoss::Event::Unlink:
            Rename(liveNames, event);
            pendingNames.push_back(&event);
            break;
        case PowerLoss::Event::Write:
        case PowerLoss::Event::Truncate:
            nodes[event.node].pending.push_back(&event);
            break;
        case PowerLoss::Event::SyncFile:
            SyncNode(nodes[event.node]);
            break;
        case PowerLoss::Event::LoseUnsynced:
            nodes[event.node].pending.clear();
            break;
        case PowerLoss::Event::SyncDirectory:
            SyncNames();
            break;
        case PowerLoss::Event::SyncAll:
            for (Node& node : nodes)
                SyncNode(node);
            SyncNames();
            break;
        case PowerLoss::Event::Acknowledge:
            ++acknowledged;
            break;
        }
    }
};

// One thing a crash may or may not have put on the medium: a sector-aligned
// piece of a pending write, a pending truncation, or a pending name change.
struct Choice
{
    int node;              // -1 for a name change
    const PowerLoss::Event* event;
    uint64_t begin, end;   // the piece of a write
};

// Every choice of a model, in the order the operations happened.
std::vector<Choice> Choices(const Model& model)
{
    std::vector<Choice> choices;
    for (std::size_t n = 0; n < model.nodes.size(); ++n)
    {
        for (const PowerLoss::Event* event : model.nodes[n].pending)
        {
            if (event->kind == PowerLoss::Event::Truncate)
            {
                choices.push_back({static_cast<int>(n), event, 0, 0});
                continue;
            }
            const uint64_t end = event->offset + event->data.size();
            for (uint64_t begin = event->offset; begin < end;)
            {
                const uint64_t boundary = (begin / PowerLoss::kSectorSize + 1) * PowerLoss::kSectorSize;
                const uint64_t pieceEnd = boundary < end ? boundary : end;
                choices.push_back({static_cast<int>(n), event, begin, pieceEnd});
                begin = pieceEnd;
            }
        }
    }
    for (const PowerLoss::Event* event : model.pendingNames)
        choices.push_back({-1, event, 0, 0});
    return choices;
}

// The files on the medium when exactly the chosen operations reached it.
std::map<std::string, std::string> CrashFiles(const Model& model, const std::vector<Choice>& choices,
                                              const std::vector<bool>& kept)
{
    std::vector<std::string> contents;
    for (const Model::Node& node : model.nodes)
        contents.push_back(node.durable);
    std::map<std::string, int> names = model.durableNames;
    for (std::size_t i = 0; i < choices.size(); ++i)
    {
        if (!kept[i])
            continue;
        const Choice& choice = choices[i];
        if (choice.node < 0)
            Model::Rename(names, *choice.event);
        else if (choice.event->kind == PowerLoss::Event::Truncate)
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
    std::vector<std::vector<bool>> masks;
    if (count <= static_cast<std::size_t>(PowerLoss::kExhaustiveBits))
    {
        for (uint32_t bits = 0; bits < (1u << count); ++bits)
        {
            std::vector<bool> mask(count);
            for (std::size_t i = 0; i < count; ++i)
                mask[i] = (bits >> i) & 1u;
            masks.push_back(mask);
        }
        return masks;
    }
    const int prefixes = samples / 2 > 1 ? samples / 2 : 2;
    for (int p = 0; p <= prefixes; ++p)
    {
        const std::size_t keep = count * static_cast<std::size_t>(p) / static_cast<std::size_t>(prefixes);
        std::vector<bool> mask(count, false);
        for (std::size_t i = 0; i < keep; ++i)
            mask[i] = true;
        masks.push_back(mask);
    }
    std::mt19937_64 random(seed);
    for (int s = prefixes; s < samples; ++s)
    {
        std::vector<bool> mask(count);
        for (std::size_t i = 0; i < count; ++i)
            mask[i] = (random() & 1u) != 0;
        masks.push_back(mask);
    }
    return masks;
}

} // namespace

PowerLoss::PowerLoss(const std::string& scratch)
    : m_scratch(scratch),
      m_directory(scratch + "/files"),
      m_stateDirectory(scratch + "/crash"),
      m_previous(nullptr),
      m_recording(false),
      m_nodes(0),
      m_states(0)
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
    Log({Event::Acknowledge, -1, "", "", 0, ""});
}

void PowerLoss::Log(const Event& event)
{
    m_log.push_back(event);
}

int PowerLoss::Explore(const Checker& check, int samplesPerPoint)
{
    UnsyncedFiles unsynced;
    const ScopedFiles layer(unsynced);
    int violations = 0;
    std::set<std::size_t> seen;
    const auto run = [&](const State& state) {
        const std::string problem = check(state);
        if (problem.empty())
            return;
        ++violations;
        ADD_FAILURE() << state.description << ": " << problem;
    };
    for (std::size_t point = 0; point <= m_log.size(); ++point)
    {
        // A crash just before an acknowledgement is the same as one just
        // after it, which promises more: check that one only.
        if (point < m_log.size() && m_log[point].kind == Event::Acknowledge)
            continue;
        Model model;
        model.nodes.resize(static_cast<std::size_t>(m_nodes));
        int node = 0;
        for (const auto& [name, contents] : m_initial)
        {
            model.nodes[static_cast<std::size_t>(node)].durable = contents;
            model.durableNames[name] = node;
            model.liveNames[name] = node++;
        }
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
            EmptyDirectory(m_stateDirectory);
            for (const auto& [name, contents] : files)
                std::ofstream(m_stateDirectory + "/" + name, std::ios::binary) << contents;
            ++m_states;
            run({m_stateDirectory, model.acknowledged, point == m_log.size(), false,
                 "crash after operation " + std::to_string(point) + " of " + std::to_string(m_log.size()) +
                     ", combination " + std::to_string(m) + " of " + std::to_string(masks.size())});
        }
    }
    int acknowledged = 0;
    for (const Event& event : m_log)
        acknowledged += event.kind == Event::Acknowledge ? 1 : 0;
    run({m_directory, acknowledged, true, true, "the live directory after the run"});
    return violations;
}

std::string PowerLoss::NameOf(const std::string& path) const
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash);
    if (RealPath(directory) != m_realDirectory)
        return "";
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

int PowerLoss::Created(const std::string& name)
{
    const int node = m_nodes++;
    m_live[name] = node;
    Log({Event::Create, node, name, "", 0, ""});
    return node;
}

int PowerLoss::Open(const char* path, int flags, mode_t mode)
{
    const int fd = FaultyFiles::Open(path, flags, mode);
    if (fd < 0)
        return fd;
    if ((flags & O_DIRECTORY) != 0)
    {
        if (RealPath(path) == m_realDirectory)
            m_descriptors[fd] = -1;
        return fd;
    }
    const std::string name = NameOf(path);
    if (name.empty())
        return fd;
    const auto live = m_live.find(name);
    if (live == m_live.end())
    {
        m_descriptors[fd] = Created(name);
        return fd;
    }
    m_descriptors[fd] = live->second;
    if ((flags & O_TRUNC) != 0)
        Log({Event::Truncate, live->second, name, "", 0, ""});
    return fd;
}

int PowerLoss::CreateTemporary(char* pathTemplate)
{
    const int fd = FaultyFiles::CreateTemporary(pathTemplate);
    if (fd < 0)
        return fd;
    const std::string name = NameOf(pathTemplate);
    if (!name.empty())
        m_descriptors[fd] = Created(name);
    return fd;
}

ssize_t PowerLoss::Write(int fd, const void* data, std::size_t length)
{
    const auto tracked = m_descriptors.find(fd);
    uint64_t offset = 0;
    if (tracked != m_descriptors.end())
    {
        struct stat status;
        if ((fcntl(fd, F_GETFL) & O_APPEND) != 0 && fstat(fd, &status) == 0)
            offset = static_cast<uint64_t>(status.st_size);
        else
            offset = static_cast<uint64_t>(lseek(fd, 0, SEEK_CUR));
    }
    const ssize_t written = FaultyFiles::Write(fd, data, length);
    if (written > 0 && tracked != m_descriptors.end() && tracked->second >= 0)
        Log({Event::Write, tracked->second, "", "", offset,
             std::string(static_cast<const char*>(data), static_cast<std::size_t>(written))});
    return written;
}

int PowerLoss::Sync(int fd)
{
    // The medium is modelled, not used: no real fsync is needed (and none is
    // made, which keeps thousands of runs fast).
    const auto tracked = m_descriptors.find(fd);
    if (Inject(FileOp::Sync))
    {
        if (tracked != m_descriptors.end() && tracked->second >= 0)
            Log({Event::LoseUnsynced, tracked->second, "", "", 0, ""});
        return -1;
    }
    if (tracked != m_descriptors.end())
    {
        if (tracked->second < 0)
            Log({Event::SyncDirectory, -1, "", "", 0, ""});
        else
            Log({Event::SyncFile, tracked->second, "", "", 0, ""});
    }
    return 0;
}

void PowerLoss::SyncAll()
{
    Log({Event::SyncAll, -1, "", "", 0, ""});
}

int PowerLoss::Close(int fd)
{
    m_descriptors.erase(fd);
    return FaultyFiles::Close(fd);
}

int PowerLoss::Rename(const char* from, const char* to)
{
    const int result = FaultyFiles::Rename(from, to);
    const std::string fromName = NameOf(from);
    const std::string toName = NameOf(to);
    if (result != 0 || fromName.empty() || m_live.count(fromName) == 0)
        return result;
    if (toName.empty())
    {
        m_live.erase(fromName);
        Log({Event::Unlink, -1, fromName, "", 0, ""});
        return result;
    }
    m_live[toName] = m_live[fromName];
    m_live.erase(fromName);
    Log({Event::Rename, -1, fromName, toName, 0, ""});
    return result;
}

int PowerLoss::Unlink(const char* path)
{
    const int result = FaultyFiles::Unlink(path);
    const std::string name = NameOf(path);
    if (result == 0 && !name.empty() && m_live.erase(name) != 0)
        Log({Event::Unlink, -1, name, "", 0, ""});
    return result;
}

int PowerLoss::Truncate(int fd, off_t length)
{
    const int result = FaultyFiles::Truncate(fd, length);
    const auto tracked = m_descriptors.find(fd);
    if (result == 0 && tracked != m_descriptors.end() && tracked->second >= 0)
        Log({Event::Truncate, tracked->second, "", "", static_cast<uint64_t>(length), ""});
    return result;
}

} // namespace CoreTest
