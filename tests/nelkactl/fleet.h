// Runs nelkactl --hosts against many slaves.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "nelkactl.h"
#include "support/manyslaves.h"

namespace support {

using Json = nlohmann::ordered_json;

inline Step answering(int number)
{
    return replyArray({xml::i4(0), xml::i4(number)});
}

/// Steps of slaves that answer xmlrpc_changes with their index.
inline std::vector<Step> answeringSlaves(int count)
{
    std::vector<Step> all;
    for (int i = 0; i < count; ++i)
        all.push_back(answering(i));
    return all;
}

class FleetTest : public ::testing::Test {
protected:
    const TemporaryFolder temporary;
    const std::filesystem::path& folder = temporary.path;

    std::string hosts() const { return folder / "hosts"; }
    std::string hostsWith(const std::string& text) const { return fileWith(hosts(), text); }

    /// One line per slave: m0 127.0.0.1:PORT
    std::string hostsOf(const ManySlaves& slaves) const
    {
        std::string text;
        for (std::size_t i = 0; i < slaves.ports().size(); ++i)
            text += "m" + std::to_string(i) + " 127.0.0.1:" + std::to_string(slaves.ports()[i]) + "\n";
        return hostsWith(text);
    }

    static Words command(const std::string& file, const Words& words)
    {
        return Words{NELKACTL, "--hosts", file} + words;
    }

    static Finished ask(const std::string& file, const Words& words)
    {
        return run(command(file, words), {"NELKA_HOST=", "NELKA_PORT="});
    }

    static std::vector<Json> results(const std::string& out)
    {
        std::vector<Json> all;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);)
            all.push_back(Json::parse(line));
        return all;
    }

    /// Result lines by name.
    static std::map<std::string, Json> resultsByName(const std::string& out)
    {
        std::map<std::string, Json> all;
        for (const Json& result : results(out))
            EXPECT_TRUE(all.emplace(result.at("name"), result).second) << "twice: " << result;
        return all;
    }

    /// The running workers for these slaves.
    static std::vector<pid_t> workersOf(const ManySlaves& slaves)
    {
        std::vector<pid_t> all;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename();
            if (name.find_first_not_of("0123456789") != std::string::npos)
                continue;
            const std::string words = contents(entry.path() / "cmdline");
            for (const unsigned short port : slaves.ports())
                if (words.find("--port=" + std::to_string(port) + '\0') != std::string::npos)
                    all.push_back(static_cast<pid_t>(std::stoi(name)));
        }
        return all;
    }
};

} // namespace support
