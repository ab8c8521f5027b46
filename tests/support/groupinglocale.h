// A locale that reveals which numbers are formatted with it.
#pragma once

#include <locale>
#include <string>

namespace support {

/// During its lifetime the global locale writes 8080 as 8.0.8.0.
class GroupingLocale {
public:
    GroupingLocale() : former(std::locale::global(std::locale(std::locale(), new Grouping))) {}
    ~GroupingLocale() { std::locale::global(former); }
    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };

    const std::locale former;
};

} // namespace support
