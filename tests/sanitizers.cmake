nelka_test(leaks SOURCES leaks.cpp support/xmlrpcspy.cpp)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_definitions(test_leaks PRIVATE SANITIZED)
endif()
