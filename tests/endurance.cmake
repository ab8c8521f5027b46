nelka_test(matrix)
nelka_test(endurance LABEL long)
nelka_test(systemlog LABEL long)

# Takes the allocator's place, as the sanitizers do.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  nelka_test(torture)
endif()
