nelka_test(cdb)
nelka_test(resultset LIBRARIES XmlrpcC::value)
nelka_test(remotemethods LIBRARIES XmlrpcC::client)
target_compile_definitions(test_remotemethods PRIVATE
  HEADER="${PROJECT_SOURCE_DIR}/src/remotemethods.h"
  CLIENT="${PROJECT_SOURCE_DIR}/src/xmlrpclient.cpp"
  SERVER="${PROJECT_SOURCE_DIR}/src/xmlrpcserver.cpp")
nelka_test(localnetwork)
nelka_test(localnetwork_namespaces)
