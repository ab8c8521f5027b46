// Every argument and option of nelkactl: its name, its range and how its text is read.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "number.h"

namespace nelkactl {

struct Parameter {
    std::string name;  ///< "ENTRADA", "--until"
    std::string range; ///< "0 to 255"; empty for a flag
    std::string meaning;
    void (*check)(const std::string& name, const std::string& text); ///< throws UsageError; null for a flag

    // Of options:
    std::string whenAbsent{}; ///< empty if the option is required
    std::string letter{};     ///< "-p", if it has one
    bool repeats = false;     ///< may be given any number of times

    bool isFlag() const { return range.empty(); }
};

/// Arguments and options by name, as typed; the text of a flag is empty.
using Given = std::map<std::string, std::string>;

/// An identifier as getFPGASOC prints it: negative ones as large unsigned longs.
struct Soc {
    unsigned long value;
};

/// How a value is read; read() throws UsageError.
template <typename Value>
struct Reader {
    static std::string range(auto... bounds) { return rangeOf<Value>(bounds...); }
    static Value read(const std::string& name, const std::string& text, auto... bounds)
    {
        return decimal<Value>(name, text, bounds...);
    }
};

template <>
struct Reader<std::string> {
    static std::string range() { return "text"; }
    static std::string read(const std::string&, const std::string& text) { return text; }
};

template <>
struct Reader<bool> {
    static std::string range() { return "0, 1, false or true"; }
    static bool read(const std::string& name, const std::string& text);
};

template <>
struct Reader<Soc> {
    static std::string range() { return "0 to 4294967295, or a number from getFPGASOC"; }
    static Soc read(const std::string& name, const std::string& text);
};

/// Follows each text of a repeated option; a command line cannot contain it.
constexpr char separator = '\0';

/// The texts of a repeated option.
std::vector<std::string> textsIn(const std::string& joined);

/// A parameter of a type, perhaps with narrower bounds.
template <typename Value, Value... bounds>
struct Typed : Parameter {
    Typed(const char* name_, const char* meaning_, const char* whenAbsent_ = "", const char* letter_ = "")
        : Parameter{name_, Reader<Value>::range(bounds...), meaning_, check, whenAbsent_, letter_}
    {
    }

    static void check(const std::string& name, const std::string& text) { Reader<Value>::read(name, text, bounds...); }

    Value in(const Given& given) const
    {
        const auto found = given.find(name);
        return Reader<Value>::read(name, found == given.end() ? whenAbsent : found->second, bounds...);
    }
};

struct Flag : Parameter {
    Flag(const char* name_, const char* meaning_, const char* letter_ = "")
        : Parameter{name_, "", meaning_, nullptr, "", letter_}
    {
    }

    bool in(const Given& given) const { return given.contains(name); }
};

/// A text, named by the range: "FILE". Required if it has no default.
struct Word : Typed<std::string> {
    Word(const char* name_, const char* range_, const char* meaning_, const char* whenAbsent_ = "",
         const char* letter_ = "")
        : Typed(name_, meaning_, whenAbsent_, letter_)
    {
        range = range_;
    }
};

template <typename Option>
Option repeated(Option option)
{
    option.repeats = true;
    return option;
}

// Options of every operation --------------------------------------------------------------------------------------

namespace option {

inline const Word host{"--host", "HOST[:PORT]", "the slave's address", "127.0.0.1", "-H"};
inline const Typed<unsigned short, 1> port{"--port", "the slave's port", "8080", "-p"};
inline const Typed<unsigned short> timeout{"--timeout", "milliseconds for a call; 0 means 17000", "5000", "-t"};
inline const Word database{"--database", "DBNAME", "the slave's database", "modulo", "-d"};
inline const Flag json{"--json", "write the result as a line of JSON"};
inline const Flag verbose{"--verbose", "write the library's log to standard error", "-v"};
inline const Flag quiet{"--quiet", "write nothing to standard error", "-q"};
inline const Flag trace{"--trace", "write the XML sent and received to standard error"};
inline const Flag help{"--help", "print help on nelkactl, or on an operation", "-h"};
inline const Flag version{"--version", "print the version"};

inline const Word hosts{"--hosts", "FILE", "call each host listed in a file; - is standard input"};
inline const Typed<unsigned short, 1, 256> jobs{"--jobs", "how many hosts in parallel", "16", "-j"};
inline const Typed<int, 1> every{"--every", "repeat the call; milliseconds per round"};
inline const Typed<int, 1> count{"--count", "number of rounds; default: until SIGINT"};
inline const Flag changes{"--changes", "write only results that differ from the last"};
inline const Typed<int, 0> retry{"--retry", "retries if no usable answer comes", "0"};
inline const Typed<int, 0> retryDelay{"--retry-delay", "milliseconds before a retry", "500"};
inline const Flag retryWrites{"--retry-writes", "also retry calls that change the slave"};

/// The options for many runs.
inline const std::vector<Parameter> ofManyRuns{hosts, jobs, every, count, changes};

inline const std::vector<Parameter> ofEveryOperation{host,  port,  timeout, database,   json,        verbose,
                                                     quiet, trace, retry,   retryDelay, retryWrites, hosts,
                                                     jobs,  every, count,   changes,    help,        version};

// Options of some ---------------------------------------------------------------------------------------------------

inline const Flag yes{"--yes", "required as a confirmation"};

inline const Typed<std::uint32_t> frecuencia{"--frecuencia", "channel frequency", "0"};
inline const Typed<std::uint32_t> frecuenciaLogged{"--frecuencia", "frequency, only logged", "0"};
inline const Typed<std::uint32_t> frecuenciaIntermedia{"--frecuenciaIntermedia", "intermediate frequency", "0"};
inline const Typed<std::int32_t> parametroSat{"--parametroSat", "passed on", "0"};
inline const Typed<std::uint16_t> parametroTerr{"--parametroTerr", "passed on", "0"};
inline const Typed<std::uint16_t> parametroSat2{"--parametroSat2", "passed on", "0"};
inline const Typed<std::uint16_t> parametroComun{"--parametroComun", "passed on", "0"};
inline const Typed<std::uint16_t> parametroSat3{"--parametroSat3", "passed on", "0"};
inline const Typed<std::uint16_t> parametroSat4{"--parametroSat4", "passed on", "0"};

inline const Typed<int, 1> interval{"--interval", "milliseconds between polls", "500"};
inline const Typed<int, 0> retryPoll{retry.name.c_str(), "how often a lost poll is repeated", "3"};
inline const Typed<int, 0> until{"--until", "the status that ends the scan", "100"};

inline const Word input{"--input", "FILE", "the block to send; - is standard input"};
inline const auto entrada = repeated(Typed<int>{"--entrada", "an input to read; default: 1"});
inline const auto table = repeated(Word{"--table", "QUERY", "rows to read"});
inline const auto file = repeated(Word{"--file", "RUTA", "a file to read"});

inline const Word output{"--output", "FILE", "receives the block; - is standard output"};

} // namespace option

// Arguments ---------------------------------------------------------------------------------------------------------

namespace argument {

inline const Typed<std::string> query{"QUERY", "the query"};
inline const Typed<std::string> statement{"QUERY", "the statement"};
inline const Typed<std::string> table{"TABLE", "the table it concerns"};
inline const Typed<int> entrada{"ENTRADA", "the input"};
inline const Typed<unsigned short> parametroHora{"N", "passed on"};
inline const Typed<unsigned short> valor{"VALOR", "the refresh value"};
inline const Typed<std::string> nombre{"NOMBRE", "the script"};
inline const Typed<int> parametro{"PARAMETRO", "passed on; nelkaslave's input"};
inline const Typed<bool> indicador{"INDICADOR", "passed on"};
inline const Typed<int> extra{"EXTRA", "passed on"};
inline const Typed<int> tipoScan{"TIPOSCAN", "the kind of scan"};
inline const Typed<unsigned char> bandaScan{"BANDASCAN", "the band"};
inline const Typed<int> idScan{"IDSCAN", "the scan"};
inline const Typed<Soc> soc{"SOC", "the new identifier"};
inline const Typed<int> n{"N", "passed on"};
inline const Typed<std::string> ruta{"RUTA", "the file's path on the slave"};
inline const Typed<int> borrar{"BORRAR", "1: delete it on the slave"};
inline const Typed<int> tipo{"TIPO", "the kind of file"};
inline const Typed<int> modo{"MODO", "the mode"};
inline const Typed<int> source{"SOURCE", "passed on"};
inline const Typed<int> idTabla{"IDTABLA", "the table"};
inline const Typed<int> ext1{"EXT1", "passed on"};
inline const Typed<int> ext2{"EXT2", "passed on"};
inline const Typed<int> ext3{"EXT3", "passed on"};
inline const Typed<int> idResumen{"IDRESUMEN", "the summary"};

} // namespace argument

} // namespace nelkactl
