#include "hosts.h"

#include <algorithm>
#include <string_view>

#include "address.h"
#include "failure.h"
#include "files.h"

namespace nelkactl {

namespace {

std::vector<std::string> wordsOf(std::string_view line)
{
    constexpr std::string_view blanks = " \t";
    std::vector<std::string> words;
    while (true) {
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        if (line.empty() || line.front() == '#')
            return words;
        const std::string_view word = line.substr(0, line.find_first_of(blanks));
        words.emplace_back(word);
        line.remove_prefix(word.size());
    }
}

// Names become parts of file names and output lines.
void checkName(const std::string& name)
{
    const auto unfit = [](unsigned char c) { return c < ' ' || c == 0x7f || c == '/'; };
    if (name == "." || name == ".." || std::any_of(name.begin(), name.end(), unfit))
        throw UsageError("NAME cannot be '" + name + "': it may become a file's name");
}

Host hostOf(const std::vector<std::string>& words, unsigned short portWhenAbsent)
{
    if (words.size() > 2)
        throw UsageError("a line is [NAME] HOST[:PORT], not " + std::to_string(words.size()) + " words");
    checkName(words.front());
    const Address address = parseAddress(words.back());
    return {words.front(), address.host, address.port.value_or(portWhenAbsent)};
}

std::string_view withoutByteOrderMark(std::string_view text)
{
    constexpr std::string_view mark = "\xef\xbb\xbf";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

} // namespace

std::vector<Host> readHosts(const std::string& path, unsigned short portWhenAbsent)
{
    const std::vector<char> bytes = readFile(path);
    const std::string name = path == "-" ? "standard input" : path;
    std::string_view rest = withoutByteOrderMark({bytes.data(), bytes.size()});
    std::vector<Host> hosts;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        const std::vector<std::string> words = wordsOf(line);
        if (words.empty())
            continue;
        try {
            hosts.push_back(hostOf(words, portWhenAbsent));
        } catch (const UsageError& error) {
            throw UsageError(name + " line " + std::to_string(number) + ": " + error.what());
        }
    }
    if (hosts.empty())
        throw UsageError(name + " lists no host");
    return hosts;
}

} // namespace nelkactl
