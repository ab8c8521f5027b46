#include "show.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <vector>

#include "base64.h"

namespace nelkaslave {

namespace {

constexpr std::size_t longestText = 60;
constexpr std::size_t longestAnswer = 200;

// Cuts between characters.
std::string shortened(std::string text, std::size_t length)
{
    if (text.size() <= length)
        return text;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80)
        --length;
    return text.substr(0, length) + "…";
}

std::string inQuotes(const std::string& text)
{
    // Control characters become escapes. A content type may be invalid UTF-8.
    return Json(shortened(text, longestText)).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string readableValue(const Json& value);

template <typename Items, typename Item>
std::string listed(const Items& items, Item item)
{
    std::string list;
    for (const auto& entry : items)
        list += (list.empty() ? "" : ", ") + item(entry);
    return list;
}

std::string readableObject(const Json& object)
{
    const char* const mark = markOf(object);
    if (!mark || std::string_view(mark) == "struct") {
        const auto& members = mark ? object[mark] : object;
        return "{"
               + listed(
                   members.items(),
                   [](const auto& member) { return inQuotes(member.key()) + ": " + readableValue(member.value()); })
               + "}";
    }
    const Json& content = object[mark];
    if (std::string_view(mark) == "base64")
        return std::to_string(fromBase64(content.get<std::string>()).size()) + " bytes";
    return std::string_view(mark) == "double" ? content.get<std::string>() : content.dump();
}

std::string readableValue(const Json& value)
{
    if (value.is_array())
        return "[" + listed(value, readableValue) + "]";
    if (value.is_object())
        return readableObject(value);
    return value.is_string() ? inQuotes(value.get<std::string>()) : value.dump();
}

// A name comes from the network and must stay on its line.
std::string visible(const std::string& name)
{
    const bool plain = std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c <= '~'; });
    return plain ? name : inQuotes(name);
}

std::string readableCall(const Call& call)
{
    if (call.procedure.empty())
        return "no call: " + readableValue(call.params);
    return visible(call.procedure) + "(" + (call.params.is_array() ? listed(call.params, readableValue) : "…") + ")";
}

std::string readableAnswer(const Behaviour& behaviour)
{
    if (behaviour.http)
        return "HTTP " + std::to_string(behaviour.http->status) + ", " + std::to_string(behaviour.http->body.size())
               + " bytes of " + inQuotes(behaviour.http->type);
    if (!behaviour.answer)
        return "no answer";
    if (behaviour.answer->fault)
        return "fault " + std::to_string(behaviour.answer->fault->code) + " " + inQuotes(behaviour.answer->fault->text);
    return readableValue(behaviour.answer->reply);
}

bool isFault(const Behaviour& behaviour)
{
    return !behaviour.answer || behaviour.answer->fault;
}

// Of one procedure.
struct Summary {
    std::size_t faults = 0;
    std::vector<std::chrono::milliseconds::rep> delays;
};

// A name that gnuplot does not interpret.
std::string quoted(const std::string& name)
{
    std::string text = "'";
    for (const char character : name)
        if (static_cast<unsigned char>(character) >= ' ')
            text += character == '\'' ? "''" : std::string(1, character);
    return text + "'";
}

} // namespace

std::string readable(const Recorded& recorded)
{
    const std::string line = recorded.time + " " + readableCall(recorded.call) + ": "
                             + shortened(readableAnswer(recorded.behaviour), longestAnswer) + ", "
                             + std::to_string(recorded.behaviour.delay.count()) + " ms";
    return recorded.behaviour.unanswered ? line + ", unanswered" : line;
}

void show(const std::vector<Recorded>& recording)
{
    std::map<std::string, Summary> summaries;
    for (const Recorded& recorded : recording) {
        std::printf("%s\n", readable(recorded).c_str());
        Summary& summary = summaries[recorded.call.procedure];
        summary.faults += isFault(recorded.behaviour);
        summary.delays.push_back(recorded.behaviour.delay.count());
    }
    std::printf("\n%-28s %7s %7s %10s %10s\n", "procedure", "calls", "faults", "median ms", "worst ms");
    for (auto& [procedure, summary] : summaries) {
        std::vector<std::chrono::milliseconds::rep>& delays = summary.delays;
        std::sort(delays.begin(), delays.end());
        std::printf("%-28s %7zu %7zu %10lld %10lld\n", procedure.empty() ? "(no call)" : visible(procedure).c_str(),
                    delays.size(), summary.faults, static_cast<long long>(delays[(delays.size() - 1) / 2]),
                    static_cast<long long>(delays.back()));
    }
}

void plot(const std::vector<Recorded>& recording, const std::string& title)
{
    std::map<std::string, std::string> points;
    std::size_t number = 0;
    for (const Recorded& recorded : recording)
        points[recorded.call.procedure] +=
            std::to_string(++number) + " " + std::to_string(recorded.behaviour.delay.count()) + "\n";
    if (points.empty())
        throw std::runtime_error("there are no calls to draw");

    std::string script = "set terminal svg size 900,500 noenhanced\nset title " + quoted(title)
                         + "\nset xlabel 'call'\nset ylabel 'ms'\nset yrange [0:*]\nset key outside\nplot ";
    std::string data;
    for (const auto& [procedure, text] : points) {
        script += (data.empty() ? "'-' title " : ", '-' title ") + quoted(procedure) + " with points pointtype 7";
        data += text + "e\n";
    }
    std::signal(SIGPIPE, SIG_IGN); // without gnuplot nobody reads the pipe
    std::FILE* const gnuplot = popen("exec gnuplot", "w");
    if (gnuplot)
        std::fputs((script + "\n" + data).c_str(), gnuplot);
    if (!gnuplot || pclose(gnuplot) != 0)
        throw std::runtime_error("gnuplot drew nothing: is it installed?");
}

} // namespace nelkaslave
