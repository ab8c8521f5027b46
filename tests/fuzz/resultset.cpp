// Any value sent as a table: fill() accepts it whole, or records a fault and leaves the set untouched.
#include <cstdlib>

#include <nelkadb/resultset.h>

#include "screen.h"
#include "support/operations.h"

namespace {

bool holdsThePreset(const nelkadb::ResultSet& set)
{
    return set.rowCount() == 1 && set.columnCount() == 1 && set.columnName(0) == "preset"
           && set.value(0, 0) == "preset";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const char* xml = reinterpret_cast<const char*>(data);
    if (nelka::reasonToRefuse({xml, size}))
        return 0;

    xmlrpc_env parsing;
    xmlrpc_env_init(&parsing);
    xmlrpc_value* table = nullptr;
    xmlrpc_parse_value_xml(&parsing, xml, size, &table);
    if (!parsing.fault_occurred) {
        xmlrpc_env env;
        xmlrpc_env_init(&env);
        nelkadb::ResultSet set = support::Variables().table;
        set.fill(env, table);
        if (env.fault_occurred && !holdsThePreset(set))
            std::abort();
        for (std::size_t row = 0; row < set.rowCount(); ++row)
            for (std::size_t column = 0; column < set.columnCount(); ++column)
                if (set.isNull(row, column) && !set.value(row, column).empty())
                    std::abort();
        xmlrpc_env_clean(&env);
        xmlrpc_DECREF(table);
    }
    xmlrpc_env_clean(&parsing);
    return 0;
}
