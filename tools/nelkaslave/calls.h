// Connects calls on the wire with procedures.
#pragma once

#include <vector>

#include <nelkanet/xmlrpcserver.h>

#include "behave.h"
#include "procedures.h"

namespace nelkaslave {

/// Answers the calls of a slave's procedures, misbehaves as told, and writes a line per call to standard error.
class Calls {
public:
    Calls(Slave& slave, Script script);
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    /// Adds every procedure to a server, which keeps a reference to this object.
    void publish(nelka::XmlrpcServer& server);

private:
    struct Published {
        Slave& slave;
        const Procedure& procedure;
        Script& script;
    };

    static xmlrpc_value* serve(xmlrpc_env* env, xmlrpc_value* parameters, void* published, void*);
    static Value answer(const Published& published, xmlrpc_value* parameters, std::string& outcome);

    Script script;
    std::vector<Published> all;
};

} // namespace nelkaslave
