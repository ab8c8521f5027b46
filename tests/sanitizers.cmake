nelka_test(leaks)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_definitions(test_leaks PRIVATE SANITIZED)
endif()
