nelka_test(leaks SOURCES leaks.cpp support/xmlrpcspy.cpp)
