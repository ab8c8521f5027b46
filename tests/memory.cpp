// What many tables and servers hold on to: no more than the first of them did.
#include <nelkadb/resultset.h>
#include <nelkanet/xmlrpcserver.h>

#include <cstddef>

#include <malloc.h>

#include <gtest/gtest.h>

#include "support/ports.h"

namespace {

std::size_t heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// By how many bytes `times` repetitions of `step` fill the heap, once the first ones have filled what is kept ready.
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

TEST(TableMemory, IsGivenBackWithTheTableWhateverItsCellsHold)
{
    EXPECT_LT(growth(100,
                     [] {
                         xmlrpc_env env;
                         xmlrpc_env_init(&env);
                         xmlrpc_value* const table = xmlrpc_build_value(
                             &env, "((ssssss)(iIbds6))", "i4", "i8", "boolean", "double", "string", "base64", 1,
                             xmlrpc_int64{1}, xmlrpc_bool{1}, 1.5, "text", "bytes", std::size_t{5});
                         nelkadb::ResultSet set;
                         set.fill(env, table);
                         EXPECT_FALSE(env.fault_occurred);
                         xmlrpc_DECREF(table);
                         xmlrpc_env_clean(&env);
                     }),
              1'000U);
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
    const unsigned short taken = support::ownListeningPort();
    nelka::XmlrpcServer server;
    EXPECT_LT(growth(200, [&] { server.Start("", taken); }), 2'000U);
    EXPECT_FALSE(server.listening());
}

} // namespace
