nelka_test(leaks)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_definitions(test_leaks PRIVATE SANITIZED)
else()
  # Takes the allocator's place, as the sanitizers do.
  nelka_test(torture)
endif()
