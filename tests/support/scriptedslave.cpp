#include "scriptedslave.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "checked.h"
#include "ports.h"
#include "stopwatch.h"

namespace support {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Messages between parent and slave: a text is its length and its bytes.

bool writeAll(int fd, const void* data, std::size_t size)
{
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(fd, next, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        next += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool readAll(int fd, void* data, std::size_t size)
{
    char* next = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t got = read(fd, next, size);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        next += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

void writeNumber(std::string& out, std::uint64_t number)
{
    out.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void writeText(std::string& out, const std::string& text)
{
    writeNumber(out, text.size());
    out += text;
}

std::uint64_t readNumber(int fd)
{
    std::uint64_t number = 0;
    if (!readAll(fd, &number, sizeof number))
        throw std::runtime_error("the scripted slave is gone");
    return number;
}

std::size_t readSize(int fd)
{
    return static_cast<std::size_t>(readNumber(fd));
}

std::string readText(int fd)
{
    std::string text(readSize(fd), '\0');
    if (!readAll(fd, text.data(), text.size()))
        throw std::runtime_error("the scripted slave is gone");
    return text;
}

void tell(int fd, const std::string& message)
{
    if (!writeAll(fd, message.data(), message.size()))
        throw std::runtime_error("the scripted slave is gone");
}

std::string packed(const std::vector<Step>& script)
{
    std::string out;
    writeNumber(out, script.size());
    for (const Step& step : script) {
        writeText(out, step.bytes);
        writeNumber(out, static_cast<std::uint64_t>(step.delay.count()));
        writeNumber(out, step.piece);
        writeNumber(out, static_cast<std::uint64_t>(step.pause.count()));
        writeNumber(out, static_cast<std::uint64_t>(step.then));
        writeNumber(out, step.onAccept);
    }
    return out;
}

std::vector<Step> readScript(int fd)
{
    std::vector<Step> script(readSize(fd));
    for (Step& step : script) {
        step.bytes = readText(fd);
        step.delay = milliseconds(readNumber(fd));
        step.piece = readSize(fd);
        step.pause = milliseconds(readNumber(fd));
        step.then = static_cast<Step::Then>(readNumber(fd));
        step.onAccept = readNumber(fd) != 0;
    }
    return script;
}

constexpr char playCommand = 'P';
constexpr char requestsCommand = 'R';
constexpr char connectionsCommand = 'C';
constexpr char dropCommand = 'D';

// The slave's side.
class Server {
public:
    Server(int listening, int controlling, std::vector<Step> first)
        : listener(listening), control(controlling), script(std::move(first))
    {
    }

    [[noreturn]] void run()
    {
        for (;;) {
            std::vector<pollfd> watched{{control, POLLIN, 0}, {listener, POLLIN, 0}};
            for (const auto& [fd, received] : open)
                watched.push_back({fd, POLLIN, 0});
            if (poll(watched.data(), watched.size(), -1) < 0)
                continue;
            if (watched[0].revents)
                obey();
            if (watched[1].revents)
                take();
            for (std::size_t i = 2; i < watched.size(); ++i)
                if (watched[i].revents && open.contains(watched[i].fd))
                    receive(watched[i].fd);
        }
    }

private:
    void obey()
    {
        char command = 0;
        if (!readAll(control, &command, 1))
            _exit(0);
        std::string answer;
        switch (command) {
        case playCommand:
            script = readScript(control);
            next = 0;
            requests.clear();
            ++scriptNumber;
            writeNumber(answer, 0);
            break;
        case requestsCommand:
            writeNumber(answer, requests.size());
            for (const std::string& request : requests)
                writeText(answer, request);
            break;
        case connectionsCommand:
            writeNumber(answer, accepted);
            break;
        case dropCommand:
            while (!open.empty())
                drop(open.begin()->first);
            for (const int fd : held)
                close(fd);
            held.clear();
            writeNumber(answer, 0);
            break;
        default:
            _exit(1);
        }
        if (!writeAll(control, answer.data(), answer.size()))
            _exit(0);
    }

    void take()
    {
        const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            return;
        ++accepted;
        open[fd];
        if (next < script.size() && script[next].onAccept)
            perform(fd);
    }

    void receive(int fd)
    {
        char buffer[65536];
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got <= 0) {
            drop(fd);
            return;
        }
        std::string& received = open[fd];
        received.append(buffer, static_cast<std::size_t>(got));
        const std::size_t size = requestSize(received);
        if (size == 0 || received.size() < size)
            return;
        requests.push_back(received.substr(0, size));
        received.erase(0, size);
        perform(fd);
    }

    void perform(int fd)
    {
        if (script.empty())
            return;
        const Step step = script[std::min(next, script.size() - 1)];
        if (next + 1 < script.size())
            ++next;
        const std::uint64_t number = scriptNumber;
        if (!wait(step.delay, number))
            return;
        const std::size_t piece = step.piece ? step.piece : std::max<std::size_t>(step.bytes.size(), 1);
        for (std::size_t sent = 0; sent < step.bytes.size(); sent += piece) {
            if (!open.contains(fd)
                || !writeAll(fd, step.bytes.data() + sent, std::min(piece, step.bytes.size() - sent)))
                break;
            if (!wait(step.pause, number))
                return;
        }
        if (!open.contains(fd))
            return;
        switch (step.then) {
        case Step::Then::keep:
            break;
        case Step::Then::close:
            drop(fd);
            break;
        case Step::Then::reset: {
            const linger abrupt{1, 0};
            setsockopt(fd, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
            drop(fd);
            break;
        }
        case Step::Then::hold:
            held.push_back(fd);
            open.erase(fd);
            break;
        }
    }

    // Waits, while taking orders; false once another script is played.
    bool wait(milliseconds time, std::uint64_t number)
    {
        const Clock::time_point end = Clock::now() + time;
        for (;;) {
            const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
            if (left.count() <= 0)
                return true;
            pollfd watched{control, POLLIN, 0};
            if (poll(&watched, 1, static_cast<int>(left.count())) > 0)
                obey();
            if (scriptNumber != number)
                return false;
        }
    }

    void drop(int fd)
    {
        close(fd);
        open.erase(fd);
    }

    const int listener;
    const int control;
    std::vector<Step> script;
    std::size_t next = 0;
    std::uint64_t scriptNumber = 0;
    std::vector<std::string> requests;
    std::size_t accepted = 0;
    std::map<int, std::string> open; // descriptor and the bytes received of its next request
    std::vector<int> held;
};

} // namespace

std::size_t requestSize(const std::string& received)
{
    const std::size_t head = received.find("\r\n\r\n");
    if (head == std::string::npos)
        return 0;
    std::string headers = received.substr(0, head);
    std::transform(headers.begin(), headers.end(), headers.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::string label = "\r\ncontent-length:";
    const std::size_t length = headers.find(label);
    const std::size_t body =
        length == std::string::npos ? 0 : std::strtoul(headers.c_str() + length + label.size(), nullptr, 10);
    return head + 4 + body;
}

Step http(const std::string& statusLine, const std::string& headers, const std::string& body)
{
    Step step;
    step.bytes = statusLine + "\r\n" + headers + "\r\n" + body;
    return step;
}

Step ok(const std::string& body)
{
    return http("HTTP/1.1 200 OK", "Content-Type: text/xml\r\nContent-Length: " + std::to_string(body.size()) + "\r\n",
                body);
}

Step reply(const std::string& value)
{
    return ok(xml::response(value));
}

Step replyArray(const std::vector<std::string>& values)
{
    return reply(xml::array(values));
}

Step replyFault(int code, const std::string& text)
{
    return ok(xml::fault(code, text));
}

Step serverError()
{
    return http("HTTP/1.1 500 Internal Server Error", "Content-Length: 0\r\n", "");
}

Step silence()
{
    return {};
}

Step resetAfterRequest()
{
    Step step;
    step.then = Step::Then::reset;
    return step;
}

Step deaf()
{
    Step step;
    step.onAccept = true;
    step.then = Step::Then::hold;
    return step;
}

Step delayed(Step step, milliseconds delay)
{
    step.delay = delay;
    return step;
}

Step dripped(Step step, std::size_t piece, milliseconds pause)
{
    step.piece = piece;
    step.pause = pause;
    return step;
}

Step cutAt(Step step, std::size_t bytes, Step::Then then)
{
    step.bytes.resize(std::min(bytes, step.bytes.size()));
    step.then = then;
    return step;
}

Step thenClose(Step step)
{
    step.then = Step::Then::close;
    return step;
}

ScriptedSlave::ScriptedSlave(std::vector<Step> script, int receiveBuffer)
{
    const int listener = boundSocket();
    if (receiveBuffer > 0)
        setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    checked(listen(listener, 128), "listen");
    listeningPort = portOf(listener);

    int ends[2];
    checked(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "socketpair");
    child.emplace([&] {
        for (const int signal : {SIGALRM, SIGTERM, SIGCHLD})
            std::signal(signal, SIG_DFL);
        std::signal(SIGINT, SIG_IGN); // Ctrl-C goes to the whole group
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        close(ends[0]);
        Server(listener, ends[1], std::move(script)).run();
    });
    close(ends[1]);
    close(listener);
    control = ends[0];
    recorder = Recorder::before(listeningPort);
}

ScriptedSlave::~ScriptedSlave()
{
    close(control);
}

void ScriptedSlave::play(std::vector<Step> script)
{
    tell(control, playCommand + packed(script));
    readNumber(control);
}

std::vector<std::string> ScriptedSlave::requests() const
{
    tell(control, std::string(1, requestsCommand));
    std::vector<std::string> all(readSize(control));
    for (std::string& request : all)
        request = readText(control);
    return all;
}

std::vector<std::string> ScriptedSlave::bodies() const
{
    std::vector<std::string> all = requests();
    for (std::string& request : all)
        request.erase(0, request.find("\r\n\r\n") + 4);
    return all;
}

std::vector<xml::Request> ScriptedSlave::calls() const
{
    std::vector<xml::Request> all;
    for (const std::string& body : bodies())
        all.push_back(xml::parseRequest(body));
    return all;
}

std::size_t ScriptedSlave::connections() const
{
    tell(control, std::string(1, connectionsCommand));
    return readSize(control);
}

void ScriptedSlave::awaitRequests(std::size_t count) const
{
    const Stopwatch watch;
    while (requests().size() < count) {
        if (watch.elapsed() > std::chrono::seconds(10))
            throw std::runtime_error("the scripted slave was not asked");
        poll(nullptr, 0, 1);
    }
}

void ScriptedSlave::dropConnections()
{
    tell(control, std::string(1, dropCommand));
    readNumber(control);
}

} // namespace support
