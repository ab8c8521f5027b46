// documents NAME COUNT: screens a reply as the library does and parses it, COUNT times; for tools that watch a process.
#include <cstdlib>
#include <map>
#include <string>

#include <xmlrpc-c/base.h>

#include "hostile/texts.h"
#include "reply.h"
#include "screen.h"

using bench::reply;
using hostile::many;

namespace {

const std::map<std::string, std::string>& documents()
{
    static const std::map<std::string, std::string> all = {
        {"small", reply("")},
        {"i8", reply("<value><i8>1234567890123</i8></value>\r\n")},
        {"block",
         reply("<value><base64>\r\n" + many(700000 / 57, std::string(76, 'A') + "\r\n") + "</base64></value>\r\n")},
        {"table",
         reply(many(10000, "<value><array><data>\r\n<value><i4>7</i4></value>\r\n<value>a</value>\r\n</data></array>"
                           "</value>\r\n"))},
    };
    return all;
}

} // namespace

extern "C" [[gnu::noinline]] bool lookAt(const std::string& document)
{
    return nelka::reasonToRefuse(document) == nullptr;
}

extern "C" [[gnu::noinline]] bool parse(const std::string& document)
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    xmlrpc_value* result = nullptr;
    int code = 0;
    const char* text = nullptr;
    xmlrpc_parse_response2(&env, document.data(), document.size(), &result, &code, &text);
    const bool read = !env.fault_occurred;
    if (read)
        xmlrpc_DECREF(result);
    xmlrpc_env_clean(&env);
    return read;
}

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1048576);
    const std::string& document = documents().at(argv[1]);
    bool fine = true;
    for (int left = std::atoi(argv[2]); left > 0; --left)
        fine = lookAt(document) && parse(document) && fine;
    return fine ? 0 : 1;
}
