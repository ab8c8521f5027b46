if(TARGET nelkactl)
  nelka_test(nelkactl SOURCES nelkactl.cpp nelkactl_commandline.cpp nelkactl_files.cpp nelkactl_scan.cpp)
  add_dependencies(test_nelkactl nelkactl)
  if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
    target_sources(nelkactl PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/suppressions/leaksanitizer.cpp)
  endif()
  # The tests start it from shells and scripts, which know nothing of emulators.
  set(program $<TARGET_FILE:nelkactl>)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(program ${CMAKE_CURRENT_BINARY_DIR}/nelkactl)
    file(GENERATE OUTPUT ${program} CONTENT "#!/bin/sh\nexec ${emulator} $<TARGET_FILE:nelkactl> \"$@\"\n"
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  endif()
  target_compile_definitions(test_nelkactl PRIVATE
    NELKACTL="${program}"
    SCRIPT="${CMAKE_CURRENT_SOURCE_DIR}/nelkactl.py"
    MAN_PAGE="${PROJECT_SOURCE_DIR}/docs/man/nelkactl.1"
    COMPLETION="${PROJECT_SOURCE_DIR}/tools/nelkactl/completion.bash")
endif()
