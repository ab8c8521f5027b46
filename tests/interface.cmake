# What other programs build upon.
nelka_test(cdb)
nelka_test(resultset)
nelka_test(remotemethods)
target_compile_definitions(test_remotemethods PRIVATE
  HEADER="${PROJECT_SOURCE_DIR}/src/remotemethods.h"
  CLIENT="${PROJECT_SOURCE_DIR}/src/xmlrpclient.cpp"
  SERVER="${PROJECT_SOURCE_DIR}/src/xmlrpcserver.cpp")
nelka_test(layout)
target_compile_options(test_layout PRIVATE -fno-access-control)

# The symbols of the interface, per width of a pointer where it shows in them.
foreach(library nelkadb nelkanet)
  math(EXPR bits "${CMAKE_SIZEOF_VOID_P} * 8")
  set(list ${CMAKE_CURRENT_SOURCE_DIR}/exports/${library})
  if(EXISTS ${list}-${bits}bit)
    string(APPEND list -${bits}bit)
  endif()
  if(TARGET ${library})
    add_test(NAME exports.${library}
      COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/exports/compare ${CMAKE_NM} $<TARGET_FILE:${library}> ${list})
    set_tests_properties(exports.${library} PROPERTIES LABELS quick)
  endif()
endforeach()

# What is installed, used from outside the tree.
if(TARGET nelkadb)
  set(environment SOURCE=${PROJECT_SOURCE_DIR} BUILD=${PROJECT_BINARY_DIR} WORK=${CMAKE_CURRENT_BINARY_DIR}/install
    VERSION=${PROJECT_VERSION} LIBDIR=${CMAKE_INSTALL_LIBDIR} CMAKE=${CMAKE_COMMAND} CXX=${CMAKE_CXX_COMPILER}
    "CXXFLAGS=${CMAKE_CXX_FLAGS}" SYSROOT=${CMAKE_SYSROOT} "EMULATOR=${emulator}")
  foreach(part prefix files headers pkgconfig cmake replaced)
    add_test(NAME install.${part} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check ${part})
    set_tests_properties(install.${part} PROPERTIES LABELS quick TIMEOUT 300 ENVIRONMENT "${environment}"
      FIXTURES_REQUIRED prefix)
  endforeach()
  set_tests_properties(install.prefix PROPERTIES FIXTURES_REQUIRED "" FIXTURES_SETUP prefix)
  set_tests_properties(install.pkgconfig PROPERTIES FIXTURES_SETUP consumer)
  set_tests_properties(install.replaced PROPERTIES LABELS long FIXTURES_REQUIRED "prefix;consumer")
endif()
