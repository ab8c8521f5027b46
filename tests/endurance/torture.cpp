// Fails every allocation of a call in turn, ours and the dependencies': the call may fail, but must not crash, hang,
// leak our memory, keep a reply or change the signal mask, and the next call must work.
//
// Each call runs in a separate process, because xmlrpc-c and libcurl crash on some of their failures: these crashes are
// listed and counted, not reported.
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string_view>

#include <dlfcn.h>
#include <execinfo.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include "support/child.h"
#include "support/fixture.h"
#include "support/mutedoutput.h"
#include "support/operations.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

using namespace support;

// The allocator -------------------------------------------------------------------------------------------------------

namespace {

constexpr int maxFrames = 24;

struct Block {
    void* address;
    std::array<void*, maxFrames> frames;
    int depth;
};

// Nothing here allocates.
struct {
    bool watching = false;
    bool busy = false;
    long countdown = 0; // the allocation that fails
    bool failed = false;
    std::array<Block, 65536> live{};
    std::size_t used = 0;
} allocator;

// Whether this allocation must fail.
bool fails()
{
    if (!allocator.watching || allocator.busy || --allocator.countdown != 0)
        return false;
    allocator.failed = true;
    errno = ENOMEM;
    return true;
}

void* kept(void* address)
{
    if (!address || !allocator.watching || allocator.busy)
        return address;
    allocator.busy = true;
    Block& block = allocator.live[allocator.used++ % allocator.live.size()];
    block.address = address;
    block.depth = backtrace(block.frames.data(), maxFrames);
    allocator.busy = false;
    return address;
}

void forgotten(void* address)
{
    for (std::size_t i = std::min(allocator.used, allocator.live.size()); address && i-- > 0;) {
        if (allocator.live[i].address == address) {
            allocator.live[i].address = nullptr;
            return;
        }
    }
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* former, std::size_t size);
void __libc_free(void* address);

void* malloc(std::size_t size)
{
    return fails() ? nullptr : kept(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return fails() ? nullptr : kept(__libc_calloc(count, size));
}

void* realloc(void* former, std::size_t size)
{
    if (fails())
        return nullptr;
    forgotten(former);
    return kept(__libc_realloc(former, size));
}

void free(void* address)
{
    forgotten(address);
    __libc_free(address);
}
}
#pragma GCC visibility pop

namespace {

// Attribution ---------------------------------------------------------------------------------------------------------

// The function of a frame, as "library: function"; empty for the C and C++ libraries and the test.
std::string_view nameOf(void* frame, char* text, std::size_t size)
{
    Dl_info info;
    if (!dladdr(frame, &info) || !info.dli_fname)
        return "";
    const std::string_view path = info.dli_fname;
    const std::string_view library = path.substr(path.rfind('/') + 1);
    for (const std::string_view indifferent : {"libc.", "libstdc++", "libgcc", "test_"})
        if (library.starts_with(indifferent))
            return "";
    const std::size_t end = std::min(library.find(".so"), library.size());
    std::snprintf(text, size, "%.*s: %s", static_cast<int>(end), library.data(),
                  info.dli_sname ? info.dli_sname : "an internal function");
    return text;
}

// Where an allocation or a crash happened: the innermost function that counts.
std::string_view placeOf(void* const* frames, int depth, char* text, std::size_t size)
{
    std::string_view place;
    for (int i = 0; i < depth && place.empty(); ++i)
        place = nameOf(frames[i], text, size);
    return place;
}

bool isOurs(std::string_view place)
{
    return place.starts_with("libnelka");
}

// One call, in its process --------------------------------------------------------------------------------------------

constexpr std::size_t placeSize = 128;

/// The process's report, readable even after a crash.
struct Report {
    long failing = 0; ///< the allocation that is failing now
    bool finished = false;
    char crash[placeSize] = "";
    char complaint[512] = "";
    long lost = 0; ///< blocks of the dependencies, some kept for later
    char lostAt[placeSize] = "";
};

Report* report = nullptr;

void complain(const char* what, const char* place = "")
{
    if (!report->complaint[0])
        std::snprintf(report->complaint, sizeof report->complaint, "allocation %ld: %s %s", report->failing, what,
                      place);
}

void crashed(int signal)
{
    allocator.watching = false;
    std::array<void*, maxFrames> frames{};
    const int depth = backtrace(frames.data(), maxFrames);
    placeOf(frames.data(), depth, report->crash, placeSize);
    backtrace_symbols_fd(frames.data(), depth, 2);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

enum class End { returned, outOfMemory, missingText };

template <typename Call>
End attempt(long failing, Call call)
{
    report->failing = failing;
    allocator.countdown = failing;
    allocator.failed = false;
    allocator.used = 0;
    allocator.watching = true;
    End end = End::returned;
    try {
        call();
    } catch (const std::bad_alloc&) {
        end = End::outOfMemory;
    } catch (const std::logic_error&) {
        end = End::missingText;
    }
    allocator.watching = false;
    return end;
}

void accountForLostBlocks()
{
    for (std::size_t i = 0; i < std::min(allocator.used, allocator.live.size()); ++i) {
        const Block& block = allocator.live[i];
        if (!block.address)
            continue;
        char text[placeSize];
        const std::string_view place = placeOf(block.frames.data(), block.depth, text, sizeof text);
        if (isOurs(place)) {
            complain("lost a block of", text);
        } else {
            ++report->lost;
            std::snprintf(report->lostAt, placeSize, "%.*s", static_cast<int>(place.size()), place.data());
        }
    }
}

/// Runs the attempts of a call in a child process, and continues in another after an allocation that crashed a
/// dependency.
class Torture : public ClientTest {
protected:
    std::map<std::string, int> leftOut;

    void SetUp() override {} // the client is initialised in each process

    template <typename Body>
    long survive(Body body)
    {
        void* const shared = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        report = new (shared) Report;
        long first = 1;
        while (!report->finished) {
            Child child([&] {
                for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE})
                    std::signal(signal, crashed);
                body(first);
                report->finished = true;
            });
            // A hang ends as a crash without a place.
            const int status = child.end(std::chrono::seconds(60));
            if (!report->finished) {
                const std::string place = report->crash;
                EXPECT_FALSE(place.empty() || isOurs(place))
                    << "allocation " << report->failing << ", signal " << WTERMSIG(status) << ' ' << place;
                ++leftOut[place + " crashed"];
                first = report->failing + 1;
                report->crash[0] = 0;
            }
            if (::testing::Test::HasFailure())
                break;
        }
        EXPECT_STREQ(report->complaint, "");
        if (report->lost > 0)
            leftOut[std::string(report->lostAt) + " kept or lost memory"] += static_cast<int>(report->lost);
        const long allocations = report->failing;
        munmap(shared, sizeof(Report));
        return allocations;
    }

    void tellWhatWasLeftOut(const std::string& what, long allocations) const
    {
        std::cout << what << ": " << allocations << " allocations";
        for (const auto& [place, times] : leftOut)
            std::cout << "; left out: " << place << " (" << times << ")";
        std::cout << '\n';
    }

    void operate(const Operation& operation, long first)
    {
        const MutedOutput muted;
        XmlrpcSpy spy;
        if (client.init() != 0)
            complain("not initialised");
        {
            Variables warmingUp;
            operation.call(client, warmingUp, ampleTimeout);
        }
        for (long failing = first;; ++failing) {
            auto variables = std::make_unique<Variables>();
            Variables after;
            log.clear();
            const std::set<int> mask = blockedSignals();
            const int received = spy.resultsReceived;
            const End end = attempt(failing, [&] { operation.call(client, *variables, ampleTimeout); });
            const bool failed = allocator.failed;
            const bool replied = spy.resultsReceived > received;
            const int releases = spy.resultsReleased;

            if (blockedSignals() != mask)
                complain("changed the signal mask");
            const bool keeps = operation.kept == Kept::whenThrowing && end == End::missingText;
            if (replied && releases == 0 && !keeps)
                complain("kept the reply");
            if (replied && releases > 1)
                complain("released the reply twice");
            if (end == End::missingText && !operation.throwsWithoutText())
                complain("raised");
            if (!failed && (end != End::returned || client.getFault() != 0))
                complain("failed without a reason");

            client.set_timer(0);
            operation.call(client, after, ampleTimeout);
            if (client.getFault() != 0)
                complain("the next call does not work");
            variables.reset();
            if (failed && !keeps)
                accountForLostBlocks();
            if (!failed)
                return;
        }
    }
};

class TortureOf : public Torture, public ::testing::WithParamInterface<Operation> {};

TEST_P(TortureOf, SurvivesEveryFailedAllocation)
{
    const Operation& operation = GetParam();
    std::vector<Step> replies{replyArray(operation.sampleReply(0))};
    if (!operation.shortReply.empty())
        replies.push_back(replyArray({xml::i4(0)}));
    for (const Step& reply : replies) {
        slave.play({reply});
        leftOut.clear();
        const long allocations = survive([&](long first) { operate(operation, first); });
        EXPECT_GT(allocations, 100);
        tellWhatWasLeftOut(operation.name, allocations);
    }
}

INSTANTIATE_TEST_SUITE_P(Operation, TortureOf, ::testing::ValuesIn(operationsOnTheWire()),
                         ::testing::PrintToStringParamName());

TEST_F(Torture, OfInitLeavesClientThatCanBeInitialised)
{
    const long allocations = survive([&](long first) {
        for (long failing = first;; ++failing) {
            nelka::XmlrpcClient fresh("127.0.0.1", slave.port(), "eth1", "an application", "1.0");
            int result = 0;
            const End end = attempt(failing, [&] { result = fresh.init(); });
            const bool failed = allocator.failed;
            if (end == End::missingText)
                complain("raised");
            if (!failed && (end != End::returned || result != 0))
                complain("failed without a reason");
            if (fresh.resetConn() != 0)
                complain("cannot be initialised any more");
            if (!failed)
                return;
        }
    });
    EXPECT_GT(allocations, 10);
    tellWhatWasLeftOut("init", allocations);
}

} // namespace
