#include "Utilities/Time.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <iterator>
#include <limits>
#include <tuple>
#include <type_traits>
#include <unistd.h>
#include <utility>

using Core::MonotonicTime;
using Core::Time;

namespace
{

using Fields = std::pair<long, long>;

Fields F(const Time& t)
{
    return {t.Seconds(), t.Microseconds()};
}

// The library's first second of a GPS week starting at a UTC midnight (Unix
// seconds from a calendar), with the default 14 leap seconds: the library's GPS
// epoch lies one second before 1980-01-06 00:00.
Time GPSWeekStart(long unixMidnight)
{
    return Time(unixMidnight - 1 - 14);
}

// t after an in-place step.
template <typename Step>
Time After(Time t, Step step)
{
    step(t);
    return t;
}

std::pair<int, double> GPS(const Time& t)
{
    std::pair<int, double> weekAndSeconds(-1, -1);
    t.AsGPSTime(weekAndSeconds.first, weekAndSeconds.second);
    return weekAndSeconds;
}

std::pair<int, int> GPSMS(const Time& t)
{
    std::pair<int, int> weekAndMs(-1, -1);
    t.AsGPSTimeMS(weekAndMs.first, weekAndMs.second);
    return weekAndMs;
}

TEST(TimeTest, ConstructorsTruncateSaturateAndNeverNormalise)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<Time, Fields> cases[] = {
        {Time(-1.5), {-1, -500000}},
        {Time(2.9999999), {2, 999999}},
        {Time(-2147483648.0), {INT32_MIN, 0}},
        // Out of range and NaN saturate; the fraction (value - seconds) * 10^6 saturates too.
        {Time(nan), {INT32_MIN, INT32_MIN}},
        {Time(std::numeric_limits<double>::infinity()), {INT32_MIN, INT32_MIN}},
        {Time(2147483648.0), {INT32_MIN, INT32_MIN}},
        {Time(-2147483649.0), {INT32_MIN, -1000000}},
        {Time(5), {5, 0}},  // an int is whole seconds, not a double
        {Time::Milliseconds(-1500), {-1, -500000}},
        {Time(7L, 3000000L), {7, 3000000}},
        {Time(timespec{5, 999999999}), {5, 999999}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, F(c.first)) << c.second.first << "," << c.second.second;
    // A 64-bit long keeps its low 32 bits, as on the device.
    if constexpr (sizeof(long) > 4)
    {
        EXPECT_EQ(Fields(5, -1), F(Time(static_cast<long>(0x100000005LL), static_cast<long>(0x1FFFFFFFFLL))));
    }
}

TEST(TimeTest, AsTimeAndAsMillisecondsKeepTheirRoundingRulesAndThe32BitProduct)
{
    EXPECT_EQ(10, Time(10L, 499999L).AsTime());
    EXPECT_EQ(11, Time(10L, 500000L).AsTime());
    EXPECT_EQ(10, Time(10L, -700000L).AsTime());
    EXPECT_EQ(INT32_MIN, Time(static_cast<long>(INT32_MAX), 500000L).AsTime()) << "wraps in 32 bits";

    const std::tuple<long, long, long long> cases[] = {
        {3, 499, 3000},
        {3, 500, 3001},
        {3, 1000, 3002},  // 1000 - 1 > 499: an exact millisecond still rounds up
        {3, -1600, 2999},  // negative counts never round
        {2147483, 647000, 2147483648LL},  // the sum is not wrapped
        {3000000, 0, 3000000000LL - 4294967296LL},  // the product is
    };
    for (const auto& [seconds, microseconds, expected] : cases)
        EXPECT_EQ(expected, Time(seconds, microseconds).AsMilliseconds()) << seconds << "," << microseconds;
}

TEST(TimeTest, SumsCarryOnlyAboveOneMillionAndComparisonsSeeTheFieldsAsStored)
{
    static_assert(std::is_constructible_v<Time, int> && std::is_constructible_v<Time, long> &&
                      std::is_constructible_v<Time, double>,
                  "an integer second count is not ambiguous");
    static_assert(std::is_same_v<MonotonicTime, decltype(MonotonicTime() + 0.5)>);
    static_assert(std::is_same_v<Time, decltype(MonotonicTime() + Time())>, "inherited operators stay visible");
    const Time a(0L, 600000L);
    const std::pair<Time, Fields> cases[] = {
        {a + a, {0, 1200000}},
        {After(a, [&](Time& t) { t += a; }), {1, 200000}},
        {Time(0L, 1000001L) + Time(), {1, 1}},
        {Time(0L, 1000000L) + Time(0L, 500000L), {0, 1500000}},
        {a + 0.5, {0, 1100000}},
        {Time(5L, 200000L) - Time(3L, 700000L), {1, 500000}},
        {Time() - Time(0L, 2500000L), {-1, -1500000}}, // borrows once
        {Time(5L, 200000L) - 1.5, {3, 700000}},        // (5, 200000) - (1, 500000), one borrow
        {After(Time(), [](Time& t) { t.AddUS(1000000); }), {0, 1000000}},
        {After(Time(5L, 999999L), [](Time& t) { t.AddUS(2000002); }), {8, 1}},
        {After(Time(), [](Time& t) { t.AddUS(-2000000); }), {0, -2000000}},
        {After(Time(),
               [](Time& t) {
                   t.AddMS(1000);
                   t.AddMS(1);
               }),
         {1, 1000}},
        // A monotonic time adds a double field by field, without carrying.
        {MonotonicTime(0L) + 0.7 + 0.5, {0, 1200000}},
        {MonotonicTime(0L) + 0.7 + -1.5, {-1, 200000}},
        // 1.9 - 1 is 0.8999999999999999 in binary, so the added fraction truncates to 899999.
        {MonotonicTime(0L) + 0.5 + 1.9, {1, 1399999}},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].second, F(cases[i].first)) << "case " << i;

    // Comparisons see the fields as stored.
    const Time unnormalised(1L, 1000000L), next(2L, 0L);
    EXPECT_TRUE(unnormalised < next);
    EXPECT_TRUE(next >= unnormalised && next >= next && !(unnormalised >= next));
    EXPECT_TRUE(unnormalised != next);
    EXPECT_TRUE(next.Expired(next)) << "a deadline equal to now has expired";
    EXPECT_FALSE(next.Expired(unnormalised));
}

TEST(TimeTest, GPSWeekStartsMatchTheCalendarAndRoundTrip)
{
    // 1980-01-06, 1999-08-22 and 2019-04-07: weeks 0, 1024 and 2048.
    const std::pair<Time, int> starts[] = {
        {GPSWeekStart(315964800), 0}, {GPSWeekStart(935280000), 1024}, {GPSWeekStart(1554595200), 2048}};
    for (const auto& [start, week] : starts)
    {
        EXPECT_EQ(std::make_pair(week, 0.0), GPS(start));
        EXPECT_EQ(std::make_pair(week, 0), GPSMS(start));
        EXPECT_EQ(F(start), F(Time::FromGPSTime(week, 0.0)));
        EXPECT_EQ(F(start), F(Time::FromGPSTimeMS(week, 0)));
    }
    Time::SetLeapSeconds(18);
    EXPECT_EQ(315964781, Time::FromGPSTime(0, 0.0).Seconds());
    Time::SetLeapSeconds(14);

    // Microsecond truncation plus the single-precision step of the fraction.
    for (double tow : {345600.25, 604799.5, 12.000001, 86399.999999})
        EXPECT_NEAR(tow, GPS(Time::FromGPSTime(2300, tow)).second, 2e-6) << tow;
    for (int ms : {999, 1000, 604799999})
        EXPECT_EQ(std::make_pair(1777, ms), GPSMS(Time::FromGPSTimeMS(1777, ms)));
}

TEST(TimeTest, GPSFractionsTruncateUseSinglePrecisionAndTheSecondCountWraps)
{
    const long start = GPSWeekStart(1554595200).Seconds();
    EXPECT_EQ(7999, GPSMS(Time(start + 7L, 999999L)).second) << "999999 us adds 999 ms, never 1000";
    EXPECT_EQ(7.0 + static_cast<double>(0.1f), GPS(Time(start + 7L, 100000L)).second)
        << "the fraction is the float nearest 0.1";
    // A negative millisecond count goes backwards and leaves the microseconds negative.
    EXPECT_EQ(Fields(315964799L - 14 + 604800 - 1, -500000), F(Time::FromGPSTimeMS(1, -1500)));

    // (-2^31 + 14 - 315964799) + 2^32 = 1831518863 = 3028 * 604800 + 184463.
    const Time earliest(static_cast<long>(INT32_MIN));
    EXPECT_EQ(std::make_pair(3028, 184463.0), GPS(earliest));
    EXPECT_EQ(std::make_pair(3028, 184463000), GPSMS(earliest));
}

TEST(ClockTest, NowFollowsItsClockMonotonicTimeNeverGoesBackwardsAndDeadlinesExpire)
{
    const long wallBefore = static_cast<long>(std::time(nullptr));
    const long wallNow = Time::Now().Seconds();
    EXPECT_GE(wallNow, wallBefore);
    EXPECT_LE(wallNow, static_cast<long>(std::time(nullptr)));

    const auto monotonicClock = [] {
        timespec ts{};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        return Time(ts);
    };
    const Time before = monotonicClock();
    MonotonicTime previous = MonotonicTime::Now();
    EXPECT_LE(before, previous);
    EXPECT_LE(previous, monotonicClock());
    for (int i = 0; i < 20000; ++i)
    {
        const MonotonicTime next = MonotonicTime::Now();
        ASSERT_LE(previous, next) << "after " << i << " reads";
        ASSERT_LT(next.Microseconds(), 1000000);
        previous = next;
    }

    const MonotonicTime deadline = MonotonicTime::TimerMs(50);
    EXPECT_FALSE(deadline.Expired(MonotonicTime::Now()));
    usleep(80000);
    EXPECT_TRUE(deadline.Expired(MonotonicTime::Now()));
    EXPECT_FALSE(MonotonicTime::Timer(60).Expired(MonotonicTime::Now()));

    EXPECT_TRUE(Time::Timer(-60).InPast() && !Time::Timer(-60).InFuture());
    EXPECT_TRUE(Time::Timer(60).InFuture() && !Time::Timer(60).InPast());
    // Seconds since system start, compared with the wall clock's seconds since 1970.
    EXPECT_TRUE(MonotonicTime::Timer(60).InPast());
}

} // namespace
