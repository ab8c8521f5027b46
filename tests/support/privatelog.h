// A system log that tests can read and stall, written by the real syslog().
#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace support {

/// A private /dev/log in a private mount namespace. Only one per process, which cannot leave the namespace.
class PrivateLog {
public:
    PrivateLog()
    {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || mount("dev", "/mnt", "tmpfs", 0, nullptr) != 0)
            return;
        for (const std::string device : {"null", "zero", "random", "urandom"}) {
            const std::string copy = "/mnt/" + device;
            std::ofstream(copy).flush();
            mount(("/dev/" + device).c_str(), copy.c_str(), nullptr, MS_BIND, nullptr);
        }
        if (mount("/mnt", "/dev", nullptr, MS_MOVE, nullptr) != 0)
            return;
        reading = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
        owned = bind(reading, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~PrivateLog()
    {
        closelog();
        close(reading);
    }
    PrivateLog(const PrivateLog&) = delete;
    PrivateLog& operator=(const PrivateLog&) = delete;

    bool works() const { return owned; }

    /// Fills the queue, so that the next line blocks until one is read.
    static void stall()
    {
        const int writing = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
        while (sendto(writing, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1) {
        }
        close(writing);
    }

    /// Reads all lines until `done` is set.
    std::vector<std::string> drain(const std::atomic<bool>& done) const
    {
        std::vector<std::string> lines;
        while (true) {
            const bool last = done;
            char line[8192];
            ssize_t size = 0;
            while ((size = recv(reading, line, sizeof line, MSG_DONTWAIT)) > 0)
                lines.emplace_back(line, static_cast<std::size_t>(size));
            if (last)
                return lines;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

private:
    int reading = -1;
    bool owned = false;
};

} // namespace support
