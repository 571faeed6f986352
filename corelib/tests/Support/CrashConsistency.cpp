#include "Support/CrashConsistency.h"

#include "Support/KilledChild.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

namespace CoreTest
{

std::string VersionContents(unsigned int version)
{
    std::string contents = "version " + std::to_string(version) + "\n";
    const unsigned int size = (version * 40503u) % 200000u;
    unsigned int state = version * 2246822519u + 7;
    contents.reserve(contents.size() + size);
    for (unsigned int i = 0; i < size; ++i)
    {
        state = state * 1664525u + 1013904223u;
        contents.push_back(static_cast<char>('a' + (state >> 24) % 26));
    }
    return contents;
}

bool VersionOf(const std::string& contents, unsigned int& version)
{
    const size_t at = contents.find("version ");
    return at != std::string::npos && std::sscanf(contents.c_str() + at, "version %u", &version) == 1;
}

void ExpectAtMostOneTemporary(const TempDir& dir, const std::string& target)
{
    unsigned int others = 0;
    for (const std::string& name : dir.List())
    {
        if (name == target)
            continue;
        ++others;
        EXPECT_EQ(0u, name.rfind(target, 0)) << "unexpected file " << name;
        std::remove(dir.File(name).c_str());
    }
    EXPECT_LE(others, 1u) << "temporary files left beside " << target;
}

void ExpectOneWholeVersion(const TempDir& dir, const std::string& target, unsigned int low,
                           unsigned int high, unsigned int* found,
                           const std::function<std::string(unsigned int)>& expected)
{
    const std::string contents = ReadBytes(dir.File(target));
    unsigned int version = 0;
    ASSERT_TRUE(VersionOf(contents, version)) << target << " lost its contents (" << contents.size()
                                              << " bytes)";
    ASSERT_GE(version, low) << target << " went back to an older version";
    ASSERT_LE(version, high) << target << " holds a version never written";
    ASSERT_TRUE(contents == expected(version)) << target << " holds a partial version " << version;
    *found = version;
    ExpectAtMostOneTemporary(dir, target);
}

void KillVersionWriterRounds(const TempDir& dir, const std::string& target,
                             const std::function<bool(unsigned int)>& write, unsigned int seed,
                             const std::function<std::string(unsigned int)>& expected)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<unsigned int> reports(0, 3);
    std::uniform_int_distribution<long> delay(0, kCrashDelayMicroseconds);
    unsigned int current = 0;
    for (unsigned int round = 0; round < kCrashRounds; ++round)
    {
        SCOPED_TRACE("round " + std::to_string(round));
        const unsigned int first = current + 1;
        const unsigned int killAfter = reports(random);
        const KilledChildResult run = RunAndKill(
            [&](ChildReporter& reporter) {
                for (unsigned int version = first; version < first + 1000; ++version)
                {
                    if (write(version))
                        reporter.Report(std::to_string(version));
                }
            },
            killAfter, delay(random));
        ASSERT_GE(run.reports.size(), killAfter) << "the child stopped acknowledging versions";
        unsigned int acknowledged = current;
        if (!run.reports.empty())
            acknowledged = static_cast<unsigned int>(std::stoul(run.reports.back()));
        // The version after the last acknowledged one may have been renamed
        // into place just before the kill.
        ASSERT_NO_FATAL_FAILURE(
            ExpectOneWholeVersion(dir, target, acknowledged, acknowledged + 1, &current, expected));
    }
}

} // namespace CoreTest
