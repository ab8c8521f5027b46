// Records what the process writes to the system log, in place of writing it.
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

/// While it lives, syslog() and its kin record. Safe in signal handlers and threads: the handler's lines are among
/// the recorded ones, in the order of the calls. One at a time. Without one, log calls do nothing.
class LogRecorder {
public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    Lines lines() const;

    /// The lines, with the number that follows "line " in those that name a source file replaced by N, so that a
    /// test can compare them exactly.
    Lines linesWithoutNumbers() const;

    /// Forgets what was recorded so far.
    void clear();

    /// Called, if set, inside every log call, in whatever context it is made. The errno it leaves is what the log call
    /// leaves, as the real one may change it.
    static std::atomic<void (*)()> duringLogCall;
};

} // namespace support
