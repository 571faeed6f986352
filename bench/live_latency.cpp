// The live latency of a serial replay. A drive's epochs are written into a
// pseudo-terminal at 10 Hz, one epoch at a time as a receiver sends them; the
// tool's replay machinery reads the other side as its serial device (the
// same SerialLink, SerialFeed, Replayer and record writer, one sync per
// record) and the time from an epoch's last byte being written to its record
// being synced (the write's completion back on the replay's loop) is taken
// per fix.
//   corelib_live_latency DRIVE.nmea [--smoke]
// Prints one line: "live latency: N fixes at 10 Hz, p50 X ms, p99 Y ms, max
// Z ms (goal: p99 <= 5 ms); L recorded only after the next epoch". With
// --smoke, 30 epochs; otherwise 300. Exits 1 when nothing was recorded.
#include "Field.h"
#include "Replayer.h"
#include "SerialFeed.h"
#include "SerialLink.h"
#include "ToolError.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

typedef std::chrono::steady_clock Clock;

const std::chrono::milliseconds kEpochInterval(100);
const std::chrono::microseconds kLook(500);

// The drive's lines grouped by epoch: an epoch starts at each GGA or RMC
// whose time of day differs from the open epoch's.
std::vector<std::string> Epochs(const std::string& path, std::size_t most)
{
    std::ifstream in(path);
    std::vector<std::string> epochs;
    std::string time;
    for (std::string line; std::getline(in, line) && epochs.size() <= most;)
    {
        const std::string type = line.size() > 6 ? line.substr(3, 3) : "";
        if (type == "GGA" || type == "RMC")
        {
            const std::string stamp = line.substr(7, line.find(',', 7) - 7);
            if (stamp != time || epochs.empty())
                epochs.emplace_back();
            time = stamp;
        }
        if (!epochs.empty())
            epochs.back() += line + "\n";
    }
    if (epochs.size() > most)
        epochs.pop_back();
    return epochs;
}

// A pseudo-terminal's master side in raw mode; its slave's name in slave.
int OpenTerminal(std::string& slave)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        return -1;
    termios attributes;
    tcgetattr(master, &attributes);
    cfmakeraw(&attributes);
    tcsetattr(master, TCSANOW, &attributes);
    slave = ptsname(master);
    return master;
}

// Removes the scratch directory and the record files in it.
void RemoveDirectory(const std::string& path)
{
    if (DIR* listing = opendir(path.c_str()))
    {
        while (const dirent* entry = readdir(listing))
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                unlink((path + "/" + entry->d_name).c_str());
        closedir(listing);
    }
    rmdir(path.c_str());
}

double Milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

int Measure(const std::string& drive, bool smoke)
{
    const std::vector<std::string> epochs = Epochs(drive, smoke ? 30 : 300);
    std::string slave;
    const int master = OpenTerminal(slave);
    if (epochs.empty() || master < 0)
    {
        std::fprintf(stderr, "live latency: no epochs in %s or no pseudo-terminal\n", drive.c_str());
        return 1;
    }
    char directory[] = "/tmp/live-latency-XXXXXX";
    if (mkdtemp(directory) == nullptr)
        return 1;
    const std::string records = std::string(directory) + "/fixes.rec";
    std::vector<double> latencies;
    int late = 0;
    {
        GuidanceTool::SerialLink link(slave, GuidanceTool::SerialLink::kDefaultBaud);
        GuidanceTool::Replayer replayer(GuidanceTool::Field::Sample(), records);
        GuidanceTool::SerialFeed feed(link, replayer);
        const Clock::time_point start = Clock::now();
        for (std::size_t i = 0; i < epochs.size(); ++i)
        {
            std::this_thread::sleep_until(start + kEpochInterval * static_cast<int>(i));
            const int before = replayer.RecordsWritten();
            if (write(master, epochs[i].data(), epochs[i].size()) != static_cast<ssize_t>(epochs[i].size()))
                return 1;
            const Clock::time_point sent = Clock::now();
            bool recorded = false;
            while (!recorded && Clock::now() - sent < kEpochInterval * 9 / 10)
            {
                // Short waits, so that a record synced by the worker is seen at once.
                feed.Step(kLook);
                replayer.ProcessCompletions();
                recorded = replayer.RecordsWritten() > before;
            }
            if (recorded)
                latencies.push_back(Milliseconds(Clock::now() - sent));
            else
                ++late;
        }
        replayer.Finish();
    }
    RemoveDirectory(directory);
    close(master);
    if (latencies.empty())
    {
        std::fprintf(stderr, "live latency: no fix was recorded\n");
        return 1;
    }
    std::sort(latencies.begin(), latencies.end());
    const auto at = [&](double share) {
        return latencies[std::min(latencies.size() - 1, static_cast<std::size_t>(share * latencies.size()))];
    };
    std::printf("live latency: %zu fixes at 10 Hz, p50 %.2f ms, p99 %.2f ms, max %.2f ms (goal: p99 <= 5 ms); %d "
                "recorded only after the next epoch\n",
                latencies.size(), at(0.5), at(0.99), latencies.back(), late);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::fprintf(stderr, "usage: corelib_live_latency DRIVE.nmea [--smoke]\n");
        return 2;
    }
    try
    {
        return Measure(argv[1], argc > 2 && std::strcmp(argv[2], "--smoke") == 0);
    }
    catch (const GuidanceTool::ToolError& error)
    {
        std::fprintf(stderr, "live latency: %s\n", error.what());
        return 1;
    }
}
