// Progress of long work (simulating to a file, replaying a file, copying to a
// stick) as one line on standard error that rewrites itself, at most five
// times a second, and only when standard error is a terminal: a log or a pipe
// gets none of it.
// Not thread-safe: belongs to the thread doing the work.
#ifndef GUIDANCE_OUTPUT_PROGRESS_H
#define GUIDANCE_OUTPUT_PROGRESS_H

#include <chrono>
#include <string>

namespace GuidanceTool
{

class Progress
{
public:
    // The least time between two drawings of a line that rewrites itself:
    // five a second reads as live without flooding a slow terminal.
    static constexpr std::chrono::milliseconds kRedrawInterval{200};

    // what names the work ("replaying drive.nmea"); total is in units, 0 when unknown.
    Progress(const std::string& what, long long total, const char* units = "bytes");
    ~Progress() { Close(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Update(long long done);
    // Shows the final figure and ends the line, so that later output starts
    // on a fresh one.
    void Close();

    // True when progress is shown at all.
    static bool Shown();

private:
    void Draw();

    std::string m_what;
    long long m_total;
    const char* m_units;
    bool m_enabled;
    bool m_drawn = false;
    long long m_done = 0;
    std::chrono::steady_clock::time_point m_last;
};

} // namespace GuidanceTool

#endif
