nelka_test(documentation)
target_compile_definitions(test_documentation PRIVATE NELKANET_DOCS="${PROJECT_SOURCE_DIR}/docs")
