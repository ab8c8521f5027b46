// Runs nelkactl against a scripted slave.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/folder.h"
#include "support/program.h"
#include "support/scriptedslave.h"

namespace support {

using Words = std::vector<std::string>;
using Values = std::vector<std::string>; ///< of a reply array

inline Words operator+(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// In milliseconds: short enough for a test to wait, long enough for a call under an emulator.
inline std::string shortTimeout()
{
    return std::getenv("NELKANET_SLOW") ? "1500" : "50";
}

/// The operations listed in --help, between the options and the exit statuses.
inline Words operationsNamedIn(const std::string& help)
{
    const std::size_t start = help.find("\nCore:\n");
    std::istringstream lines(help.substr(start, help.find("\nExit status:") - start));
    Words all;
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("  "))
            all.push_back(line.substr(2, line.find(' ', 2) - 2));
    return all;
}

/// A result line without the fields that vary: host, port, reason and duration.
inline std::string essence(const std::string& line)
{
    auto object = nlohmann::ordered_json::parse(line, nullptr, false);
    if (!object.is_object() || line.find('\n') != line.size() - 1)
        return "no result line: " + line;
    EXPECT_TRUE(object.contains("host") && object.contains("port") && object["ms"].is_number()) << line;
    EXPECT_EQ(object["ending"] == "done", !object.contains("reason")) << line;
    for (const char* field : {"host", "port", "reason", "ms"})
        object.erase(field);
    return object.dump();
}

class Nelkactl : public ::testing::Test {
protected:
    ScriptedSlave slave;
    const TemporaryFolder temporary;
    const std::filesystem::path& folder = temporary.path;

    void SetUp() override { fileWith(block(), "bloque"); }

    std::string block() const { return folder / "block"; }
    std::string file() const { return folder / "file"; }

    void keep(const std::string& text) const { fileWith(file(), text); }

    /// The command, with {block} and {file} replaced by those files.
    Words command(const Words& words) const
    {
        Words all{NELKACTL};
        for (const std::string& word : words)
            all.push_back(word == "{block}" ? block() : word == "{file}" ? file() : word);
        return all;
    }

    Words environment() const { return {"NELKA_HOST=", "NELKA_PORT=" + std::to_string(slave.port())}; }

    Finished type(const Words& words, const std::optional<std::string>& input = "") const
    {
        return run(command(words), environment(), input);
    }

    Finished answered(const Values& reply, const Words& words)
    {
        slave.play({replyArray(reply)});
        return type(words);
    }
};

} // namespace support
