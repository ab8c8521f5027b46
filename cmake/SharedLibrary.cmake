# Common to libnelkadb and libnelkanet: an exact list of exported symbols, headers found under the library's name before
# and after installation, a pkg-config file and a CMake package.
#
# shared_library(NAME HEADERS header... SOURCES source...)
function(shared_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;SOURCES")

  add_library(${name} SHARED ${arg_SOURCES})
  add_library(${name}::${name} ALIAS ${name})
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

  set(exports ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  target_link_options(${name} PRIVATE LINKER:--version-script=${exports} LINKER:--as-needed)
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize") # clang leaves the sanitizer's symbols to the program
    target_link_options(${name} PRIVATE LINKER:--no-undefined)
  endif()
  set_property(TARGET ${name} PROPERTY LINK_DEPENDS ${exports})

  set(include ${PROJECT_BINARY_DIR}/include)
  foreach(header ${arg_HEADERS})
    configure_file(${header} ${include}/${name}/${header} COPYONLY)
  endforeach()
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${include}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

  install(FILES ${arg_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name} COMPONENT dev)
  install(TARGETS ${name} EXPORT ${name}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${name} NAMELINK_COMPONENT dev)

  set(package ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  configure_package_config_file(${name}-config.cmake.in ${name}-config.cmake INSTALL_DESTINATION ${package})
  write_basic_package_version_file(${name}-config-version.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/${name}-config-version.cmake
    DESTINATION ${package} COMPONENT dev)
  install(EXPORT ${name} FILE ${name}-targets.cmake NAMESPACE ${name}:: DESTINATION ${package} COMPONENT dev)

  # Relative to the .pc file, to be right wherever `cmake --install --prefix` or a package puts it.
  file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  configure_file(${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()
