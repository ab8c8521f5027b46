#include "report.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include <nlohmann/json.hpp>

#include "address.h"
#include "files.h"

namespace nelkactl {

std::string timestamp(std::chrono::system_clock::time_point time)
{
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm utc = {};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> date = {};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 8> fraction = {};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(milliseconds % 1000));
    return std::string(date.data()) + fraction.data();
}

void writeLine(const std::vector<std::pair<std::string, std::string>>& fields, std::FILE* line)
{
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (const auto& [name, value] : fields)
        object[name] = value;
    std::string head = object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::rewind(line);
    if (!fields.empty()) {
        head.back() = ','; // the line's fields follow
        std::fgetc(line);
    } else {
        head.clear();
    }
    writeToStandardOutput(head, line);
}

// The table --------------------------------------------------------------------------------------------------------

namespace {

using Row = std::vector<std::string>;

std::size_t widthOf(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](unsigned char c) { return (c & 0xc0) != 0x80; }));
}

Row namesOfOutputs(const std::map<std::size_t, Summary>& results)
{
    Row names;
    for (const auto& result : results)
        for (const auto& output : result.second.outputs)
            if (std::find(names.begin(), names.end(), output.first) == names.end())
                names.push_back(output.first);
    return names;
}

std::string aligned(const std::vector<Row>& rows)
{
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], widthOf(row[column]));
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column)
            if (widths[column] > 0)
                line += row[column] + std::string(widths[column] - widthOf(row[column]) + 2, ' ');
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

} // namespace

std::string table(const std::vector<Host>& hosts, const std::map<std::size_t, Summary>& results)
{
    const Row names = namesOfOutputs(results);
    std::vector<Row> rows{{"name", "address", "ending", "ms"}};
    rows.front().insert(rows.front().end(), names.begin(), names.end());
    const bool failures =
        std::any_of(results.begin(), results.end(), [](const auto& result) { return !result.second.reason.empty(); });
    rows.front().push_back(failures ? "reason" : "");
    for (const auto& [index, result] : results) {
        const Host& host = hosts[index];
        Row row{host.name, hostInUrl(host.host) + ":" + std::to_string(host.port), nameOf(result.kind),
                result.milliseconds};
        for (const std::string& name : names) {
            const auto output = std::find_if(result.outputs.begin(), result.outputs.end(),
                                             [&name](const auto& one) { return one.first == name; });
            row.push_back(output == result.outputs.end() ? "" : output->second);
        }
        row.push_back(result.reason);
        rows.push_back(std::move(row));
    }
    return aligned(rows);
}

std::string tally(const std::map<Kind, std::size_t>& endings, std::size_t notAsked, std::chrono::milliseconds time)
{
    std::string text;
    for (const Kind kind :
         {Kind::done, Kind::unusable, Kind::faulted, Kind::timedOut, Kind::refused, Kind::interrupted})
        if (const auto found = endings.find(kind); found != endings.end())
            text += std::to_string(found->second) + " " + nameOf(kind) + ", ";
    if (notAsked > 0)
        text += std::to_string(notAsked) + " not asked, ";
    std::array<char, 32> seconds = {};
    std::snprintf(seconds.data(), seconds.size(), "%.1f s", static_cast<double>(time.count()) / 1000);
    return text + seconds.data();
}

} // namespace nelkactl
