// What compiled programs rely on: the offsets of members and the slots of virtual functions. Compiled without access
// control. Sizes are compared with those of the same members in a plain struct, so that they hold for any pointer size.
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace {

using nelka::XmlrpcClient;
using nelka::XmlrpcServer;

// The slot of a virtual member function. A pointer to one holds the slot's offset in the vtable; its lowest bit marks
// it as virtual, except on ARM, where the mark is elsewhere.
template <typename Function>
std::size_t slotOf(Function function)
{
    std::size_t representation;
    static_assert(sizeof function >= sizeof representation);
    std::memcpy(&representation, &function, sizeof representation);
    return (representation & ~std::size_t{1}) / sizeof(void*);
}

#define EXPECT_SAME_PLACE(Class, member)                                                                               \
    EXPECT_EQ(offsetof(Class, member), offsetof(Class##Members, member)) << #member;                                   \
    static_assert(std::is_same_v<decltype(Class::member), decltype(Class##Members::member)>)

struct CDBMembers {
    virtual ~CDBMembers() = default;
    int fault;
};

struct XmlrpcClientMembers : CDBMembers {
    xmlrpc_env env;
    xmlrpc_client* client;
    std::string serverUrl;
    std::string host;
    unsigned short port;
    std::string interfaz;
    std::string appName;
    std::string appVersion;
    std::string dbName;
    bool holdsGlobalConst;
};

struct XmlrpcServerMembers {
    TServer server;
    TChanSwitch* chanSwitch;
    xmlrpc_registry* registry;
    xmlrpc_env env;
    bool serverCreated;
};

TEST(Layout, OfClientIsBaseThenMembersInOrder)
{
    EXPECT_SAME_PLACE(XmlrpcClient, env);
    EXPECT_SAME_PLACE(XmlrpcClient, client);
    EXPECT_SAME_PLACE(XmlrpcClient, serverUrl);
    EXPECT_SAME_PLACE(XmlrpcClient, host);
    EXPECT_SAME_PLACE(XmlrpcClient, port);
    EXPECT_SAME_PLACE(XmlrpcClient, interfaz);
    EXPECT_SAME_PLACE(XmlrpcClient, appName);
    EXPECT_SAME_PLACE(XmlrpcClient, appVersion);
    EXPECT_SAME_PLACE(XmlrpcClient, dbName);
    EXPECT_SAME_PLACE(XmlrpcClient, holdsGlobalConst);
    EXPECT_EQ(sizeof(XmlrpcClient), sizeof(XmlrpcClientMembers));
}

TEST(Layout, OfServerIsMembersInOrder)
{
    EXPECT_SAME_PLACE(XmlrpcServer, server);
    EXPECT_SAME_PLACE(XmlrpcServer, chanSwitch);
    EXPECT_SAME_PLACE(XmlrpcServer, registry);
    EXPECT_SAME_PLACE(XmlrpcServer, env);
    EXPECT_SAME_PLACE(XmlrpcServer, serverCreated);
    EXPECT_EQ(sizeof(XmlrpcServer), sizeof(XmlrpcServerMembers));
}

TEST(Layout, OfTcanalIsEightNumbersWithoutGaps)
{
    using nelka::tcanal;
    EXPECT_EQ(offsetof(tcanal, frecuencia), 0U);
    EXPECT_EQ(offsetof(tcanal, frecuenciaIntermedia), 4U);
    EXPECT_EQ(offsetof(tcanal, parametroSat), 8U);
    EXPECT_EQ(offsetof(tcanal, parametroTerr), 12U);
    EXPECT_EQ(offsetof(tcanal, parametroSat2), 14U);
    EXPECT_EQ(offsetof(tcanal, parametroComun), 16U);
    EXPECT_EQ(offsetof(tcanal, parametroSat3), 18U);
    EXPECT_EQ(offsetof(tcanal, parametroSat4), 20U);
    EXPECT_EQ(sizeof(tcanal), 24U);
}

TEST(Layout, OfCdbIsVtableThenFault)
{
    EXPECT_EQ(sizeof(nelkadb::CDB), sizeof(CDBMembers));
    EXPECT_EQ(offsetof(nelkadb::CDB, fault), sizeof(void*));
}

// The next virtual function to be added.
template <typename Base>
struct OneMore : Base {
    virtual void next();
};

constexpr std::size_t slotsOfDestructor = 2; // the complete and the deleting destructor

template <typename Class>
void expectSlots()
{
    static_assert(std::has_virtual_destructor_v<Class>);
    EXPECT_EQ(slotOf(&Class::getTable), slotsOfDestructor);
    EXPECT_EQ(slotOf(&Class::execQuery), slotsOfDestructor + 1);
    EXPECT_EQ(slotOf(&OneMore<Class>::next), slotsOfDestructor + 2);
}

TEST(Layout, OfVtableIsDestructorThenGetTableThenExecQuery)
{
    expectSlots<nelkadb::CDB>();
    expectSlots<XmlrpcClient>();
}

TEST(Layout, ServerHasNoVirtualFunctions)
{
    EXPECT_FALSE(std::is_polymorphic_v<XmlrpcServer>);
}

TEST(Layout, ClientAndItsCdbShareAddress)
{
    static_assert(std::is_base_of_v<nelkadb::CDB, XmlrpcClient>);
    XmlrpcClient client("", 0, "", "", "");
    EXPECT_EQ(static_cast<void*>(static_cast<nelkadb::CDB*>(&client)), static_cast<void*>(&client));
}

TEST(Layout, ClassesCannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<XmlrpcClient>);
    EXPECT_FALSE(std::is_copy_assignable_v<XmlrpcClient>);
    EXPECT_FALSE(std::is_copy_constructible_v<XmlrpcServer>);
    EXPECT_FALSE(std::is_copy_assignable_v<XmlrpcServer>);
}

} // namespace
