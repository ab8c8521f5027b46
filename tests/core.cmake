nelka_test(probe)
nelka_test(lifecycle SOURCES lifecycle.cpp support/xmlrpcspy.cpp)
