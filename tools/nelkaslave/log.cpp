#include "log.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace nelkaslave {

namespace {

constexpr std::size_t longestLine = 2000; // a writable pipe accepts this much without blocking

// Whether a line can be written without blocking: a log that nobody reads must not stop the slave.
bool logTakesALine()
{
    pollfd stream = {STDERR_FILENO, POLLOUT, 0};
    return poll(&stream, 1, 0) == 1 && (stream.revents & POLLOUT) != 0;
}

} // namespace

std::string timeOfDay()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts = {};
    gmtime_r(&now.tv_sec, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03ldZ", now.tv_nsec / 1000000);
    return text;
}

void log(std::string line)
{
    static unsigned long lost = 0;
    if (!logTakesALine()) {
        ++lost;
        return;
    }
    if (lost > 0)
        std::fprintf(stderr, "%lu lines dropped here: nobody read the log\n", std::exchange(lost, 0));
    line.resize(std::min(line.size(), longestLine));
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
    std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace nelkaslave
