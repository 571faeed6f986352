// Instants and durations as whole seconds plus microseconds, read from the wall
// clock (Time) or the monotonic clock (MonotonicTime), with conversions to
// double seconds, timeval, timespec, milliseconds and GPS week/time of week,
// and the deadline helpers every time-out in the library is built from.
//
// Both fields are signed 32-bit on every host, and the arithmetic wraps in 32
// bits where a device with a 32-bit `long` wraps, so values, stored data and
// deadlines are identical on a 64-bit build. The microsecond field is
// normalised only where an operation says so: several operations leave it
// negative or at 1000000 and above, and comparisons see it as stored.
//
// Threading: values carry no lock; share them by copying. s_leapSeconds is an
// unguarded global meant to be set once, from one thread.
#ifndef CORELIB_UTILITIES_TIME_H
#define CORELIB_UTILITIES_TIME_H

#include <cstdint>
#include <sys/time.h>
#include <time.h>

namespace Core
{

class Time
{
public:
    // Seconds by which GPS time is ahead of UTC; used by all four GPS
    // conversions. Initially 14.
    static int s_leapSeconds;

    // (0, 0).
    Time();
    // (seconds, 0). The int form exists so that Time(5) is not ambiguous.
    Time(int seconds);
    // (seconds, 0); a value outside 32 bits keeps its low 32 bits.
    Time(long seconds);
    // Both fields as given, not normalised; each keeps its low 32 bits.
    Time(long seconds, long microseconds);
    // Seconds truncated toward zero, then the fraction times 1000000 truncated
    // toward zero: -1.5 gives (-1, -500000). NaN or a value outside the 32-bit
    // range gives the most negative 32-bit value in either field.
    Time(double seconds);
    // Copies tv_sec and tv_usec.
    Time(const timeval& tv);
    // tv_sec, and tv_nsec / 1000 truncated toward zero.
    Time(const timespec& ts);
    Time(const Time&) = default;
    Time& operator=(const Time&) = default;
    virtual ~Time();

    // (ms / 1000, (ms % 1000) * 1000) with truncating division: -1500 gives (-1, -500000).
    static Time Milliseconds(int ms);

    // The two fields as stored.
    std::int32_t Seconds() const { return m_seconds; }
    std::int32_t Microseconds() const { return m_microseconds; }

    // seconds + microseconds / 1000000.0.
    double AsDouble() const;
    // Seconds, plus one when the microsecond field is 500000 or more.
    long AsTime() const;
    // Milliseconds; rounds up by one whenever (microseconds - microseconds / 1000)
    // exceeds 499, so 1000 us counts as 2 ms. The seconds * 1000 product wraps in
    // 32 bits before widening: exact only up to 2147483 s (about 24.8 days of uptime).
    long long AsMilliseconds() const;
    // Copies the fields into tv_sec and tv_usec.
    void AsTimeval(timeval& tv) const;
    // tv_nsec = microseconds * 1000, wrapping in 32 bits.
    void AsTimespec(timespec& ts) const;
    // GPS week and time of week in seconds since 1980-01-06. The sub-second part
    // is computed in single precision (steps of about 0.06 us near one second).
    void AsGPSTime(int& week, double& timeOfWeek) const;
    // GPS week and whole milliseconds of the week; the microseconds are truncated.
    void AsGPSTimeMS(int& week, int& msOfWeek) const;

    // The time at a GPS week and time of week, truncated to whole microseconds.
    static Time FromGPSTime(int week, double timeOfWeek);
    // The time at a GPS week and millisecond of the week; a negative ms moves
    // backwards and leaves a negative microsecond field.
    static Time FromGPSTimeMS(int week, int msOfWeek);
    // Stores s_leapSeconds; no range check.
    static void SetLeapSeconds(int leapSeconds);

    // seconds += n.
    void AddSeconds(int seconds);
    // microseconds += us; normalised only when the sum exceeds 1000000, so a sum
    // of exactly 1000000 stays (s, 1000000) and negative sums stay negative.
    void AddUS(int microseconds);
    // AddUS(ms * 1000), the product in 32 bits.
    void AddMS(int milliseconds);

    // Field sums, normalised as AddUS only when this value's own microsecond
    // field already exceeds 1000000: (0, 600000) + (0, 600000) is (0, 1200000).
    Time operator+(const Time& other) const;
    // Field sums, normalised as AddUS: (0, 600000) += (0, 600000) gives (1, 200000).
    Time& operator+=(const Time& other);
    // Field differences with one borrow when the microseconds go negative; a
    // difference below -1000000 stays negative.
    Time operator-(const Time& other) const;
    Time& operator-=(const Time& other);
    // *this + Time(seconds) and *this - Time(seconds).
    Time operator+(double seconds) const;
    Time operator-(double seconds) const;

    // Lexicographic on (seconds, microseconds) as stored, without normalising:
    // (1, 1000000) is less than (2, 0).
    bool operator<(const Time& other) const;
    bool operator>(const Time& other) const;
    bool operator<=(const Time& other) const;
    bool operator>=(const Time& other) const;
    bool operator==(const Time& other) const;
    bool operator!=(const Time& other) const;

    // True when this deadline is at or before now.
    bool Expired(const Time& now) const;
    // Compared with the wall clock, also when called on a MonotonicTime.
    bool InPast() const;
    bool InFuture() const;

    // The wall-clock time; (0, 0) if the clock cannot be read.
    static Time Now();
    // Reads the wall clock into t; returns gettimeofday's result (0 or -1) and
    // leaves t unchanged on failure.
    static int GetTimeOfDay(Time& t);
    // Now() with the seconds increased; microseconds untouched.
    static Time Timer(int seconds);
    // Now() with ms * 1000 added to the microseconds, normalised as AddUS.
    static Time TimerMs(int ms);

protected:
    // Normalises as AddUS does: only a microsecond field above 1000000 carries.
    void CarryMicroseconds();

    // The two fields, as Seconds() and Microseconds() return them.
    std::int32_t m_seconds;
    std::int32_t m_microseconds;
};

// A Time read from the monotonic clock, whose seconds count from an arbitrary
// point (system start) and never jump when the wall clock is set. Only Now,
// Timer, TimerMs, Expired and operator+(double) are its own: the inherited
// operators return Time, and the inherited InPast, InFuture and Time::Now use
// the wall clock, so monotonic deadlines are tested with Expired(Now()).
class MonotonicTime : public Time
{
public:
    MonotonicTime();
    // seconds past the clock's origin, with no microseconds.
    MonotonicTime(long seconds);
    MonotonicTime(const MonotonicTime&) = default;
    MonotonicTime& operator=(const MonotonicTime&) = default;
    ~MonotonicTime() override;

    // The monotonic clock's current value.
    static MonotonicTime Now();
    // Reads CLOCK_MONOTONIC into t (microseconds truncated); returns
    // clock_gettime's result and writes the fields even when it failed.
    static int GetTimeOfDay(MonotonicTime& t);
    // The monotonic clock's Now() with the seconds increased; microseconds untouched.
    static MonotonicTime Timer(int seconds);
    // The monotonic clock's Now() with ms * 1000 added to the microseconds, normalised as AddUS.
    static MonotonicTime TimerMs(int ms);

    // True when this deadline is at or before now.
    bool Expired(const MonotonicTime& now) const;

    using Time::operator+;
    // Adds the whole seconds and the truncated microseconds of the fraction
    // field by field, with no normalisation: (0, 700000) + 0.5 is (0, 1200000).
    MonotonicTime operator+(double seconds) const;
};

} // namespace Core

#endif
