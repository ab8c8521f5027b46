// From a call on the wire to a procedure and back.
#pragma once

#include <deque>

#include <nelkanet/xmlrpcserver.h>

#include "behave.h"
#include "procedures.h"

namespace nelkaslave {

/// Publishes every procedure of a slave on a server, with whatever misbehaviour was asked for, and writes a line to
/// standard error for each call. Lives as long as the server does.
class Calls {
public:
    Calls(nelka::XmlrpcServer& server, Slave& slave, Behaviours behaviours);
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

private:
    struct Published {
        Slave& slave;
        const Procedure& procedure;
        Behaviour behaviour;
    };

    static xmlrpc_value* serve(xmlrpc_env* env, xmlrpc_value* parameters, void* published, void*);
    static Value answer(const Published& published, const Arguments& arguments, std::string& outcome);

    std::deque<Published> all;
};

} // namespace nelkaslave
