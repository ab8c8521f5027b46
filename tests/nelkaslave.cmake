if(TARGET nelkaslave)
  foreach(name nelkaslave nelkaslave_process)
    nelka_test(${name})
    target_compile_definitions(test_${name} PRIVATE NELKASLAVE="$<TARGET_FILE:nelkaslave>" EMULATOR="${emulator}")
    add_dependencies(test_${name} nelkaslave)
  endforeach()

  add_library(nelkaslave_preload MODULE nelkaslave_preload.cpp)
  add_dependencies(test_nelkaslave_process nelkaslave_preload)
  target_compile_definitions(test_nelkaslave_process PRIVATE PRELOAD="$<TARGET_FILE:nelkaslave_preload>")

  add_test(NAME nelkaslave.python COMMAND /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/nelkaslave.py
    ${PROJECT_SOURCE_DIR}/docs/man/nelkaslave.1 ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:nelkaslave>)
  set_tests_properties(nelkaslave.python PROPERTIES LABELS quick TIMEOUT 300)
endif()
