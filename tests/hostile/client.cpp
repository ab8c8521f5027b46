// Whatever a slave replies, the master survives: it neither crashes nor hangs nor exceeds its time-out, and its memory
// stays bounded.
#include <algorithm>
#include <csignal>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>

#include "documents.h"
#include "limits.h"
#include "support/checked.h"
#include "support/child.h"
#include "support/scriptedslave.h"
#include "support/stopwatch.h"

using namespace support;
using namespace std::chrono_literals;
using hostile::Due;

namespace {

constexpr std::size_t smallStack = 128 * 1024;
constexpr int ample = 20'000; // milliseconds

/// The report of a process that survived the call.
struct Report {
    int fault;
    std::chrono::microseconds time;
    std::chrono::microseconds processor;
    long grown; ///< growth of its peak memory, in kB, since an ordinary call
    bool worksOn;
};

long peakOfMemory()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Calls getTable().
int faultOfCall(nelka::XmlrpcClient& client, int timeout)
{
    nelkadb::ResultSet table;
    try {
        client.getTable("SELECT", table, timeout);
    } catch (const std::logic_error&) { // a text is missing
    }
    return client.getFault();
}

// Makes three calls; the second gets the hostile reply, the others have ample time.
Report callThrice(unsigned short port, int timeout)
{
    nelka::XmlrpcClient client("127.0.0.1", port, "eth1", "app", "1.0");
    Report report{};
    if (client.init() != 0 || faultOfCall(client, ample) != 0)
        throw std::runtime_error("an ordinary call fails");
    const long before = peakOfMemory();
    const std::chrono::microseconds earlier = hostile::processorTime();
    const Stopwatch watch;
    report.fault = faultOfCall(client, timeout);
    report.time = watch.elapsed();
    report.processor = hostile::processorTime() - earlier;
    report.grown = peakOfMemory() - before;
    report.worksOn = client.resetConn() == 0 && faultOfCall(client, ample) == 0;
    return report;
}

/// Runs it in a thread with that stack size.
void inThread(std::size_t stack, const std::function<void()>& body)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stack);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    if (pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&body)) != 0)
        throw std::runtime_error("pthread_create");
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

class Client : public ::testing::Test {
protected:
    ScriptedSlave slave;
    std::optional<std::size_t> stack; ///< of the calling thread, unless it is the main thread
    int timeout = 3000;

    void TearDown() override
    {
        std::cout << "at most " << mostProcessor.count() / 1000 << " ms and " << mostGrown / 1024 << " MB\n";
    }

    // The harm in words; empty if there is none.
    std::string harmOf(const Step& reply, Due due)
    {
        const Step ordinary = replyArray({xml::i4(0), xml::array({xml::array({xml::text("a")})})});
        slave.play({ordinary, reply, ordinary});
        int ends[2];
        checked(pipe(ends), "pipe");
        Child child([&] {
            mallopt(M_PERTURB, 0xA5); // makes uninitialised memory non-zero
            const auto call = [&] {
                const Report report = callThrice(slave.port(), timeout);
                checked(static_cast<int>(write(ends[1], &report, sizeof report)), "write");
            };
            stack ? inThread(*stack, call) : call();
        });
        close(ends[1]);
        const int status = child.end(patience);
        Report report{};
        const bool reported = read(ends[0], &report, sizeof report) == sizeof report;
        close(ends[0]);

        if (WIFSIGNALED(status))
            return WTERMSIG(status) == SIGKILL ? "hung" : std::string("died of SIG") + sigabbrev_np(WTERMSIG(status));
        if (WEXITSTATUS(status) != 0 || !reported)
            return "ended early";
        mostProcessor = std::max(mostProcessor, report.processor);
        mostGrown = std::max(mostGrown, report.grown);
        if (report.time > std::chrono::milliseconds(timeout) + hostile::lateness())
            return "took " + std::to_string(report.time.count() / 1000) + " ms";
        if (const std::string excess = hostile::excess(report.processor, report.grown); !excess.empty())
            return excess;
        if (due == Due::refusal && report.fault != -503)
            return "was not refused: fault " + std::to_string(report.fault);
        return report.worksOn ? "" : "left a client that fails";
    }

private:
    static constexpr std::chrono::seconds patience{30};
    std::chrono::microseconds mostProcessor{0};
    long mostGrown = 0;
};

// Documents ----------------------------------------------------------------------------------------------------------

class HostileReplies : public Client, public ::testing::WithParamInterface<std::string> {
protected:
    void expectNoHarm(const hostile::Place& place)
    {
        if (hostile::slow() && GetParam() == hostile::abundance)
            timeout = ample; // parsing cannot be interrupted
        for (const hostile::Document& document : hostile::documentsOf(GetParam()))
            EXPECT_EQ(harmOf(ok(document.at(place)), document.due), "") << document.name << ", in " << place.name;
    }
};

#ifndef SWEEP

// Functions: the constants in the other file that the documents need may not be initialised yet.
const auto groups = hostile::groups;

TEST_P(HostileReplies, DoNoHarm)
{
    expectNoHarm(hostile::replyPlaces().front());
}

TEST_P(HostileReplies, DoNoHarmOnSmallStack)
{
    stack = smallStack;
    expectNoHarm(hostile::replyPlaces().front());
}

TEST_F(Client, SurvivesBrokenReplies)
{
    timeout = 500; // some replies never come
    for (const hostile::Message& message : hostile::brokenReplies()) {
        Step step;
        step.bytes = message.bytes;
        step.then = message.then == hostile::Message::Then::hold ? Step::Then::hold : Step::Then::close;
        EXPECT_EQ(harmOf(step, Due::anything), "") << message.name;
    }
}

#else

// Functions: the constants in the other file that the documents need may not be initialised yet.
const auto groups = hostile::groupsWithoutAbundance;

TEST_P(HostileReplies, DoNoHarmInAnyPlace)
{
    for (const hostile::Place& place : hostile::replyPlaces())
        expectNoHarm(place);
}

TEST_P(HostileReplies, DoNoHarmInAnyEncoding)
{
    stack = smallStack;
    for (const hostile::Encoding& encoding : hostile::encodings()) {
        const hostile::Place place = encoding.declaredIn(hostile::replyPlaces().front());
        for (const hostile::Document& document : hostile::documentsOf(GetParam()))
            EXPECT_EQ(harmOf(ok(encoding.write(document.at(place))), Due::anything), "")
                << document.name << ", " << encoding.name;
    }
}

#endif

INSTANTIATE_TEST_SUITE_P(Groups, HostileReplies, ::testing::ValuesIn(groups()),
                         [](const auto& group) { return group.param; });

} // namespace
