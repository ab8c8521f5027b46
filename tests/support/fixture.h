// The fixture of most tests of the client.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <sys/syslog.h>

#include "logrecorder.h"
#include "scriptedslave.h"

namespace support {

/// In milliseconds, for calls that must not time out.
constexpr int ampleTimeout = 5000;

/// The log line of a signal: "SIGINT" or "SIGALRM", and the former flag.
inline LogLine signalLine(const std::string& signal, int flag = 0)
{
    return {LOG_NOTICE, signal + " signal received. interrupt " + std::to_string(flag)};
}

/// A scripted slave, forked first, and a client ready to call it, with the log recorded.
class ClientTest : public ::testing::Test {
protected:
    ScriptedSlave slave;
    LogRecorder log;
    nelka::XmlrpcClient client{"127.0.0.1", slave.port(), "eth1", "app", "1.0"};

    void SetUp() override
    {
        ASSERT_EQ(client.init(), 0);
        log.clear();
    }

    void TearDown() override { client.set_timer(0); }

    void replyWell() { slave.play({replyArray({xml::i4(0)})}); }

    /// A call that fails immediately and leaves its timer armed.
    void fail(int timeout)
    {
        slave.play({serverError()});
        client.updateNTP(timeout);
        ASSERT_EQ(client.getFault(), -504);
    }

    /// How often this line was logged.
    std::ptrdiff_t count(const LogLine& line) const
    {
        const Lines lines = log.lines();
        return std::count(lines.begin(), lines.end(), line);
    }

    /// The lines that a call writes, from its debug line to the last.
    static LogLine debug(const std::string& text) { return {LOG_DEBUG, text}; }
    static LogLine error(const std::string& text) { return {LOG_ERR, text}; }
    static LogLine armed(int milliseconds) { return debug("INICIO ALARMA " + std::to_string(milliseconds)); }
    static LogLine disarmed() { return armed(0); }
    static LogLine place() { return error("Error in file src/xmlrpclient.cpp, line N\n"); }

    LogLine faultLine(const std::string& message) const { return faultLine(client, message); }

    static LogLine faultLine(const nelka::XmlrpcClient& failed, const std::string& message)
    {
        const xmlrpc_env& env = failed.environment();
        char code[16];
        std::snprintf(code, sizeof code, "0x%x", static_cast<unsigned int>(env.fault_code));
        return error("ERROR en XML-RPC: mensaje : " + message + ", error : " + env.fault_string + " (" + code + ")\n");
    }

    static LogLine notReadyLine(const std::string& message)
    {
        return error("ERROR en XML-RPC: mensaje : " + message + ", error : client not ready (0xfffffe0c)\n");
    }

    static LogLine refusedLine(const std::string& message, int status)
    {
        return error("Error recibido desde el esclavo: mensaje : " + message + ", error : " + std::to_string(status)
                     + "\n");
    }

    static LogLine timeoutLine(const std::string& message)
    {
        return error("XML-RPC Fault: TIMEOUT POR SIGNAL  mensaje : " + message
                     + " in file src/xmlrpclient.cpp, line N\n");
    }
};

} // namespace support
