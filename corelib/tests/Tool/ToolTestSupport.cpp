#include "ToolTestSupport.h"

#include "Tool.h"

#include <cmath>
#include <cstdio>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace ToolTest
{

std::string GuidanceCommand()
{
    const std::string program = GUIDANCE_PROGRAM;
    return CoreTest::kTargetEmulated ? std::string(CORELIB_SOURCE_DIR) + "/scripts/qemu-ppc-run " + program
                                     : program;
}

int RunTool(const std::vector<std::string>& words, const std::string& out, const std::string& errors)
{
    std::vector<std::string> storage = {"guidance"};
    storage.insert(storage.end(), words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& word : storage)
        argv.push_back(&word[0]);
    std::fflush(stdout);
    std::fflush(stderr);
    const int savedOut = dup(STDOUT_FILENO);
    const int savedErr = dup(STDERR_FILENO);
    const int outFd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int errFd = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(outFd, STDOUT_FILENO);
    dup2(errFd, STDERR_FILENO);
    close(outFd);
    close(errFd);
    const int status = GuidanceTool::RunTool(static_cast<int>(argv.size()), argv.data());
    // The commands catch Ctrl-C and SIGTERM; the test program must stay stoppable.
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::fflush(stdout);
    std::fflush(stderr);
    dup2(savedOut, STDOUT_FILENO);
    dup2(savedErr, STDERR_FILENO);
    close(savedOut);
    close(savedErr);
    return status;
}

GuidanceTool::FixReport FixNorthOfStart(double north, double time)
{
    GuidanceTool::FixReport fix;
    fix.timeOfDay = time;
    fix.latitude = 52.205 + north / 111250.0;
    fix.longitude = -1.05;
    fix.fixQuality = 4;
    fix.satellites = 14;
    fix.courseDegrees = 21;
    fix.speedMetres = 2;
    return fix;
}

std::string StraightFieldText(double latitude, double longitude, double length, double width,
                              const std::string& spline)
{
    // Five points 45 degrees east of north; a degree of latitude is taken as
    // 111 km and of longitude as 111 km times the cosine: the line need only be
    // roughly straight, since the tool measures against the points it is given.
    std::string text = "<?xml version=\"1.0\"?>\n<field><name>Test strip</name><guidance><spline>" + spline +
                       "</spline><width>" + std::to_string(width) + "</width>\n";
    for (int i = 0; i <= 4; ++i)
    {
        const double d = length * i / 4 / std::sqrt(2.0);
        char point[96];
        std::snprintf(point, sizeof point, "<point lat=\"%.9f\" lon=\"%.9f\" />\n", latitude + d / 111000.0,
                      longitude + d / (111000.0 * std::cos(latitude * M_PI / 180.0)));
        text += point;
    }
    return text + "</guidance></field>\n";
}

} // namespace ToolTest
