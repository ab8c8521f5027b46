// The addresses of "eth0", with the system calls simulated by the test.
#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>

#include "support/logrecorder.h"

using support::Lines;
using support::LogLine;

namespace {

// The simulated answers, and the system calls in order.
struct {
    bool answering = false;
    int descriptor = 0;
    bool interfaceAnswers = true;
    sockaddr address = {};
    std::vector<std::string> asked;
} fake;

std::string call(const std::string& name, const std::vector<long>& arguments)
{
    std::string text = name;
    for (const long argument : arguments)
        text += " " + std::to_string(argument);
    return text;
}

std::string query(long descriptor, unsigned long request)
{
    return call("ioctl", {descriptor, static_cast<long>(request)}) + " eth0";
}

} // namespace

// These intercept the library's calls: the program's symbols precede those of the C library.
#pragma GCC visibility push(default)
extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    if (!fake.answering)
        return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
    fake.asked.push_back(call("socket", {domain, type, protocol}));
    return fake.descriptor;
}

int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!fake.answering)
        return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));

    auto& asked = *static_cast<ifreq*>(argument);
    fake.asked.push_back(call("ioctl", {descriptor, static_cast<long>(request)}) + " "
                         + std::string(asked.ifr_name, strnlen(asked.ifr_name, IFNAMSIZ)));
    if (!fake.interfaceAnswers)
        return -1;
    asked.ifr_addr = fake.address;
    return 0;
}

int close(int descriptor)
{
    if (!fake.answering)
        return static_cast<int>(syscall(SYS_close, descriptor));
    fake.asked.push_back(call("close", {descriptor}));
    return descriptor < 0 ? -1 : 0;
}
}
#pragma GCC visibility pop

namespace {

class LocalNetwork : public ::testing::Test {
protected:
    support::LogRecorder log;

    void SetUp() override
    {
        fake = {};
        fake.descriptor = 7;
    }

    static int during(int (*ask)(std::string&), std::string& text)
    {
        fake.answering = true;
        const int result = ask(text);
        fake.answering = false;
        return result;
    }

    static int getLocalIp(std::string& ip) { return during(nelka::XmlrpcClient::getLocalIp, ip); }
    static int getLocalMac(std::string& mac) { return during(nelka::XmlrpcClient::getLocalMac, mac); }

    static void interfaceHas(in_addr_t ip)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(ip);
        std::memcpy(&fake.address, &address, sizeof fake.address);
    }

    static void interfaceHas(const std::vector<unsigned char>& mac)
    {
        std::memcpy(fake.address.sa_data, mac.data(), mac.size());
    }

    static std::vector<std::string> asked(long descriptor, unsigned long request)
    {
        return {call("socket", {AF_INET, SOCK_DGRAM, 0}), query(descriptor, request), call("close", {descriptor})};
    }

    void expectLogged(const LogLine& line) const { EXPECT_EQ(log.lines(), Lines{line}); }
};

TEST_F(LocalNetwork, IpAddressIsDottedDecimalAndLogged)
{
    interfaceHas(0xC0A8010A);
    std::string ip = "before";
    EXPECT_EQ(getLocalIp(ip), 1);
    EXPECT_EQ(ip, "192.168.1.10");
    EXPECT_EQ(fake.asked, asked(7, SIOCGIFADDR));
    expectLogged({LOG_DEBUG, "local ip = 192.168.1.10"});
}

TEST_F(LocalNetwork, IpAddressIsEmptyIfInterfaceHasNone)
{
    fake.interfaceAnswers = false;
    std::string ip = "before";
    EXPECT_EQ(getLocalIp(ip), 1);
    EXPECT_EQ(ip, "");
    EXPECT_EQ(fake.asked, asked(7, SIOCGIFADDR));
    expectLogged({LOG_DEBUG, "local ip = "});
}

TEST_F(LocalNetwork, IpAddressIsRequestedEvenWithoutSocket)
{
    fake.descriptor = -1;
    fake.interfaceAnswers = false;
    std::string ip = "before";
    EXPECT_EQ(getLocalIp(ip), 1);
    EXPECT_EQ(ip, "");
    ASSERT_GE(fake.asked.size(), 2U);
    EXPECT_EQ(fake.asked[1], query(65535, SIOCGIFADDR));
    expectLogged({LOG_DEBUG, "local ip = "});
}

TEST_F(LocalNetwork, IpAddressIsRequestedByLowBitsOfDescriptor)
{
    fake.descriptor = 65536 + 7;
    interfaceHas(0x0A000001);
    std::string ip;
    EXPECT_EQ(getLocalIp(ip), 1);
    EXPECT_EQ(ip, "10.0.0.1");
    EXPECT_EQ(fake.asked[1], query(7, SIOCGIFADDR));
}

TEST_F(LocalNetwork, MacAddressIsUpperCase)
{
    interfaceHas(std::vector<unsigned char>{0x00, 0x0a, 0x95, 0x9d, 0x68, 0x16});
    std::string mac = "before";
    EXPECT_EQ(getLocalMac(mac), 1);
    EXPECT_EQ(mac, "00:0A:95:9D:68:16");
    EXPECT_EQ(fake.asked, asked(7, SIOCGIFHWADDR));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LocalNetwork, MacBytesHaveTwoDigits)
{
    interfaceHas(std::vector<unsigned char>{0xFF, 0x80, 0x7F, 0x01, 0x00, 0xAB});
    std::string mac;
    EXPECT_EQ(getLocalMac(mac), 1);
    EXPECT_EQ(mac, "FF:80:7F:01:00:AB");
}

TEST_F(LocalNetwork, MacAddressFailsWithoutSocket)
{
    fake.descriptor = -1;
    std::string mac = "before";
    EXPECT_EQ(getLocalMac(mac), 0);
    EXPECT_EQ(mac, "before");
    EXPECT_EQ(fake.asked, (std::vector<std::string>{call("socket", {AF_INET, SOCK_DGRAM, 0}), call("close", {-1})}));
    expectLogged({LOG_ERR, "Error al crear socket"});
}

TEST_F(LocalNetwork, MacAddressFailsWithoutInterface)
{
    fake.interfaceAnswers = false;
    std::string mac = "before";
    EXPECT_EQ(getLocalMac(mac), 0);
    EXPECT_EQ(mac, "before");
    EXPECT_EQ(fake.asked, asked(7, SIOCGIFHWADDR));
    expectLogged({LOG_ERR, "Error al obtener la mac "});
}

} // namespace
