// The system calls of one call beyond those of xmlrpc-c.
#include <algorithm>
#include <csignal>
#include <iostream>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/syslog.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <xmlrpc-c/base.h>
#include <xmlrpc-c/client.h>

#include "support/fixture.h"

using namespace support;

namespace {

using Numbers = std::vector<long>;

// System calls that mark the beginning and the end.
constexpr long opening = SYS_getppid, closing = SYS_getpgid;

/// Runs `body` in a child process and returns, sorted, its system calls between the two marks.
Numbers trace(const std::function<void()>& body)
{
    const Child child([&body] {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(0);
        raise(SIGSTOP);
        body();
    });
    Numbers seen;
    bool within = false;
    int status = 0;
    while (waitpid(child.id(), &status, __WALL) == child.id() && WIFSTOPPED(status)) {
        ptrace(PTRACE_SETOPTIONS, child.id(), nullptr, PTRACE_O_TRACESYSGOOD);
        __ptrace_syscall_info info = {};
        if (WSTOPSIG(status) == (SIGTRAP | 0x80) && ptrace(PTRACE_GET_SYSCALL_INFO, child.id(), sizeof info, &info) > 0
            && info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            const long number = static_cast<long>(info.entry.nr);
            if (number == closing)
                within = false;
            if (within)
                seen.push_back(number);
            if (number == opening)
                within = true;
        }
        ptrace(PTRACE_SYSCALL, child.id(), nullptr, nullptr);
    }
    std::sort(seen.begin(), seen.end());
    return seen;
}

Numbers ofTheLibrary(unsigned short port)
{
    return trace([port] {
        nelka::XmlrpcClient client("127.0.0.1", port, "eth1", "app", "1.0");
        client.init();
        setlogmask(LOG_UPTO(LOG_EMERG));
        client.updateNTP(ampleTimeout);
        syscall(opening);
        client.updateNTP(ampleTimeout);
        syscall(closing, 0);
        if (client.getFault() != 0)
            raise(SIGABRT);
    });
}

Numbers ofXmlrpcAlone(unsigned short port)
{
    return trace([port] {
        xmlrpc_env env;
        xmlrpc_env_init(&env);
        xmlrpc_client_setup_global_const(&env);
        xmlrpc_client* client = nullptr;
        xmlrpc_curl_xportparms transport = {};
        transport.timeout = 17000; // otherwise libcurl changes SIGPIPE for each call
        xmlrpc_clientparms parameters = {};
        parameters.transport = "curl";
        parameters.transportparmsP = &transport;
        parameters.transportparm_size = XMLRPC_CXPSIZE(timeout);
        xmlrpc_client_create(&env, 0, "app", "1.0", &parameters, XMLRPC_CPSIZE(transportparm_size), &client);
        int flag = 0;
        xmlrpc_client_set_interrupt(client, &flag);
        const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/RPC2";
        const auto call = [&] {
            xmlrpc_value* reply = nullptr;
            xmlrpc_client_call2f(&env, client, url.c_str(), "UpdateNTP", &reply, "()");
            if (env.fault_occurred)
                raise(SIGABRT);
            xmlrpc_DECREF(reply);
        };
        call();
        syscall(opening);
        call();
        syscall(closing, 0);
    });
}

/// A call makes fewest when it need not wait for its reply, which takes a few tries on a loaded machine.
Numbers fewest(Numbers (*traced)(unsigned short), unsigned short port)
{
    Numbers found = traced(port);
    for (int tries = 0; tries < 20; ++tries)
        found = std::min(found, traced(port), [](const Numbers& a, const Numbers& b) { return a.size() < b.size(); });
    return found;
}

TEST(SystemCalls, SuccessfulCallAddsAtMostFour)
{
    const ScriptedSlave slave({replyArray({xml::i4(0)})});
    const Numbers alone = fewest(ofXmlrpcAlone, slave.port());
    if (alone.empty()) {
        std::cerr << "SKIPPED: no right to trace a process\n";
        GTEST_SKIP();
    }
    const Numbers all = fewest(ofTheLibrary, slave.port());
    Numbers ours, missing;
    std::set_difference(all.begin(), all.end(), alone.begin(), alone.end(), std::back_inserter(ours));
    std::set_difference(alone.begin(), alone.end(), all.begin(), all.end(), std::back_inserter(missing));
    EXPECT_EQ(missing, Numbers{});
    EXPECT_LE(ours.size(), 4U) << ::testing::PrintToString(ours);
    std::cout << alone.size() << " of xmlrpc-c, " << ours.size() << " of ours: " << ::testing::PrintToString(ours)
              << '\n';
}

} // namespace
