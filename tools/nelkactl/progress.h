// How far a scan or a fleet is, on a terminal.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace nelkactl {

/// One line on standard error, if that is a terminal, as wide as this is. The cursor stays at its start, so that
/// whatever else is written takes its place.
class ProgressBar {
public:
    explicit ProgressBar(bool wanted);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// The words stand for "STATUS of UNTIL".
    void show(int status, int until, const std::string& words = "");

private:
    using Clock = std::chrono::steady_clock;
    struct Seen {
        int status;
        Clock::time_point time;
    };

    const bool shown;
    std::optional<Seen> first; ///< what the speed is measured from
};

} // namespace nelkactl
