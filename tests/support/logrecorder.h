// Records the process's log lines instead of writing them to the system log.
#pragma once

#include <atomic>
#include <ostream>
#include <string>
#include <vector>

namespace support {

struct LogLine {
    int priority;
    std::string text;

    bool operator==(const LogLine&) const = default;
};

using Lines = std::vector<LogLine>;

std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// During its lifetime, syslog() and the like record, in the order of the calls. Safe in signal handlers and threads.
/// Only one may exist; without one, log calls do nothing.
class LogRecorder {
public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    Lines lines() const;

    /// The lines, with line numbers of source files replaced by N, for exact comparison.
    Lines linesWithoutNumbers() const;

    /// Forgets the recorded lines.
    void clear();

    /// Called, if set, inside every log call, in any context. The errno it leaves is that of the log call, as syslog()
    /// may change errno.
    static std::atomic<void (*)()> duringLogCall;
};

} // namespace support
