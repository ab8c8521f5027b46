// nelka::XmlrpcServer against Python's XML-RPC client.
#include <string>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpcserver.h>

#include "serverprocess.h"
#include "support/program.h"

namespace {

xmlrpc_value* add(xmlrpc_env* env, xmlrpc_value* arguments, void*, void*)
{
    int a = 0;
    int b = 0;
    xmlrpc_decompose_value(env, arguments, "(ii)", &a, &b);
    return env->fault_occurred ? nullptr : xmlrpc_int_new(env, a + b);
}

xmlrpc_value* echo(xmlrpc_env*, xmlrpc_value* arguments, void*, void*)
{
    xmlrpc_INCREF(arguments);
    return arguments;
}

xmlrpc_value* refuse(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    xmlrpc_env_set_fault(env, -77, "not today");
    return nullptr;
}

class PythonClient : public ::testing::TestWithParam<const char*> {};

TEST_P(PythonClient, IsServed)
{
    const support::ServerProcess slave([](nelka::XmlrpcServer& server) {
        server.AddFunction("sample.add", add, nullptr);
        server.AddFunction(nelka::remote::RdHora, echo, nullptr);
        server.AddFunction(nelka::remote::UpdateNTP, refuse, nullptr);
    });
    const support::Finished finished =
        support::run({"/usr/bin/python3", SCRIPT, std::to_string(slave.port()), GetParam()});
    EXPECT_EQ(finished.status, 0) << finished;
}

INSTANTIATE_TEST_SUITE_P(Server, PythonClient,
                         ::testing::Values("adds", "every_kind_of_value_comes_back", "texts_come_back",
                                           "a_large_block_comes_back", "a_recorded_fault_arrives",
                                           "wrong_arguments_are_a_fault", "an_unknown_method_is_a_fault",
                                           "the_methods_are_listed", "another_path_is_not_found",
                                           "a_method_wants_post"),
                         [](const auto& instance) { return std::string(instance.param); });

} // namespace
