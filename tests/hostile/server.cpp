// Whatever a master requests, the slave survives: it soon answers the next request, and its memory stays bounded.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "documents.h"
#include "echo.h"
#include "limits.h"
#include "server/serverprocess.h"
#include "support/stopwatch.h"
#include "support/xml.h"

using namespace support;
using hostile::answerTo;
using hostile::Due;
using xml::post;
using Then = hostile::Message::Then;

namespace {

long peakOfMemory(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:"))
            return std::stol(line.substr(6));
    return 0;
}

class Server : public ::testing::Test {
protected:
    void TearDown() override
    {
        std::cout << "at most " << mostProcessor.count() / 1000 << " ms and " << mostGrown / 1024 << " MB\n";
    }

    // The harm in words; empty if there is none.
    std::string harmOf(const std::string& request, Then then, Due due)
    {
        const ServerProcess server(hostile::publishEcho);
        if (!answersOrdinarily(server))
            return "an ordinary request is not answered";
        const long before = peakOfMemory(server.id());
        const std::chrono::microseconds earlier = hostile::processorTime(server.id());
        const Stopwatch watch;
        const std::string answer = answerTo(request, then, server.port());
        if (!answersOrdinarily(server))
            return "left a server that does not answer";
        if (watch.elapsed() > hostile::patience())
            return "took " + std::to_string(watch.elapsed().count() / 1000) + " ms";
        const std::chrono::microseconds processor = hostile::processorTime(server.id()) - earlier;
        const long grown = peakOfMemory(server.id()) - before;
        mostProcessor = std::max(mostProcessor, processor);
        mostGrown = std::max(mostGrown, grown);
        if (const std::string excess = hostile::excess(processor, grown); !excess.empty())
            return excess;
        if (due == Due::refusal && answer.find("<i4>-503</i4>") == std::string::npos)
            return "was not refused: " + answer.substr(0, 800);
        return "";
    }

private:
    static bool answersOrdinarily(const ServerProcess& server)
    {
        return answerTo(post(xml::requestBody("eco", {"<i4>1</i4>"})), Then::close, server.port()).find("<i4>1</i4>")
               != std::string::npos;
    }

    std::chrono::microseconds mostProcessor{0};
    long mostGrown = 0;
};

// Documents ----------------------------------------------------------------------------------------------------------

class HostileRequests : public Server, public ::testing::WithParamInterface<std::string> {
protected:
    void expectNoHarm(const hostile::Place& place)
    {
        for (const hostile::Document& document : hostile::documentsOf(GetParam()))
            EXPECT_EQ(harmOf(post(document.at(place)), Then::hold, document.due), "")
                << document.name << ", in " << place.name;
    }
};

#ifndef SWEEP

// Functions: the constants in the other file that the documents need may not be initialised yet.
const auto groups = hostile::groups;

TEST_P(HostileRequests, DoNoHarm)
{
    expectNoHarm(hostile::requestPlaces().front());
}

TEST_F(Server, SurvivesBrokenRequests)
{
    for (const hostile::Message& message : hostile::brokenRequests())
        EXPECT_EQ(harmOf(message.bytes, message.then, Due::anything), "") << message.name;
}

#else

// Functions: the constants in the other file that the documents need may not be initialised yet.
const auto groups = hostile::groupsWithoutAbundance;

TEST_P(HostileRequests, DoNoHarmInAnyPlace)
{
    for (const hostile::Place& place : hostile::requestPlaces())
        expectNoHarm(place);
}

TEST_P(HostileRequests, DoNoHarmInAnyEncoding)
{
    for (const hostile::Encoding& encoding : hostile::encodings()) {
        const hostile::Place place = encoding.declaredIn(hostile::requestPlaces().front());
        for (const hostile::Document& document : hostile::documentsOf(GetParam()))
            EXPECT_EQ(harmOf(post(encoding.write(document.at(place))), Then::hold, Due::anything), "")
                << document.name << ", " << encoding.name;
    }
}

#endif

INSTANTIATE_TEST_SUITE_P(Groups, HostileRequests, ::testing::ValuesIn(groups()),
                         [](const auto& group) { return group.param; });

} // namespace
