// Simulates years of calls: many expiries in every phase, replies close to the deadline, and no drift.
#include <array>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

#include "support/busythreads.h"
#include "support/checked.h"
#include "support/child.h"
#include "support/descriptors.h"
#include "support/fixture.h"
#include "support/mutedoutput.h"
#include "support/operations.h"
#include "support/ports.h"
#include "support/seeded.h"
#include "support/stopwatch.h"
#include "support/xmlrpcspy.h"

using namespace support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Expiries ---------------------------------------------------------------------------------------------------------

std::array<Clock::time_point, 2> firstLines;
std::size_t linesSeen = 0;

void noteTime()
{
    if (linesSeen < firstLines.size())
        firstLines[linesSeen] = Clock::now();
    ++linesSeen;
}

// Measured from the alarm's log line, which is written just before the alarm is set.
template <typename Call>
std::chrono::microseconds timeSinceAlarm(Call call)
{
    linesSeen = 0;
    LogRecorder::duringLogCall = noteTime;
    call();
    const Clock::time_point end = Clock::now();
    LogRecorder::duringLogCall = nullptr;
    return std::chrono::duration_cast<std::chrono::microseconds>(end - firstLines[1]);
}

class Expiries : public ::testing::Test {
protected:
    static constexpr int perPhase = 500;

    void expectPunctuality(const ScriptedSlave* slave, unsigned short port, const std::vector<char>& block)
    {
        LogRecorder log;
        std::mt19937 random = seeded();
        std::uniform_int_distribution<int> timeouts(5, 50);
        std::chrono::microseconds worst{0};
        nelka::XmlrpcClient client("127.0.0.1", port, "eth1", "app", "1.0");
        for (int i = 0; i < perPhase; ++i) {
            ASSERT_EQ(client.resetConn(), 0);
            log.clear();
            const int timeout = timeouts(random);
            const std::chrono::microseconds late =
                timeSinceAlarm([&] { client.wrFicheroTablasSI(1, 2, block, timeout); })
                - std::chrono::milliseconds(timeout);
            ASSERT_EQ(client.getFault(), -505);
            ASSERT_GE(late, 0us);
            ASSERT_LT(late, lateness()) << "expiry " << i;
            worst = std::max(worst, late);
        }
        if (slave) {
            EXPECT_GT(slave->connections(), 0U);
        }
        std::cout << "worst of " << perPhase << ": " << worst.count() << " us late\n";
    }
};

TEST_F(Expiries, WhileConnecting)
{
    const BlackHole blackHole;
    expectPunctuality(nullptr, blackHole.port(), {});
}

TEST_F(Expiries, WhileSending)
{
    const ScriptedSlave slave({deaf()}, 4096);
    expectPunctuality(&slave, slave.port(), std::vector<char>(700'000));
}

TEST_F(Expiries, WhileWaiting)
{
    const ScriptedSlave slave({silence()});
    expectPunctuality(&slave, slave.port(), {});
}

TEST_F(Expiries, WhileReadingBody)
{
    const Step whole = replyArray({xml::i4(0)});
    const ScriptedSlave slave({cutAt(whole, whole.bytes.size() - 40, Step::Then::keep)});
    expectPunctuality(&slave, slave.port(), {});
}

// The edge of the deadline -------------------------------------------------------------------------------------------

/// Answers "ActualizaRefrescoWeb" with its argument, at a random time near the deadline.
class Responder {
public:
    Responder(std::chrono::microseconds earliest, std::chrono::microseconds latest)
    {
        const int listener = boundSocket();
        checked(listen(listener, 16), "listen");
        port = portOf(listener);
        child.emplace([&] {
            std::mt19937 random = seeded();
            std::uniform_int_distribution<long long> delay(earliest.count(), latest.count());
            for (;;) {
                const int connection = accept(listener, nullptr, nullptr);
                while (answer(connection, std::chrono::microseconds(delay(random)))) {
                }
                close(connection);
            }
        });
        close(listener);
    }

    unsigned short port = 0;

private:
    static bool answer(int connection, std::chrono::microseconds delay)
    {
        std::string request;
        while (request.find("</methodCall>") == std::string::npos) {
            char buffer[4096];
            const ssize_t got = read(connection, buffer, sizeof buffer);
            if (got <= 0)
                return false;
            request.append(buffer, static_cast<std::size_t>(got));
        }
        std::this_thread::sleep_for(delay);
        const std::size_t value = request.find("<i4>") + 4;
        const int asked = std::stoi(request.substr(value));
        const std::string bytes = replyArray({xml::i4(asked)}).bytes;
        return send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }

    std::optional<Child> child;
};

class RepliesAtDeadline : public ::testing::Test {
protected:
    static constexpr int timeout = 4;

    // The responder is forked first.
    const Responder slave{2500us, 4500us};
    LogRecorder log;
    nelka::XmlrpcClient client{"127.0.0.1", slave.port, "eth1", "app", "1.0"};

    void expectCleanEnds(int calls)
    {
        ASSERT_EQ(client.init(), 0);
        int inTime = 0;
        for (int i = 0; i < calls; ++i) {
            log.clear();
            const auto asked = static_cast<unsigned short>(i);
            int status = -7001;
            const Stopwatch watch;
            client.setRefrescoWeb(asked, status, timeout);
            ASSERT_LT(watch.elapsed(), 5s);
            // An answer belongs to this call, and no answer is incomplete.
            if (client.getFault() == 0) {
                ++inTime;
                ASSERT_EQ(status, asked);
            } else {
                ASSERT_EQ(client.getFault(), -505);
                ASSERT_EQ(status, -7001);
            }
        }
        std::cout << inTime << " of " << calls << " replies came in time\n";
        EXPECT_GT(inTime, 0);
        EXPECT_LT(inTime, calls);
    }
};

TEST_F(RepliesAtDeadline, EndInTimeOrInTimeout)
{
    expectCleanEnds(20000);
}

TEST_F(RepliesAtDeadline, EndInTimeOrInTimeoutBesideBusyThreads)
{
    const BusyThreads others(8);
    expectCleanEnds(20000);
}

// Drift --------------------------------------------------------------------------------------------------------------

long residentKilobytes()
{
    std::ifstream statm("/proc/self/statm");
    long total = 0;
    long resident = 0;
    statm >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

long callsToMake()
{
    const char* asked = std::getenv("NELKANET_DRIFT_CALLS");
    return asked ? std::atol(asked) : 200'000;
}

TEST(Drift, IsAbsentOverManyCallsWithFaults)
{
    constexpr int perScript = 100;
    // One fault per hundred calls, of varying kind.
    const std::vector<Operation> calls = operationsOnTheWire();
    const std::vector<Step> faults{
        resetAfterRequest(), ok("no"), replyFault(-7, "no"), serverError(), thenClose(silence()),
        reply(xml::i4(3)),   silence()};
    ScriptedSlave slave;
    LogRecorder log;
    XmlrpcSpy spy;
    nelka::XmlrpcClient client("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(client.init(), 0);

    const long rounds = callsToMake() / perScript;
    std::size_t descriptors = 0;
    long resident = 0;
    long failed = 0;
    for (long round = 0; round < rounds; ++round) {
        const Operation& operation = calls[static_cast<std::size_t>(round) % calls.size()];
        std::vector<Step> script(perScript - 1, replyArray(operation.sampleReply(0)));
        script.insert(script.begin(), faults[static_cast<std::size_t>(round) % faults.size()]);
        slave.play(script);
        for (int i = 0; i < perScript; ++i) {
            log.clear();
            Variables variables;
            const MutedOutput muted;
            try {
                operation.call(client, variables, i == 0 ? 20 : ampleTimeout);
            } catch (const std::logic_error&) {
                ++failed;
            }
            failed += client.getFault() != 0 ? 1 : 0;
            spy.releaseKeptResult(); // intended leaks are no drift
        }
        // After the warm-up.
        if (round == rounds / 10) {
            descriptors = openDescriptors();
            resident = residentKilobytes();
        }
    }
    const long grown = residentKilobytes() - resident;
    std::cout << rounds * perScript << " calls, " << failed << " of them failed; grown by " << grown << " kB\n";
    // The transport repeats a request when a reused connection dies before the first byte.
    EXPECT_GE(failed, rounds / 2);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LT(grown, 512);
}

} // namespace
