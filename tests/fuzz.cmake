# Fuzz targets. With NELKANET_FUZZ (clang) they are fuzzers; otherwise each replays its corpus as a test.

# Without what watches the replies of real calls, whose place a target takes.
add_library(fuzz_support STATIC support/operations.cpp support/ports.cpp support/xml.cpp)
target_include_directories(fuzz_support PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(fuzz_support PUBLIC nelkanet::nelkanet nelkadb::nelkadb XmlrpcC::client XmlrpcC::value)

foreach(target replies resultset requests)
  add_executable(fuzz_${target} fuzz/${target}.cpp)
  target_link_libraries(fuzz_${target} PRIVATE fuzz_support)
  if(NELKANET_FUZZ)
    target_link_options(fuzz_${target} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(fuzz_${target} PRIVATE fuzz/replay.cpp)
    add_test(NAME Fuzz.ReplaysTheCorpusOf.${target}
      COMMAND fuzz_${target} ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/corpus/${target})
    set_tests_properties(Fuzz.ReplaysTheCorpusOf.${target} PROPERTIES LABELS quick TIMEOUT 300)
  endif()
endforeach()
