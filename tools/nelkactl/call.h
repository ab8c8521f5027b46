// One run of an operation: its client, its arguments, its outputs and its ending.
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

// Outputs that a call may leave untouched, each preset to a value that hardly any reply has ---------------------------

struct Text {
    static inline const std::string preset{'\0'}; // no reply has a text with a zero
    std::string value = preset;
    bool written() const { return value != preset; }
};

struct Block {
    static constexpr std::size_t presetSize = 1048577; // longer than the longest reply
    std::vector<char> value = std::vector<char>(presetSize);
    bool written() const { return value.size() != presetSize; }
};

struct Number {
    static constexpr int preset = -1879048193; // if a slave answers this very number, the output counts as missing
    int value = preset;
    bool written() const { return value != preset; }
};

struct Table {
    Table();
    nelkadb::ResultSet value; // preset to a column named by a zero byte
    bool written() const;
};

class Call {
public:
    /// Reads the file of `--input` and checks that the file of `--output` can be written, if given. Throws UsageError,
    /// FileError, Interrupted.
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

    /// A further call of the same client, with other arguments.
    Call with(const Given& arguments) const;

    /// Whether the last call brought a usable reply; otherwise outputs are dropped.
    bool answered() const;

    /// Adds an output.
    template <typename Value>
    void output(const std::string& name, const Value& value)
    {
        if (answered())
            outputs[name] = value;
    }
    void output(const std::string& name, const Text& text);
    void output(const std::string& name, const Number& number);
    void output(const Table& table);
    /// Writes the file, and adds the size of the block unless it went to standard output.
    void output(const Block& block);

    /// Adds an output, however the last call ended.
    void keep(const std::string& name, Json value) { outputs[name] = std::move(value); }

    /// How the last call ended, unless the run was given another ending.
    Ending ending() const;
    void conclude(Ending ending) { conclusion = std::move(ending); }

    /// Whether the last call brought no answer: the time-out passed, or the transport failed.
    bool lost() const;

    const Json& results() const { return outputs; }

private:
    const Options& options;
    const Given given;
    Json outputs = Json::object();
    std::optional<Ending> conclusion;
};

} // namespace nelkactl
