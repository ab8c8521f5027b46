// The addresses of "eth0" in network namespaces created by the test.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>

namespace {

struct Identity {
    int ipResult = 0;
    int macResult = 0;
    std::string ip = "before";
    std::string mac = "before";
};

constexpr int failed = 1;
constexpr int notAllowed = 2;
constexpr int notPrepared = 3;

bool run(const std::string& command)
{
    return std::system((command + " 2>/dev/null").c_str()) == 0;
}

bool addInterface(const std::string& options)
{
    return run("ip link add name eth0 " + options + " type dummy")
           || run("ip link add name eth0 " + options + " type veth peer name eth9");
}

// Gives the process a network namespace in which it is root.
bool enterNamespace()
{
    return unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
}

// What a child process finds in a new network namespace set up by `prepare`.
class Namespace : public ::testing::Test {
protected:
    Identity found;

    void lookAfter(const std::function<bool()>& prepare)
    {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            _exit(!enterNamespace() ? notAllowed : !prepare() ? notPrepared : report(ends[1]));
        close(ends[1]);
        FILE* const answer = fdopen(ends[0], "r");
        char ip[64] = "";
        char mac[64] = "";
        const int fields = std::fscanf(answer, "%d [%63[^]]] %d [%63[^]]]", &found.ipResult, ip, &found.macResult, mac);
        std::fclose(answer);
        int status = 0;
        waitpid(child, &status, 0);
        if (status == W_EXITCODE(notAllowed, 0))
            skip("SKIPPED: network namespaces are not allowed here");
        else if (status == W_EXITCODE(notPrepared, 0))
            skip("SKIPPED: no interface can be made here");
        else
            ASSERT_EQ(fields, 4);
        found.ip = ip + 1;
        found.mac = mac + 1;
    }

private:
    // Each text follows a mark, so that an empty one is still a field.
    static int report(int descriptor)
    {
        Identity seen;
        seen.ipResult = nelka::XmlrpcClient::getLocalIp(seen.ip);
        seen.macResult = nelka::XmlrpcClient::getLocalMac(seen.mac);
        return dprintf(descriptor, "%d [=%s] %d [=%s]", seen.ipResult, seen.ip.c_str(), seen.macResult,
                       seen.mac.c_str())
                       < 0
                   ? failed
                   : 0;
    }

    static void skip(const char* reason)
    {
        std::fprintf(stderr, "%s\n", reason);
        GTEST_SKIP() << reason;
    }
};

TEST_F(Namespace, WithAddressAndMacShowsBoth)
{
    lookAfter(
        [] { return addInterface("address 00:0a:95:9d:68:16") && run("ip address add 192.168.1.10/24 dev eth0"); });
    if (IsSkipped())
        return;
    EXPECT_EQ(found.ipResult, 1);
    EXPECT_EQ(found.ip, "192.168.1.10");
    EXPECT_EQ(found.macResult, 1);
    EXPECT_EQ(found.mac, "00:0A:95:9D:68:16");
}

TEST_F(Namespace, WithoutAddressShowsMacOnly)
{
    lookAfter([] { return addInterface("address 02:00:00:00:00:ff"); });
    if (IsSkipped())
        return;
    EXPECT_EQ(found.ipResult, 1);
    EXPECT_EQ(found.ip, "");
    EXPECT_EQ(found.macResult, 1);
    EXPECT_EQ(found.mac, "02:00:00:00:00:FF");
}

TEST_F(Namespace, WithoutInterfaceShowsNothing)
{
    lookAfter([] { return true; });
    if (IsSkipped())
        return;
    EXPECT_EQ(found.ipResult, 1);
    EXPECT_EQ(found.ip, "");
    EXPECT_EQ(found.macResult, 0);
    EXPECT_EQ(found.mac, "before");
}

} // namespace
