// Shows the progress of a scan or a fleet on a terminal.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace nelkactl {

/// One line on standard error, if that is a terminal, as wide as the terminal. The cursor stays at its start, so that
/// other output overwrites it.
class ProgressBar {
public:
    explicit ProgressBar(bool wanted);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// The words replace "STATUS of UNTIL".
    void show(int status, int until, const std::string& words = "");

private:
    using Clock = std::chrono::steady_clock;
    struct Seen {
        int status;
        Clock::time_point time;
    };

    const bool shown;
    std::optional<Seen> first; ///< the start of the speed measurement
};

} // namespace nelkactl
