// What many calls, fills and servers hold on to: no more than the first of them did.
#include <nelkanet/xmlrpcserver.h>

#include <cstddef>
#include <vector>

#include <malloc.h>

#include "support/fixture.h"
#include "support/operations.h"

using namespace support;

namespace {

std::size_t heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// By how many bytes the heap is fuller after `times` repetitions of `step`, the first ones, which fill caches, left out.
template <typename Step>
std::size_t growth(int times, Step step)
{
    for (int i = 0; i < 3; ++i)
        step();
    const std::size_t before = heapInUse();
    for (int i = 0; i < times; ++i)
        step();
    const std::size_t after = heapInUse();
    return after > before ? after - before : 0;
}

const std::string payload(20'000, 'x');

class Memory : public ClientTest, public ::testing::WithParamInterface<Operation> {
protected:
    // A reply of that operation's long shape, with a large payload wherever it has one.
    std::vector<std::string> largeReply() const
    {
        std::vector<std::string> values;
        for (const char letter : GetParam().reply) {
            if (letter == 'i')
                values.push_back(xml::i4(0));
            else if (letter == 's')
                values.push_back(xml::text(payload));
            else if (letter == '6')
                values.push_back(xml::base64(payload));
            else if (letter == 'A')
                values.push_back(xml::array({xml::array({xml::text(payload)}), xml::array({xml::base64(payload)})}));
        }
        return values;
    }
};

std::vector<Operation> operationsWithPayload()
{
    std::vector<Operation> chosen;
    for (const Operation& each : operations())
        if (each.reply.find_first_of("s6A") != std::string::npos)
            chosen.push_back(each);
    return chosen;
}

INSTANTIATE_TEST_SUITE_P(, Memory, ::testing::ValuesIn(operationsWithPayload()),
                         [](const auto& each) { return each.param.name; });

TEST_P(Memory, OfAReplyIsGivenBackOnceItsPayloadIsDelivered)
{
    slave.play({replyArray(largeReply())});
    Variables variables;
    EXPECT_LT(growth(40, [&] { GetParam().call(client, variables, ampleTimeout); }), 10 * payload.size());
    EXPECT_EQ(client.getFault(), 0);
}

TEST(ServerMemory, IsGivenBackWithTheServer)
{
    EXPECT_LT(growth(50,
                     [] {
                         nelka::XmlrpcServer server;
                         server.Start("", 0);
                         EXPECT_TRUE(server.listening());
                     }),
              10'000U);
}

TEST(ServerMemory, DoesNotGrowWithStartsThatFail)
{
    nelka::XmlrpcServer holder;
    holder.Start("", 0);
    const unsigned short taken = ownListeningPort();
    nelka::XmlrpcServer server;
    EXPECT_LT(growth(200, [&] { server.Start("", taken); }), 2'000U);
    EXPECT_FALSE(server.listening());
}

} // namespace
