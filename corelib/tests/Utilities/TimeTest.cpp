#include "Utilities/Time.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <limits>
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

// Unix seconds of a UTC calendar date, from the C library rather than the code under test.
long UnixMidnight(int year, int month, int day)
{
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    return static_cast<long>(timegm(&tm));
}

// Every test starts and ends with the default 14 leap seconds.
class TimeTest : public ::testing::Test
{
protected:
    void SetUp() override { Time::SetLeapSeconds(14); }
    void TearDown() override { Time::SetLeapSeconds(14); }
};

TEST_F(TimeTest, DoubleConstructorTruncatesBothFieldsTowardZero)
{
    const struct
    {
        double value;
        Fields expected;
    } cases[] = {
        {2.5, {2, 500000}},
        {-0.25, {0, -250000}},
        {-1.5, {-1, -500000}},
        {2.9999999, {2, 999999}},
        {1e-7, {0, 0}},
        {2147483647.0, {INT32_MAX, 0}},
        {-2147483648.0, {INT32_MIN, 0}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, F(Time(c.value))) << c.value;
    EXPECT_EQ(1.25, Time(1L, 250000L).AsDouble());
    EXPECT_EQ(Fields(5, 0), F(Time(5))) << "an int is whole seconds, not a double";
}

TEST_F(TimeTest, NaNAndOutOfRangeDoublesSaturateToTheMostNegativeValue)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (double v : {nan, inf, -inf, 2147483648.0, 3e9, -2147483649.0, -3e9})
        EXPECT_EQ(INT32_MIN, Time(v).Seconds()) << v;
    EXPECT_EQ(Fields(INT32_MIN, INT32_MIN), F(Time(nan)));
}

TEST_F(TimeTest, OtherConstructorsConvertWithoutNormalising)
{
    EXPECT_EQ(Fields(-1, -500000), F(Time::Milliseconds(-1500)));
    EXPECT_EQ(Fields(2, 500000), F(Time::Milliseconds(2500)));
    EXPECT_EQ(Fields(7, 3000000), F(Time(7L, 3000000L)));

    const timespec ts{5, 999999999};
    EXPECT_EQ(Fields(5, 999999), F(Time(ts))) << "nanoseconds truncate";

    if constexpr (sizeof(long) > 4)
    {
        // A 64-bit long keeps its low 32 bits, as on the device.
        EXPECT_EQ(Fields(5, -1), F(Time(static_cast<long>(0x100000005LL), static_cast<long>(0x1FFFFFFFFLL))));
        EXPECT_EQ(INT32_MIN, Time(static_cast<long>(0x80000000LL)).Seconds());
    }

}

TEST_F(TimeTest, AsTimeRoundsHalfUpOnTheMicroseconds)
{
    EXPECT_EQ(10, Time(10L, 499999L).AsTime());
    EXPECT_EQ(11, Time(10L, 500000L).AsTime());
    EXPECT_EQ(10, Time(10L, -700000L).AsTime());
    EXPECT_EQ(INT32_MIN, Time(static_cast<long>(INT32_MAX), 500000L).AsTime()) << "wraps in 32 bits";
}

TEST_F(TimeTest, AsMillisecondsKeepsItsRoundingRuleAndThe32BitProduct)
{
    const struct
    {
        long seconds, microseconds;
        long long expected;
    } cases[] = {
        {3, 499, 3000},
        {3, 500, 3001},
        {3, 1000, 3002},  // 1000 - 1 > 499: an exact millisecond still rounds up
        {3, 1499, 3002},
        {3, -600, 3000},  // negative counts never round
        {3, -1600, 2999},
        {2147483, 647000, 2147483648LL},
        // 3000000 * 1000 = 3000000000 wraps to 3000000000 - 2^32.
        {3000000, 0, -1294967296LL},
        {2147484, 0, 2147484000LL - 4294967296LL},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, Time(c.seconds, c.microseconds).AsMilliseconds()) << c.seconds << "," << c.microseconds;
}

TEST_F(TimeTest, AddUSCarriesOnlyAboveOneMillion)
{
    const struct
    {
        Fields start;
        int add;
        Fields expected;
    } cases[] = {
        {{0, 0}, 1000000, {0, 1000000}},
        {{0, 0}, 1000001, {1, 1}},
        {{5, 999999}, 2000002, {8, 1}},
        {{0, 0}, -2000000, {0, -2000000}},
        {{1, 1000000}, 0, {1, 1000000}},
    };
    for (const auto& c : cases)
    {
        Time t(c.start.first, c.start.second);
        t.AddUS(c.add);
        EXPECT_EQ(c.expected, F(t)) << c.start.first << "," << c.start.second << " + " << c.add;
    }

    Time t;
    t.AddMS(1000);
    EXPECT_EQ(Fields(0, 1000000), F(t));
    t.AddMS(1);
    EXPECT_EQ(Fields(1, 1000), F(t));
    t.AddSeconds(-3);
    EXPECT_EQ(Fields(-2, 1000), F(t));
}

TEST_F(TimeTest, PlusNormalisesOnlyWhenTheLeftOperandIsAboveOneMillion)
{
    const Time a(0L, 600000L);
    EXPECT_EQ(Fields(0, 1200000), F(a + a));
    Time b = a;
    b += a;
    EXPECT_EQ(Fields(1, 200000), F(b));

    EXPECT_EQ(Fields(1, 1), F(Time(0L, 1000001L) + Time()));
    EXPECT_EQ(Fields(0, 1500000), F(Time(0L, 1000000L) + Time(0L, 500000L)));
    EXPECT_EQ(Fields(0, 1100000), F(a + 0.5)) << "operator+(double) inherits the asymmetry";
    EXPECT_EQ(Fields(-1, 100000), F(a - 1.5));
}

TEST_F(TimeTest, MinusBorrowsOnce)
{
    EXPECT_EQ(Fields(1, 500000), F(Time(5L, 200000L) - Time(3L, 700000L)));
    EXPECT_EQ(Fields(-1, -1500000), F(Time() - Time(0L, 2500000L)));
    Time t(2L, 0L);
    t -= Time(0L, 1L);
    EXPECT_EQ(Fields(1, 999999), F(t));
}

TEST_F(TimeTest, ComparisonsSeeTheFieldsAsStored)
{
    const Time unnormalised(1L, 1000000L), next(2L, 0L);
    EXPECT_TRUE(unnormalised < next);
    EXPECT_TRUE(unnormalised != next);
    EXPECT_FALSE(unnormalised == next);
    EXPECT_TRUE(Time(1L, -1L) < Time(1L, 0L));
    EXPECT_TRUE(Time(-1L, 5L) < Time(0L, -5L));

    EXPECT_TRUE(next.Expired(next)) << "a deadline equal to now has expired";
    EXPECT_TRUE(unnormalised.Expired(next));
    EXPECT_FALSE(next.Expired(unnormalised));
}

TEST_F(TimeTest, GPSWeekStartsMatchTheCalendar)
{
    // The library places GPS second 0 one second before 1980-01-06 00:00 UTC,
    // then subtracts the leap seconds.
    const struct
    {
        long unixMidnight;
        int week;
    } cases[] = {
        {UnixMidnight(1980, 1, 6), 0},
        {UnixMidnight(1999, 8, 22), 1024},
        {UnixMidnight(2019, 4, 7), 2048},
    };
    for (const auto& c : cases)
    {
        const Time start(c.unixMidnight - 1 - 14);
        int week = -1, ms = -1;
        double tow = -1;
        start.AsGPSTime(week, tow);
        EXPECT_EQ(c.week, week);
        EXPECT_EQ(0.0, tow);
        start.AsGPSTimeMS(week, ms);
        EXPECT_EQ(c.week, week);
        EXPECT_EQ(0, ms);
        EXPECT_EQ(F(start), F(Time::FromGPSTime(c.week, 0.0)));
        EXPECT_EQ(F(start), F(Time::FromGPSTimeMS(c.week, 0)));
    }
    EXPECT_EQ(315964785, Time::FromGPSTime(0, 0.0).Seconds());

    Time::SetLeapSeconds(18);
    EXPECT_EQ(315964781, Time::FromGPSTime(0, 0.0).Seconds());
}

TEST_F(TimeTest, GPSRoundTrips)
{
    const struct
    {
        int week;
        double tow;
    } cases[] = {{0, 0.0}, {1024, 345600.25}, {2048, 604799.5}, {2300, 12.000001}, {1950, 86399.999999}};
    for (const auto& c : cases)
    {
        int week = -1;
        double tow = -1;
        Time::FromGPSTime(c.week, c.tow).AsGPSTime(week, tow);
        EXPECT_EQ(c.week, week);
        // Microsecond truncation plus the single-precision step of the fraction.
        EXPECT_NEAR(c.tow, tow, 2e-6) << c.week << " " << c.tow;
    }
    for (int ms : {0, 1, 999, 1000, 86399999, 604799999})
    {
        int week = -1, msOfWeek = -1;
        Time::FromGPSTimeMS(1777, ms).AsGPSTimeMS(week, msOfWeek);
        EXPECT_EQ(1777, week);
        EXPECT_EQ(ms, msOfWeek);
    }
}

TEST_F(TimeTest, GPSFractionsTruncateAndUseSinglePrecision)
{
    const Time start(UnixMidnight(2019, 4, 7) - 15);
    int week = 0, ms = 0;
    double tow = 0;
    Time(start.Seconds() + 7L, 999999L).AsGPSTimeMS(week, ms);
    EXPECT_EQ(7999, ms) << "999999 us adds 999 ms, never 1000";

    Time(start.Seconds() + 7L, 100000L).AsGPSTime(week, tow);
    EXPECT_EQ(7.0 + static_cast<double>(0.1f), tow) << "the fraction is the float nearest 0.1";
    EXPECT_NE(7.1, tow);

    // A negative millisecond count goes backwards and leaves the microseconds negative.
    const Time back = Time::FromGPSTimeMS(1, -1500);
    EXPECT_EQ(Fields(315964799L - 14 + 604800 - 1, -500000), F(back));
}

TEST_F(TimeTest, GPSSecondCountWrapsIn32Bits)
{
    // (-2^31 + 14 - 315964799) + 2^32 = 1831518863 = 3028 * 604800 + 184463.
    int week = 0, ms = 0;
    double tow = 0;
    const Time earliest(static_cast<long>(INT32_MIN));
    earliest.AsGPSTime(week, tow);
    EXPECT_EQ(3028, week);
    EXPECT_EQ(184463.0, tow);
    earliest.AsGPSTimeMS(week, ms);
    EXPECT_EQ(3028, week);
    EXPECT_EQ(184463000, ms);
}

TEST(MonotonicTimeTest, PlusDoubleAddsFieldByFieldAndTruncates)
{
    static_assert(std::is_same_v<MonotonicTime, decltype(MonotonicTime() + 0.5)>);
    static_assert(std::is_same_v<Time, decltype(MonotonicTime() + Time())>, "inherited operators stay visible");
    static_assert(std::is_same_v<Time, decltype(MonotonicTime() - 0.5)>);

    const MonotonicTime a = MonotonicTime(0L) + 0.7;
    EXPECT_EQ(Fields(0, 700000), F(a));
    EXPECT_EQ(Fields(0, 1200000), F(a + 0.5));
    // 1.9 - 1 is 0.8999999999999999 in binary, so the added fraction truncates to 899999.
    EXPECT_EQ(Fields(1, 1399999), F(MonotonicTime(0L) + 0.5 + 1.9));
    EXPECT_EQ(Fields(-1, 200000), F(a + -1.5));
}

TEST(MonotonicTimeTest, FollowsTheMonotonicClockAndNeverGoesBackwards)
{
    timespec before{}, after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const MonotonicTime now = MonotonicTime::Now();
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_LE(Time(static_cast<long>(before.tv_sec), before.tv_nsec / 1000L), now);
    EXPECT_LE(now, Time(static_cast<long>(after.tv_sec), after.tv_nsec / 1000L));

    MonotonicTime previous = MonotonicTime::Now();
    for (int i = 0; i < 20000; ++i)
    {
        const MonotonicTime next = MonotonicTime::Now();
        ASSERT_LE(previous, next) << "after " << i << " reads";
        ASSERT_LT(next.Microseconds(), 1000000);
        previous = next;
    }
}

TEST(MonotonicTimeTest, DeadlinesExpireAfterTheirDelay)
{
    const MonotonicTime deadline = MonotonicTime::TimerMs(50);
    const MonotonicTime later = MonotonicTime::Timer(60);
    EXPECT_FALSE(deadline.Expired(MonotonicTime::Now()));
    usleep(80000);
    EXPECT_TRUE(deadline.Expired(MonotonicTime::Now()));
    EXPECT_FALSE(later.Expired(MonotonicTime::Now()));

    EXPECT_TRUE(Time::Timer(60).InFuture());
    EXPECT_TRUE(Time::TimerMs(-2000).InPast());
    EXPECT_FALSE(Time::Timer(-60).Expired(Time(0L)));
}

TEST(WallClockTest, NowAgreesWithTheCLibraryClock)
{
    const long before = static_cast<long>(std::time(nullptr));
    const Time now = Time::Now();
    EXPECT_GE(now.Seconds(), before);
    EXPECT_LE(now.Seconds(), static_cast<long>(std::time(nullptr)));
}

} // namespace
