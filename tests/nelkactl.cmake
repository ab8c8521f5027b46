if(NELKANET_TOOLS AND TARGET nelkactl)
  nelka_test(nelkactl SOURCES nelkactl.cpp nelkactl_commandline.cpp nelkactl_files.cpp nelkactl_scan.cpp)
  add_dependencies(test_nelkactl nelkactl)
  target_compile_definitions(test_nelkactl PRIVATE
    NELKACTL="$<TARGET_FILE:nelkactl>"
    SCRIPT="${CMAKE_CURRENT_SOURCE_DIR}/nelkactl.py"
    SUPPRESSIONS="${CMAKE_CURRENT_SOURCE_DIR}/nelkactl.lsan"
    MAN_PAGE="${PROJECT_SOURCE_DIR}/docs/man/nelkactl.1"
    COMPLETION="${PROJECT_SOURCE_DIR}/tools/nelkactl/completion.bash")
endif()
