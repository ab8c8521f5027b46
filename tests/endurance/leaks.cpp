// Operations, tables and servers leave nothing on the heap, however they end, except for the replies that two
// operations leak intentionally, and for what xmlrpc-c leaks of an argument list that is not an array.
//
// The heap is measured where possible. Valgrind and LeakSanitizer, which replace it, watch the same calls.
#include <atomic>
#include <functional>

#include <nelkanet/xmlrpcserver.h>

#include "support/fixture.h"
#include "support/mutedoutput.h"
#include "support/operations.h"
#include "support/xmlrpcspy.h"

using namespace support;

// The heap -----------------------------------------------------------------------------------------------------------
//
// Counted in bytes by a sanitizer, otherwise in blocks.

#ifdef SANITIZED

extern "C" std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

std::size_t heapInUse()
{
    return __sanitizer_get_current_allocated_bytes();
}

} // namespace

#else

namespace {

std::atomic<std::size_t> blocks{0};

void* counted(void* block)
{
    blocks += block ? 1 : 0;
    return block;
}

std::size_t heapInUse()
{
    return blocks;
}

} // namespace

// These intercept the process's allocations: the program's symbols precede those of the C library.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* former, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size)
{
    return counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return counted(__libc_calloc(count, size));
}

void* realloc(void* former, std::size_t size)
{
    return former ? __libc_realloc(former, size) : counted(__libc_malloc(size));
}

void free(void* block)
{
    blocks -= block ? 1 : 0;
    __libc_free(block);
}
}
#pragma GCC visibility pop

#endif

namespace {

bool heapIsMeasured()
{
    const std::size_t before = heapInUse();
    const std::string block(1000, 'x');
    return heapInUse() > before;
}

constexpr int warmUp = 5;
constexpr int runs = 10;

// The growth of the heap over the runs after the first ones.
long growth(const std::function<void()>& action)
{
    for (int i = 0; i < warmUp; ++i)
        action();
    const std::size_t before = heapInUse();
    for (int i = 0; i < runs; ++i)
        action();
    return static_cast<long>(heapInUse()) - static_cast<long>(before);
}

// Ends of a call -----------------------------------------------------------------------------------------------------

constexpr int refusal = -3;

struct End {
    std::string name;
    Step step;
    int timeout;
};

std::vector<End> endsOf(const Operation& operation)
{
    constexpr int brief = 5;
    std::vector<End> all{{"agreed", replyArray(operation.sampleReply(0)), ampleTimeout},
                         {"refused", replyArray(operation.sampleReply(refusal)), ampleTimeout},
                         {"status alone", replyArray({xml::i4(0)}), ampleTimeout},
                         {"refused by the status alone", replyArray({xml::i4(refusal)}), ampleTimeout},
                         {"no array", reply(xml::text("x")), ampleTimeout},
                         {"empty array", replyArray({}), ampleTimeout},
                         {"fault response", replyFault(-77, "agotado"), ampleTimeout},
                         {"no XML-RPC", ok("agotado"), ampleTimeout},
                         {"reset", resetAfterRequest(), ampleTimeout},
                         {"time-out", silence(), brief}};
    const std::size_t size = operation.sampleReply(0).size();
    for (std::size_t at = 0; at < size; ++at) {
        std::vector<std::string> elements = operation.sampleReply(0);
        elements[at] = xml::structure({{"a", xml::i4(1)}});
        all.push_back({"wrong type at " + std::to_string(at), replyArray(elements), ampleTimeout});
    }
    return all;
}

class Leaks : public ClientTest {
protected:
    XmlrpcSpy spy;

    /// Whether the operation leaks the reply of this call, by its record.
    bool call(const Operation& operation, int timeout)
    {
        const MutedOutput muted;
        Variables variables;
        bool threw = false;
        try {
            operation.call(client, variables, timeout);
        } catch (const std::logic_error&) {
            threw = true;
        }
        log.clear();
        return operation.kept == Kept::whenThrowing
                   ? threw
                   : operation.kept == Kept::whenRefused && client.getFault() == refusal;
    }

    std::vector<xmlrpc_value*> keptReplies;

    /// The growth over calls that leak their replies.
    long growthByCalls(const Operation& operation)
    {
        keptReplies.reserve(warmUp + runs);
        return growth([&] {
            call(operation, ampleTimeout);
            if (xmlrpc_value* const reply = spy.keptResult())
                keptReplies.push_back(reply);
        });
    }

    long growthByReplies(const std::vector<std::string>& values)
    {
        const std::string body = xml::response(xml::array(values));
        std::vector<xmlrpc_value*> replies;
        replies.reserve(warmUp + runs);
        xmlrpc_env env;
        xmlrpc_env_init(&env);
        const long grown = growth([&] {
            xmlrpc_value* reply = nullptr;
            int code = 0;
            const char* text = nullptr;
            xmlrpc_parse_response2(&env, body.data(), body.size(), &reply, &code, &text);
            replies.push_back(reply);
        });
        EXPECT_FALSE(env.fault_occurred);
        xmlrpc_env_clean(&env);
        for (xmlrpc_value* const reply : replies)
            xmlrpc_DECREF(reply);
        return grown;
    }

    void expectToKeepTheReplyAndNothingElse(const std::string& name, const std::vector<std::string>& values)
    {
        slave.play({replyArray(values)});
        const long grown = growthByCalls(operation(name));
        EXPECT_EQ(keptReplies.size(), std::size_t{warmUp + runs});
        if (heapIsMeasured()) {
            EXPECT_EQ(grown, growthByReplies(values));
            EXPECT_GT(grown, 0);
        }
        for (xmlrpc_value* const reply : keptReplies)
            xmlrpc_DECREF(reply);
    }
};

class LeaksOf : public Leaks, public ::testing::WithParamInterface<Operation> {};

TEST_P(LeaksOf, OperationAreOnlyTheReplyItLeaks)
{
    for (const End& end : endsOf(GetParam())) {
        slave.play({end.step});
        const long grown = growth([&] {
            if (call(GetParam(), end.timeout))
                spy.releaseKeptResult();
        });
        EXPECT_EQ(grown, 0) << end.name;
    }
}

INSTANTIATE_TEST_SUITE_P(, LeaksOf, ::testing::ValuesIn(operationsOnTheWire()),
                         [](const auto& operation) { return operation.param.name; });

TEST_F(Leaks, OfRefusedScriptAreItsReply)
{
    expectToKeepTheReplyAndNothingElse("ejecutar_script", {xml::i4(refusal)});
}

TEST_F(Leaks, OfScanReportWithoutTextAreItsReply)
{
    expectToKeepTheReplyAndNothingElse("getScanReport", {xml::i4(0), xml::structure({{"a", xml::i4(1)}})});
}

TEST_F(Leaks, OfDeletionAreThoseOfXmlrpcC)
{
    const long byXmlrpcC = growth([&] {
        xmlrpc_env env;
        xmlrpc_env_init(&env);
        xmlrpc_value* reply = nullptr;
        xmlrpc_client_call2f(&env, spy.creations.back().client, "http://127.0.0.1:1/RPC2", "BorrarArchivo", &reply, "s",
                             "/tmp/a");
        xmlrpc_env_clean(&env);
    });
    EXPECT_EQ(growth([&] { call(operation("DlFicheroEsclavo"), ampleTimeout); }), byXmlrpcC);
    if (heapIsMeasured()) {
        EXPECT_GT(byXmlrpcC, 0);
    }
}

// Tables and servers -------------------------------------------------------------------------------------------------

TEST(TableMemory, IsReleasedForEveryTypeOfCell)
{
    EXPECT_EQ(growth([] {
                  xmlrpc_env env;
                  xmlrpc_env_init(&env);
                  xmlrpc_value* const table = xmlrpc_build_value(&env, "((ssssss)(iIbds6))", "i4", "i8", "boolean",
                                                                 "double", "string", "base64", 1, xmlrpc_int64{1},
                                                                 xmlrpc_bool{1}, 1.5, "text", "bytes", std::size_t{5});
                  nelkadb::ResultSet set;
                  set.fill(env, table);
                  EXPECT_FALSE(env.fault_occurred);
                  xmlrpc_DECREF(table);
                  xmlrpc_env_clean(&env);
              }),
              0);
}

TEST(ServerMemory, IsReleasedWithServer)
{
    EXPECT_EQ(growth([] {
                  nelka::XmlrpcServer server;
                  server.Start("", 0);
                  EXPECT_TRUE(server.listening());
              }),
              0);
}

TEST(ServerMemory, DoesNotGrowWithFailedStarts)
{
    nelka::XmlrpcServer holder;
    holder.Start("", 0);
    nelka::XmlrpcServer server;
    EXPECT_EQ(growth([&server, taken = ownListeningPort()] { server.Start("", taken); }), 0);
    EXPECT_FALSE(server.listening());
}

} // namespace
