// Shared pieces of the tests that kill a writer at random moments and then
// check that a replaced file holds one whole version: numbered contents that
// identify themselves, and the check of what else remains in the directory.
#ifndef CORELIB_TESTS_SUPPORT_CRASHCONSISTENCY_H
#define CORELIB_TESTS_SUPPORT_CRASHCONSISTENCY_H

#include "Support/TestSupport.h"

#include <functional>
#include <string>

namespace CoreTest
{

// Kills per test; each round is one child killed at a random moment.
constexpr unsigned int kCrashRounds = 50;
// The longest delay between the child's last counted report and the kill.
// Longer under emulation and the sanitizers, where each write takes longer.
constexpr long kCrashDelayMicroseconds = kTargetEmulated || kSanitized ? 20000 : 5000;

// Contents that name their version on the first line ("version N") and
// continue with bytes derived from it; sizes range up to about 200 KB so
// that a kill can land inside the writing of one.
std::string VersionContents(unsigned int version);

// The version named by the first "version N" in contents, which may be
// wrapped in a format of its own; false when there is none.
bool VersionOf(const std::string& contents, unsigned int& version);

// Fails the test unless the directory holds target and at most one other
// entry, a temporary file whose name starts with target's; removes that
// entry so that the next round starts clean.
void ExpectAtMostOneTemporary(const TempDir& dir, const std::string& target);

// Fails the test unless the file target in dir holds expected(v) exactly,
// for some v from low to high, and at most one temporary file remains beside
// it; stores v in found.
void ExpectOneWholeVersion(const TempDir& dir, const std::string& target, unsigned int low,
                           unsigned int high, unsigned int* found,
                           const std::function<std::string(unsigned int)>& expected = VersionContents);

// kCrashRounds rounds of a child that writes versions one after another
// through write (which returns whether the library acknowledged the
// version) and is killed after a random number of acknowledged versions and
// a random delay, both drawn from seed. After each
// round the target must hold expected(v) for the last acknowledged version
// or the one in progress, with at most one temporary file beside it. The
// target must already hold expected(0) or a later version.
void KillVersionWriterRounds(const TempDir& dir, const std::string& target,
                             const std::function<bool(unsigned int)>& write, unsigned int seed,
                             const std::function<std::string(unsigned int)>& expected = VersionContents);

} // namespace CoreTest

#endif
