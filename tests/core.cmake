nelka_test(probe)
nelka_test(lifecycle SOURCES lifecycle.cpp support/xmlrpcspy.cpp)
nelka_test(frame SOURCES frame.cpp support/xmlrpcspy.cpp)
