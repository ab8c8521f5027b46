/* reader FILE | reader -NUMBER: reads the reply in FILE, or writes NUMBER as a double; ends with 1 if that is refused. */
#include <stdio.h>
#include <stdlib.h>
#include <xmlrpc-c/base.h>

static char document[1 << 20];

int main(int argc, char** argv)
{
    xmlrpc_env env;
    if (argc != 2)
        return 2;
    xmlrpc_env_init(&env);
    if (argv[1][0] == '-') {
        xmlrpc_mem_block* const xml = xmlrpc_mem_block_new(&env, 0);
        xmlrpc_serialize_value(&env, xml, xmlrpc_double_new(&env, atof(argv[1] + 1)));
    } else {
        xmlrpc_value* result = NULL;
        const char* text = NULL;
        int code = 0;
        FILE* const file = fopen(argv[1], "rb");
        if (!file)
            return 2;
        const size_t size = fread(document, 1, sizeof document, file);
        xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, sizeof document);
        xmlrpc_parse_response2(&env, document, size, &result, &code, &text);
    }
    return env.fault_occurred ? 1 : 0;
}
