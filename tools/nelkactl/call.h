// One operation's run: the client it calls, what it was given, what it has brought back, and how it ended.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nelkanet/xmlrpclient.h>

#include "ending.h"
#include "options.h"
#include "outputfile.h"
#include "parameters.h"
#include "result.h"

namespace nelkactl {

// Outputs that a call may leave untouched, each preset to what hardly any reply holds ---------------------------------

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
    static constexpr int preset = -1879048193; // a slave that answers this very number is taken to have sent none
    int value = preset;
    bool written() const { return value != preset; }
};

struct Table {
    Table();
    nelkadb::ResultSet value; // preset to a column whose name is a zero
    bool written() const;
};

class Call {
public:
    /// Reads the file of `--input` and looks whether that of `--output` can be written, where they are given. Throws
    /// UsageError, FileError, Interrupted.
    Call(nelka::XmlrpcClient& client, const Options& options, const Given& given);

    nelka::XmlrpcClient& client;
    const int timeout;
    const std::vector<char> input;
    const std::optional<OutputFile> file;

    template <typename Value, Value... lowest>
    Value value(const Typed<Value, lowest...>& parameter) const
    {
        return parameter.in(given);
    }
    std::vector<std::string> texts(const Parameter& repeated) const { return textsIn(given.at(repeated.name)); }
    bool has(const Flag& flag) const { return flag.in(given); }

    /// A call of the same client with other arguments.
    Call with(const Given& arguments) const;

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
    /// Writes the file too; says how long the block is unless it went to standard output.
    void output(const Block& block);

    /// Keeps an output whatever came of the last call.
    void keep(const std::string& name, Json value) { outputs[name] = std::move(value); }

    /// How the last call ended, unless something else is how the run ends.
    Ending ending() const;
    void conclude(Ending ending) { conclusion = std::move(ending); }

    /// Whether no answer to the last call came: the time-out passed, or the transport failed.
    bool lost() const;

    const Json& results() const { return outputs; }

private:
    const Options& options;
    const Given given;
    Json outputs = Json::object();
    std::optional<Ending> conclusion;
};

} // namespace nelkactl
