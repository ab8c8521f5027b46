nelka_test(cdb)
nelka_test(resultset LIBRARIES XmlrpcC::value)
nelka_test(remotemethods LIBRARIES XmlrpcC::client)
target_compile_definitions(test_remotemethods PRIVATE
  HEADER="${PROJECT_SOURCE_DIR}/src/remotemethods.h"
  CLIENT="${PROJECT_SOURCE_DIR}/src/xmlrpclient.cpp"
  SERVER="${PROJECT_SOURCE_DIR}/src/xmlrpcserver.cpp")
nelka_test(localnetwork)
nelka_test(localnetwork_namespaces)
nelka_test(server LIBRARIES XmlrpcC::server)
nelka_test(server_calls LIBRARIES XmlrpcC::server)
nelka_test(server_client LIBRARIES XmlrpcC::server)
nelka_test(server_python LIBRARIES XmlrpcC::server)
target_compile_definitions(test_server_python PRIVATE SCRIPT="${CMAKE_CURRENT_SOURCE_DIR}/server_python.py")
