// One operation's run: the client it calls, what it has brought back, and how it ended.
#pragma once

#include <string>
#include <vector>

#include <nelkanet/xmlrpclient.h>

#include "ending.h"
#include "files.h"
#include "result.h"

namespace nelkactl {

// Outputs that a call may leave untouched, each preset to what no reply can hold -----------------------------------

struct Text {
    static inline const std::string preset{'\0'}; // texts come to an end before a zero
    std::string value = preset;
    bool written() const { return value != preset; }
};

struct Block {
    static constexpr std::size_t presetSize = 1048577; // more than the whole of the longest reply
    std::vector<char> value = std::vector<char>(presetSize);
    bool written() const { return value.size() != presetSize; }
};

struct Number {
    Number();
    const int preset; // at random: every number may come, but hardly the one that was drawn for this call
    int value;
    bool written() const { return value != preset; }
};

struct Table {
    Table();
    nelkadb::ResultSet value; // preset to a column whose name is a zero
    bool written() const;
};

class Call {
public:
    Call(nelka::XmlrpcClient& ready, int milliseconds) : client(ready), timeout(milliseconds) {}

    nelka::XmlrpcClient& client;
    const int timeout;

    /// Whether the last call brought a usable reply. After one that did not, outputs are dropped.
    bool answered() const;

    /// Keeps outputs, in this order.
    template <typename Value>
    void output(const std::string& name, const Value& value)
    {
        if (answered())
            outputs[name] = value;
    }
    void output(const std::string& name, const Text& text);
    void output(const std::string& name, const Number& number);
    void output(const Table& table);
    /// Replaces the file too; says how long the block is unless it went to standard output.
    void output(const OutputFile& file, const Block& block);

    /// How the last call ended.
    Ending ending() const;

    const Json& results() const { return outputs; }

private:
    Json outputs = Json::object();
};

} // namespace nelkactl
