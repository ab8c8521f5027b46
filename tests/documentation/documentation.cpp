// Compares docs/operations.md with the records of the operations.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/operations.h"

namespace {

struct Row {
    std::string family, operation, remote, arguments, reply, error, debugLine;
    int argumentsNamed; ///< the number of arguments under "asks the slave"
    std::vector<std::string> oddities;

    bool operator==(const Row&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Row& row)
{
    return out << row.family << " | " << row.operation << " | " << row.remote << " | " << row.arguments << " | "
               << row.reply << " | " << row.error << " | " << row.debugLine << " | " << row.argumentsNamed
               << " arguments | " << ::testing::PrintToString(row.oddities);
}

std::vector<std::string> cells(const std::string& line)
{
    std::vector<std::string> all;
    std::istringstream in(line);
    std::string cell;
    std::getline(in, cell, '|');
    while (std::getline(in, cell, '|')) {
        const std::size_t first = cell.find_first_not_of(' ');
        all.push_back(first == std::string::npos ? "" : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
    }
    return all;
}

std::string code(const std::string& text)
{
    return "`" + text + "`";
}

// With the line break as the page writes it.
std::string visible(const std::string& debugLine)
{
    return debugLine.ends_with('\n') ? debugLine.substr(0, debugLine.size() - 1) + "\\n" : debugLine;
}

int argumentsNamed(const std::string& asks)
{
    const std::size_t colon = asks.find(": ");
    return colon == std::string::npos
               ? 0
               : 1 + static_cast<int>(std::count(asks.begin() + static_cast<std::ptrdiff_t>(colon), asks.end(), ','));
}

// A quirk in the records, and the page's words for it.
struct Oddity {
    const char* words;
    bool (*holds)(const support::Operation&);
};

const Oddity oddities[] = {
    {"throws when", [](const support::Operation& each) { return each.throwsWithoutText(); }},
    {"not released", [](const support::Operation& each) { return each.kept != support::Kept::never; }},
    {"becomes empty", [](const support::Operation& each) { return each.reply.find('6') != std::string::npos; }},
    {"never sent", [](const support::Operation& each) { return !each.reachesTheWire(); }},
    {"the debug line is not logged", [](const support::Operation& each) { return !each.logsDebugLine(); }},
    {"the status second", [](const support::Operation& each) { return each.statusAt != 0; }},
};

std::vector<Row> documented()
{
    std::vector<Row> rows;
    std::ifstream page(NELKANET_DOCS "/operations.md");
    std::string family;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) {
            family = line.substr(3);
            family[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(family[0])));
        } else if (line.starts_with("| `")) {
            const std::vector<std::string> all = cells(line);
            rows.push_back({family,
                            all.at(0),
                            all.at(2),
                            all.at(3),
                            all.at(4),
                            all.at(5),
                            all.at(6),
                            argumentsNamed(all.at(1)),
                            {}});
            for (const Oddity& oddity : oddities)
                if (all.at(7).find(oddity.words) != std::string::npos)
                    rows.back().oddities.emplace_back(oddity.words);
        }
    }
    return rows;
}

std::vector<Row> known()
{
    std::vector<Row> rows;
    for (const support::Operation& operation : support::operations()) {
        const std::string error = operation.refusal == support::StatusRule::none       ? "none"
                                  : operation.refusal == support::StatusRule::negative ? "negative"
                                                                                       : "non-zero";
        const std::string reply = operation.shortReply.empty()
                                      ? code(operation.reply)
                                      : code(operation.shortReply) + " " + code(operation.reply);
        rows.push_back({operation.family,
                        code(operation.name),
                        code(operation.remote),
                        code(operation.arguments),
                        reply,
                        error,
                        code(visible(operation.debugLine)),
                        static_cast<int>(std::count_if(operation.arguments.begin(), operation.arguments.end(),
                                                       [](unsigned char c) { return std::isalnum(c); })),
                        {}});
        for (const Oddity& oddity : oddities)
            if (oddity.holds(operation))
                rows.back().oddities.emplace_back(oddity.words);
    }
    return rows;
}

TEST(Documentation, HasCorrectRowForEveryOperation)
{
    EXPECT_EQ(documented(), known());
}

} // namespace
