// The answers of the benchmarks' slaves, as xmlrpc-c writes them.
#pragma once

#include <string>

namespace bench {

/// Status 0, then these values.
inline std::string reply(const std::string& values)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<methodResponse>\r\n<params>\r\n<param><value><array>"
           "<data>\r\n<value><i4>0</i4></value>\r\n"
           + values + "</data></array></value></param>\r\n</params>\r\n</methodResponse>\r\n";
}

} // namespace bench
