#include "progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

namespace nelkactl {

namespace {

std::size_t columnsOfTerminal()
{
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// "1:05:09", "0:09"
std::string clock(long seconds)
{
    char text[32];
    if (seconds >= 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60, seconds % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld", seconds / 60, seconds % 60);
    return text;
}

} // namespace

ProgressBar::ProgressBar(bool wanted) : shown(wanted && isatty(STDERR_FILENO)) {}

ProgressBar::~ProgressBar()
{
    if (shown)
        std::fputs("\r\033[K", stderr);
}

void ProgressBar::show(int status, int until, const std::string& words)
{
    if (!shown)
        return;
    const Clock::time_point now = Clock::now();
    if (!first)
        first = {status, now};
    std::string text = words.empty() ? std::to_string(status) + " of " + std::to_string(until) : words;
    if (status > first->status) {
        const std::chrono::duration<double> passed = now - first->time;
        const double left = passed.count() * (until - status) / (status - first->status);
        text += ", " + clock(std::lround(left)) + " left";
    }

    // The last column stays free: a terminal may wrap a line that fills it.
    const std::size_t room = columnsOfTerminal() - 1;
    const std::size_t around = text.size() + 3;
    if (room > around) {
        const std::size_t width = room - around;
        const double share = until > 0 ? std::clamp(static_cast<double>(status) / until, 0.0, 1.0) : 1.0;
        const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
        text = "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " + text;
    }
    std::fprintf(stderr, "\r%s\033[K\r", text.substr(0, room).c_str());
}

} // namespace nelkactl
