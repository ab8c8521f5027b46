#include "cdb.h"

#include <xmlrpc-c/base.h>

namespace nelkadb {

CDB::CDB() : fault(0) {}

CDB::~CDB() = default;

void CDB::getTable(std::string, ResultSet&, int)
{
    setFault(XMLRPC_INTERNAL_ERROR);
}

void CDB::execQuery(std::string, int&, std::string, int)
{
    setFault(XMLRPC_INTERNAL_ERROR);
}

void CDB::setFault(int code)
{
    fault = code;
}

void CDB::clearFault()
{
    fault = 0;
}

int CDB::getFault() const
{
    return fault;
}

} // namespace nelkadb
