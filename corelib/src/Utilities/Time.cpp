#include "Utilities/Time.h"

#include <cmath>
#include <limits>

namespace Core
{

int Time::s_leapSeconds = 14;

namespace
{
constexpr std::int32_t kMicrosecondsPerSecond = 1000000;
constexpr std::int32_t kMicrosecondsPerMillisecond = 1000;
constexpr std::int32_t kNanosecondsPerMicrosecond = 1000;
constexpr std::int32_t kSecondsPerGPSWeek = 604800;
// Unix second of GPS second 0 before the leap seconds are added. One less than
// midnight of 1980-01-06; used in both directions, so round trips are exact.
constexpr std::int32_t kGPSEpochOffset = 315964799;

// The 32-bit two's-complement arithmetic of the device, defined on every host.
std::int32_t Wrap32(long long value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::int32_t Add32(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t Sub32(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

std::int32_t Mul32(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Truncation toward zero that saturates as the device's conversion does: NaN
// and values outside the 32-bit range give the most negative value.
std::int32_t TruncateToInt32(double value)
{
    const double whole = std::trunc(value);
    if (!(whole >= -2147483648.0 && whole <= 2147483647.0))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(whole);
}

// The clock of T read now, then moved by one of Time's Add operations.
template <class T>
T ClockPlus(void (Time::*add)(int), int amount)
{
    T deadline = T::Now();
    (deadline.*add)(amount);
    return deadline;
}

// The seconds since the GPS epoch, wrapping in 32 bits.
std::int32_t GPSSeconds(std::int32_t unixSeconds)
{
    return Sub32(Add32(unixSeconds, Time::s_leapSeconds), kGPSEpochOffset);
}
} // namespace

Time::Time() : m_seconds(0), m_microseconds(0) {}

Time::Time(int seconds) : m_seconds(seconds), m_microseconds(0) {}

Time::Time(long seconds) : m_seconds(Wrap32(seconds)), m_microseconds(0) {}

Time::Time(long seconds, long microseconds) : m_seconds(Wrap32(seconds)), m_microseconds(Wrap32(microseconds))
{
}

Time::Time(double seconds)
    : m_seconds(TruncateToInt32(seconds)),
      m_microseconds(TruncateToInt32((seconds - m_seconds) * 1000000.0))
{
}

Time::Time(const timeval& tv) : m_seconds(Wrap32(tv.tv_sec)), m_microseconds(Wrap32(tv.tv_usec)) {}

Time::Time(const timespec& ts)
    : m_seconds(Wrap32(ts.tv_sec)), m_microseconds(Wrap32(ts.tv_nsec / kNanosecondsPerMicrosecond))
{
}

Time::~Time() = default;

Time Time::Milliseconds(int ms)
{
    return Time(static_cast<long>(ms / 1000), static_cast<long>((ms % 1000) * kMicrosecondsPerMillisecond));
}

double Time::AsDouble() const
{
    return m_seconds + m_microseconds / 1000000.0;
}

long Time::AsTime() const
{
    return m_microseconds >= 500000 ? Add32(m_seconds, 1) : m_seconds;
}

long long Time::AsMilliseconds() const
{
    long long ms = m_microseconds / kMicrosecondsPerMillisecond;
    // Not a remainder test: subtracting the millisecond count from the
    // microsecond count rounds up every non-negative count of 500 or more.
    if (static_cast<long long>(m_microseconds) - ms > 499)
        ++ms;
    return ms + Mul32(m_seconds, 1000);
}

void Time::AsTimeval(timeval& tv) const
{
    tv.tv_sec = m_seconds;
    tv.tv_usec = m_microseconds;
}

void Time::AsTimespec(timespec& ts) const
{
    ts.tv_sec = m_seconds;
    ts.tv_nsec = Mul32(m_microseconds, kNanosecondsPerMicrosecond);
}

void Time::AsGPSTime(int& week, double& timeOfWeek) const
{
    const std::int32_t g = GPSSeconds(m_seconds);
    week = g / kSecondsPerGPSWeek;
    const float fraction = static_cast<float>(m_microseconds) / 1000000.0f;
    timeOfWeek = static_cast<double>(g % kSecondsPerGPSWeek) + static_cast<double>(fraction);
}

void Time::AsGPSTimeMS(int& week, int& msOfWeek) const
{
    const std::int32_t g = GPSSeconds(m_seconds);
    week = g / kSecondsPerGPSWeek;
    msOfWeek = Add32(Mul32(g % kSecondsPerGPSWeek, 1000), m_microseconds / kMicrosecondsPerMillisecond);
}

Time Time::FromGPSTime(int week, double timeOfWeek)
{
    const double t = std::fma(static_cast<double>(week), kSecondsPerGPSWeek, timeOfWeek);
    return Time(t + kGPSEpochOffset - static_cast<double>(s_leapSeconds));
}

Time Time::FromGPSTimeMS(int week, int msOfWeek)
{
    Time result(static_cast<double>(week) * kSecondsPerGPSWeek + kGPSEpochOffset - static_cast<double>(s_leapSeconds));
    result.AddSeconds(msOfWeek / 1000);
    result.AddMS(msOfWeek % 1000);
    return result;
}

void Time::SetLeapSeconds(int leapSeconds)
{
    s_leapSeconds = leapSeconds;
}

void Time::AddSeconds(int seconds)
{
    m_seconds = Add32(m_seconds, seconds);
}

void Time::AddUS(int microseconds)
{
    m_microseconds = Add32(m_microseconds, microseconds);
    CarryMicroseconds();
}

void Time::AddMS(int milliseconds)
{
    AddUS(Mul32(milliseconds, kMicrosecondsPerMillisecond));
}

void Time::CarryMicroseconds()
{
    // Strictly greater: a field of exactly 1000000 is left as it is.
    if (m_microseconds > kMicrosecondsPerSecond)
    {
        m_seconds = Add32(m_seconds, m_microseconds / kMicrosecondsPerSecond);
        m_microseconds %= kMicrosecondsPerSecond;
    }
}

Time Time::operator+(const Time& other) const
{
    Time sum(*this);
    sum.m_seconds = Add32(m_seconds, other.m_seconds);
    sum.m_microseconds = Add32(m_microseconds, other.m_microseconds);
    // Only the left operand's own field decides whether the sum is normalised.
    if (m_microseconds > kMicrosecondsPerSecond)
        sum.CarryMicroseconds();
    return sum;
}

Time& Time::operator+=(const Time& other)
{
    m_seconds = Add32(m_seconds, other.m_seconds);
    m_microseconds = Add32(m_microseconds, other.m_microseconds);
    CarryMicroseconds();
    return *this;
}

Time Time::operator-(const Time& other) const
{
    Time difference(*this);
    difference -= other;
    return difference;
}

Time& Time::operator-=(const Time& other)
{
    m_seconds = Sub32(m_seconds, other.m_seconds);
    m_microseconds = Sub32(m_microseconds, other.m_microseconds);
    // One borrow only: a difference below -1000000 stays negative.
    if (m_microseconds < 0)
    {
        m_seconds = Sub32(m_seconds, 1);
        m_microseconds = Add32(m_microseconds, kMicrosecondsPerSecond);
    }
    return *this;
}

Time Time::operator+(double seconds) const
{
    return *this + Time(seconds);
}

Time Time::operator-(double seconds) const
{
    return *this - Time(seconds);
}

bool Time::operator<(const Time& other) const
{
    return m_seconds < other.m_seconds || (m_seconds == other.m_seconds && m_microseconds < other.m_microseconds);
}

bool Time::operator>(const Time& other) const
{
    return other < *this;
}

bool Time::operator<=(const Time& other) const
{
    return !(other < *this);
}

bool Time::operator>=(const Time& other) const
{
    return !(*this < other);
}

bool Time::operator==(const Time& other) const
{
    return m_seconds == other.m_seconds && m_microseconds == other.m_microseconds;
}

bool Time::operator!=(const Time& other) const
{
    return !(*this == other);
}

bool Time::Expired(const Time& now) const
{
    return *this <= now;
}

bool Time::InPast() const
{
    return *this < Now();
}

bool Time::InFuture() const
{
    return *this > Now();
}

Time Time::Now()
{
    Time now;
    GetTimeOfDay(now);
    return now;
}

int Time::GetTimeOfDay(Time& t)
{
    // timeval's fields are 64-bit on a 64-bit host, so the clock is read into
    // one and copied rather than written over the 32-bit fields directly.
    timeval tv{};
    const int result = gettimeofday(&tv, nullptr);
    if (result == 0)
        t = Time(tv);
    return result;
}

Time Time::Timer(int seconds)
{
    return ClockPlus<Time>(&Time::AddSeconds, seconds);
}

Time Time::TimerMs(int ms)
{
    return ClockPlus<Time>(&Time::AddMS, ms);
}

MonotonicTime::MonotonicTime() = default;

MonotonicTime::MonotonicTime(long seconds) : Time(seconds) {}

MonotonicTime::~MonotonicTime() = default;

MonotonicTime MonotonicTime::Now()
{
    MonotonicTime now;
    GetTimeOfDay(now);
    return now;
}

int MonotonicTime::GetTimeOfDay(MonotonicTime& t)
{
    timespec ts{};
    const int result = clock_gettime(CLOCK_MONOTONIC, &ts);
    t.m_seconds = Wrap32(ts.tv_sec);
    t.m_microseconds = Wrap32(ts.tv_nsec / kNanosecondsPerMicrosecond);
    return result;
}

MonotonicTime MonotonicTime::Timer(int seconds)
{
    return ClockPlus<MonotonicTime>(&Time::AddSeconds, seconds);
}

MonotonicTime MonotonicTime::TimerMs(int ms)
{
    return ClockPlus<MonotonicTime>(&Time::AddMS, ms);
}

bool MonotonicTime::Expired(const MonotonicTime& now) const
{
    return Time::Expired(now);
}

MonotonicTime MonotonicTime::operator+(double seconds) const
{
    MonotonicTime sum(*this);
    sum.m_seconds = Add32(m_seconds, TruncateToInt32(seconds));
    sum.m_microseconds = Add32(m_microseconds, TruncateToInt32((seconds - std::trunc(seconds)) * 1000000.0));
    return sum;
}

} // namespace Core
