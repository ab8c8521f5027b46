// Every remote operation of the client, one record each, for tests of all operations.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include <nelkanet/xmlrpclient.h>

namespace support {

/// Which status of the slave is an error.
enum class StatusRule { none, nonzero, negative };

/// When a reply is not released.
enum class Kept { never, whenRefused, whenThrowing };

enum class Kind { status, integer, clock, soc, text, block, table };

struct Output {
    std::string name;
    Kind kind;
};

/// The outputs of the operations. A new object holds presets, which reveal untouched outputs.
struct Variables {
    Variables();

    int status = -7001;
    int integer = -7002;
    unsigned long long clock = 7003;
    unsigned long soc = 7004;
    std::array<std::string, 6> texts{"preset 1", "preset 2", "preset 3", "preset 4", "preset 5", "preset 6"};
    std::vector<char> block{'p', 'r', 'e', 's', 'e', 't'};
    nelkadb::ResultSet table;
};

struct Operation {
    std::string family;
    std::string name;                    ///< the client's method
    std::string remote;                  ///< the slave's procedure
    std::string arguments;               ///< xmlrpc-c's notation, as for the reply shapes
    std::string shortReply;              ///< for a reply of one element; empty if `reply` serves any length
    std::string reply;                   ///< for any other
    std::size_t statusAt;                ///< the place of the status in `reply`
    StatusRule refusal;                  ///< the statuses that become the fault state
    Kept kept;                           ///< the replies that leak
    std::vector<Output> outputs;         ///< in the order of the method's parameters
    std::string debugLine;               ///< for the sample arguments and the host 127.0.0.1; {timeout} is the time-out
    std::vector<std::string> parameters; ///< the sample arguments on the wire, as in xml::Request

    /// Calls the operation with the sample arguments; first sets the client's `dbName` if that is one of them.
    void (*call)(nelka::XmlrpcClient&, Variables&, int timeout);

    /// DlFicheroEsclavo never sends anything: its argument list is not an array.
    bool reachesTheWire() const { return arguments.front() == '('; }

    /// The types of the elements that `reply` decodes: "is" for "(is*)".
    std::string types() const;

    /// The probe only repeats its debug line in error lines.
    bool logsDebugLine() const { return name != "sampleadd"; }

    /// The debug line of a call, which is also the "mensaje" of its error lines.
    std::string message(int timeout) const;

    bool refuses(int status) const;

    /// Throws std::logic_error when `reply` lacks a text.
    bool throwsWithoutText() const { return reply.find('s') != std::string::npos; }

    /// The operation's outputs as text, for comparison.
    std::vector<std::string> read(const Variables& variables) const;

    /// The elements of a reply that `reply` decodes, for replyArray().
    std::vector<std::string> sampleReply(int status) const;

    /// What read() returns after that reply.
    std::vector<std::string> delivered(int status) const;
};

/// All operations, by family: core, database, identity, administration, tuning, scanning, hardware, files, tables.
const std::vector<Operation>& operations();

/// The operations that send something.
std::vector<Operation> operationsOnTheWire();

/// The operation with that name. Throws std::out_of_range.
const Operation& operation(const std::string& name);

/// For the names and messages of parameterised tests.
std::ostream& operator<<(std::ostream& out, const Operation& operation);

} // namespace support
