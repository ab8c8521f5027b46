// A slave in a separate process that answers, and misbehaves, as its script says.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "child.h"
#include "ports.h" // for tests without a slave
#include "recorder.h"
#include "xml.h"

namespace support {

/// How the slave handles one request.
struct Step {
    enum class Then {
        keep,  ///< keeps the connection for further requests
        close, ///< closes it
        reset, ///< resets it
        hold   ///< keeps it but never reads from it again
    };

    std::string bytes;                  ///< all that is sent, status line and headers included
    std::chrono::milliseconds delay{0}; ///< before the first byte
    std::size_t piece = 0;              ///< bytes per write; 0: all
    std::chrono::milliseconds pause{0}; ///< after each piece
    Then then = Then::keep;
    bool onAccept = false; ///< done when a connection is accepted; no request is read
};

/// HTTP messages.
Step http(const std::string& statusLine, const std::string& headers, const std::string& body);
/// "200 OK" with the body's length, as text/xml, on a kept connection.
Step ok(const std::string& body);
/// ok() of a methodResponse with one value.
Step reply(const std::string& value);
/// reply() of an array.
Step replyArray(const std::vector<std::string>& values);
/// ok() of a fault response.
Step replyFault(int code, const std::string& text);

/// "500 Internal Server Error", without a body.
Step serverError();
/// Silence: reads the request and never sends anything.
Step silence();
/// Resets the connection after reading the request.
Step resetAfterRequest();
/// Accepts the connection and reads nothing.
Step deaf();

/// Variations of another step.
Step delayed(Step step, std::chrono::milliseconds delay);
Step dripped(Step step, std::size_t piece, std::chrono::milliseconds pause);
Step cutAt(Step step, std::size_t bytes, Step::Then then); ///< sends only that many bytes
Step thenClose(Step step);

/// The length of the request that these bytes begin, or 0 if its headers are incomplete.
std::size_t requestSize(const std::string& received);

class ScriptedSlave {
public:
    /// Forks the slave, which listens on a free port of 127.0.0.1 and follows `script`: one step per request, repeating
    /// the last. Construct it before init(), because signal handlers are inherited; the slave resets them. A small
    /// `receiveBuffer`, in bytes, makes the sender of a large request wait.
    explicit ScriptedSlave(std::vector<Step> script = {}, int receiveBuffer = 0);
    ~ScriptedSlave();
    ScriptedSlave(const ScriptedSlave&) = delete;
    ScriptedSlave& operator=(const ScriptedSlave&) = delete;

    unsigned short port() const { return recorder ? recorder->port() : listeningPort; }

    /// Starts another script immediately and forgets the recorded requests. Open connections stay.
    void play(std::vector<Step> script);

    /// The complete requests received since the last play(), raw.
    std::vector<std::string> requests() const;

    /// Their bodies, raw and parsed.
    std::vector<std::string> bodies() const;
    std::vector<xml::Request> calls() const;

    /// The number of connections accepted since the start.
    std::size_t connections() const;

    /// Waits until that many complete requests have been received since the last play(). Throws std::runtime_error
    /// after 10 seconds.
    void awaitRequests(std::size_t count) const;

    /// Closes every open connection from the slave's side, like an impatient slave.
    void dropConnections();

private:
    std::optional<Child> child;
    int control = -1;
    unsigned short listeningPort = 0;
    std::unique_ptr<Recorder> recorder;
};

} // namespace support
