// Compares docs/operations.md with the records of the operations and with their tests.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/operations.h"

namespace {

struct Row {
    std::string family, operation, remote, arguments, reply, error, debugLine;
    int argumentsNamed; ///< the number of arguments under "Asks the slave"
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

// What a clause under "Odd" says, and the test that shows it.
const std::map<std::string, std::string> shown{
    {"the answer is printed on standard output, unchecked", "Probe, AddsTenAndFiveAndPrintsAnswer"},
    {"the debug line is not logged", "Probe, AddsTenAndFiveAndPrintsAnswer"},
    {"no \" : \" before \"host\"", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"a table that cannot be filled in is no fault", "GetTable, RaggedTableIsNeitherLoggedNorReported"},
    {"the table is sent before the query, although the method takes it after the query",
     "RemoteOperation, SendsTheseBytes"},
    {"throws when a reply with more than the status cannot be decoded", "RemoteOperation, ReportsWrongReplyOrThrows"},
    {"the status is the answer", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"the debug line has another name", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"a second line logs the counter", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"a refusal is lost", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"a status alone is a wrong reply", "RemoteOperation, AcceptsStatusAloneOnlyAsShortReply"},
    {"a second line logs the clock", "GetHoraModulo, KeepsAllBitsOfClockAndLogsItUnsigned"},
    {"the status is left to the caller", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"the reply of a refusal is not released", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"a second line logs the result, even if it cannot be read", "RemoteOperation, ReportsWrongReplyOrThrows"},
    {"frequencies of 2^31 and more are sent as negative integers", "TunedChannel, LargeFrequencyIsSentAsItsBits"},
    {"the frequency is only logged", "TunedChannel, SatelliteLogsBothFrequenciesUnsigned"},
    {"an intermediate one of 2^31 and more is sent as a negative integer",
     "TunedChannel, SatelliteLogsBothFrequenciesUnsigned"},
    {"the status is the scan's identifier", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"the band is logged as a character", "InitInputScan, BandIsLoggedAsOneRawCharacter"},
    {"throws when the reply cannot be decoded, and that reply is not released",
     "RemoteOperation, ReportsWrongReplyOrThrows"},
    {"the only one of the family for which a positive status is an error",
     "RemoteOperation, DeliversReplyForEveryStatus"},
    {"the value comes first and the status second", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"only the low 32 bits of the identifier are sent, as a signed integer",
     "ChangeFPGASOC, LogsUnsignedNumberAndSendsItsBits"},
    {"a second line logs the reply's size", "RemoteOperation, DeliversReplyForEveryStatus"},
    {"never sent: its arguments are not a list, so every call ends with -500 or -510",
     "DlFicheroEsclavo, InvalidUtf8HasOtherFault"},
    {"the block becomes empty when the second element is not a block", "RemoteOperation, ReportsWrongReplyOrThrows"},
    {"a deleted file is lost if its reply does not arrive, so fetch it with 0, store it, then delete it with 1",
     "NelkactlDeletion, WithoutAnswerLosesNothing"},
    {"the number is not logged", "WrittenBlock, LogsItsFirstIntegerAndSizeOnly"},
    {"only the first (size modulo 65536) bytes of the block are kept, and a second line logs that size",
     "ReadBlock, TableLogsDeliveredSize"},
    {"the time-out is logged", "ReadBlock, TableLogsItsWholeTimeoutAndArmsItsLow16Bits"},
    {"the block is cut and becomes empty as in `rdFicheroTablasSI`, but its size is not logged",
     "ReadBlock, SizeIsCutToLow16Bits"},
    {"the shape of a status alone lacks the \"*\", which makes no difference",
     "RemoteOperation, ReportsWrongReplyOrThrows"},
};

std::set<std::string> clausesUnderOdd()
{
    std::set<std::string> clauses;
    std::ifstream page(NELKANET_DOCS "/operations.md");
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("| `"))
            continue;
        std::string rest = cells(line).at(7);
        for (std::size_t end; (end = rest.find("; ")) != std::string::npos; rest.erase(0, end + 2))
            clauses.insert(rest.substr(0, end));
        clauses.insert(rest);
    }
    clauses.erase("");
    return clauses;
}

std::string textOfTests()
{
    std::ostringstream all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(NELKANET_TESTS))
        if (entry.is_regular_file() && entry.path().filename() != "documentation.cpp")
            all << std::ifstream(entry.path()).rdbuf();
    return all.str();
}

TEST(Documentation, EveryOddityHasItsTest)
{
    std::set<std::string> clauses;
    for (const auto& [clause, test] : shown)
        clauses.insert(clause);
    EXPECT_EQ(clausesUnderOdd(), clauses);

    const std::string tests = textOfTests();
    for (const auto& [clause, test] : shown)
        EXPECT_NE(tests.find("(" + test + ")"), std::string::npos) << clause << ": " << test;
}

} // namespace
