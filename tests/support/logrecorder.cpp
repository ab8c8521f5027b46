#include "logrecorder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace support {

namespace {

// Nothing here allocates or locks, because signal handlers log too.
struct Slot {
    std::atomic<bool> complete{false};
    int priority = 0;
    std::array<char, 4096> text{};
};

std::array<Slot, 8192> slots;
std::atomic<std::size_t> taken{0};
std::atomic<bool> recording{false};

void record(int priority, const char* format, va_list values)
{
    if (void (*const action)() = LogRecorder::duringLogCall)
        action();
    const int savedErrno = errno;
    if (recording) {
        const std::size_t index = taken.fetch_add(1);
        if (index < slots.size()) {
            Slot& slot = slots[index];
            slot.priority = priority;
            std::vsnprintf(slot.text.data(), slot.text.size(), format, values);
            slot.complete = true;
        }
    }
    errno = savedErrno;
}

} // namespace

std::atomic<void (*)()> LogRecorder::duringLogCall{nullptr};

std::ostream& operator<<(std::ostream& out, const LogLine& line)
{
    return out << '{' << line.priority << ", \"" << line.text << "\"}";
}

LogRecorder::LogRecorder()
{
    clear();
    recording = true;
}

LogRecorder::~LogRecorder()
{
    recording = false;
}

Lines LogRecorder::lines() const
{
    Lines all;
    const std::size_t count = std::min(taken.load(), slots.size());
    for (std::size_t i = 0; i < count; ++i)
        if (slots[i].complete)
            all.push_back({slots[i].priority, slots[i].text.data()});
    return all;
}

Lines LogRecorder::linesWithoutNumbers() const
{
    const std::string file = "in file src/";
    const std::string number = ", line ";
    Lines all = lines();
    for (LogLine& line : all) {
        const std::size_t place = line.text.find(number, std::min(line.text.rfind(file), line.text.size()));
        if (place == std::string::npos)
            continue;
        const std::size_t digits = place + number.size();
        const std::size_t end = std::min(line.text.find_first_not_of("0123456789", digits), line.text.size());
        line.text = line.text.substr(0, digits) + 'N' + line.text.substr(end);
    }
    return all;
}

void LogRecorder::clear()
{
    const std::size_t count = std::min(taken.exchange(0), slots.size());
    for (std::size_t i = 0; i < count; ++i)
        slots[i].complete = false;
}

} // namespace support

// These intercept the library's calls: the program's symbols precede those of the C library.
#pragma GCC visibility push(default)
extern "C" {

void vsyslog(int priority, const char* format, va_list values)
{
    support::record(priority, format, values);
}

void __vsyslog_chk(int priority, int, const char* format, va_list values)
{
    support::record(priority, format, values);
}

void syslog(int priority, const char* format, ...)
{
    va_list values;
    va_start(values, format);
    support::record(priority, format, values);
    va_end(values);
}

void __syslog_chk(int priority, int, const char* format, ...)
{
    va_list values;
    va_start(values, format);
    support::record(priority, format, values);
    va_end(values);
}
}
#pragma GCC visibility pop
