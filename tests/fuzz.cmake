# Fuzz targets. With NELKANET_FUZZ (clang) they are fuzzers; otherwise each replays its corpus as a test.
foreach(target replies resultset requests)
  add_executable(fuzz_${target} fuzz/${target}.cpp)
  target_link_libraries(fuzz_${target} PRIVATE support)
  if(NELKANET_FUZZ)
    target_link_options(fuzz_${target} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(fuzz_${target} PRIVATE fuzz/replay.cpp)
    add_test(NAME Fuzz.ReplaysTheCorpusOf.${target}
      COMMAND fuzz_${target} ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/corpus/${target})
    set_tests_properties(Fuzz.ReplaysTheCorpusOf.${target} PROPERTIES LABELS quick TIMEOUT 300)
  endif()
endforeach()
