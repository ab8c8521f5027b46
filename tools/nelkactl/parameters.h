// Where the parameters of an operation come from: their types tell.
//
// A number, a text or a truth value is an argument, in the order of the command line; a number's range is that of its
// type. Every other type stands for options.
#pragma once

#include <concepts>
#include <string>
#include <vector>

#include <nelkanet/xmlrpclient.h>

#include "files.h"
#include "number.h"
#include "options.h"
#include "scan.h"

namespace nelkactl {

struct Parameter {
    std::string name;
    std::string range;
    std::string meaning;
};

template <typename Value>
concept Argument = std::integral<Value> || std::same_as<Value, std::string>;

template <Argument Value>
std::string rangeOfArgument()
{
    return rangeOf<Value>();
}
template <>
std::string rangeOfArgument<bool>();
template <>
std::string rangeOfArgument<std::string>();

/// Throws UsageError.
template <Argument Value>
Value readArgument(const std::string& name, const std::string& text)
{
    return decimal<Value>(name, text);
}
template <>
bool readArgument<bool>(const std::string& name, const std::string& text);
template <>
std::string readArgument<std::string>(const std::string& name, const std::string& text);

/// An option that has to be given, and does nothing else.
struct Confirmation {};

/// What the file of an option holds.
struct Input {
    std::vector<char> bytes;
};

/// The options that stand for each other type, and the value that those given make. read() throws UsageError,
/// FileError, Interrupted.
template <typename Value>
struct FromOptions;

template <>
struct FromOptions<Confirmation> {
    static std::vector<Parameter> describe();
    static Confirmation read(const Options& options);
};

template <>
struct FromOptions<nelka::tcanal> {
    static std::vector<Parameter> describe();
    static nelka::tcanal read(const Options& options);
};

template <>
struct FromOptions<Watch> {
    static std::vector<Parameter> describe();
    static Watch read(const Options& options);
};

template <>
struct FromOptions<Input> {
    static std::vector<Parameter> describe();
    static Input read(const Options& options);
};

template <>
struct FromOptions<OutputFile> {
    static std::vector<Parameter> describe();
    static OutputFile read(const Options& options);
};

} // namespace nelkactl
