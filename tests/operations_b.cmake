# The list of all remote operations, for the tests that run over it.
add_library(operationtable STATIC support/operations.cpp)
target_link_libraries(operationtable PUBLIC support nelkanet::nelkanet PRIVATE XmlrpcC::client)

nelka_test(operations LIBRARIES operationtable)
