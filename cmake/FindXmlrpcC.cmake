# xmlrpc-c describes its flags only by a script, which a cross build cannot use.
#
# Defines XmlrpcC::client, XmlrpcC::server and XmlrpcC::value (only the value API).

find_path(XmlrpcC_INCLUDE_DIR xmlrpc-c/client.h)

set(XmlrpcC_VARIABLES XmlrpcC_INCLUDE_DIR)
foreach(part xmlrpc xmlrpc_util xmlrpc_client xmlrpc_server xmlrpc_abyss xmlrpc_server_abyss)
  find_library(XmlrpcC_${part}_LIBRARY ${part})
  list(APPEND XmlrpcC_VARIABLES XmlrpcC_${part}_LIBRARY)
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(XmlrpcC REQUIRED_VARS ${XmlrpcC_VARIABLES})
mark_as_advanced(${XmlrpcC_VARIABLES})

function(xmlrpcc_target name)
  if(TARGET XmlrpcC::${name})
    return()
  endif()
  add_library(XmlrpcC::${name} INTERFACE IMPORTED)
  target_include_directories(XmlrpcC::${name} INTERFACE ${XmlrpcC_INCLUDE_DIR})
  foreach(part ${ARGN})
    target_link_libraries(XmlrpcC::${name} INTERFACE ${XmlrpcC_${part}_LIBRARY})
  endforeach()
endfunction()

if(XmlrpcC_FOUND)
  xmlrpcc_target(value xmlrpc xmlrpc_util)
  xmlrpcc_target(client xmlrpc_client xmlrpc xmlrpc_util)
  xmlrpcc_target(server xmlrpc_server_abyss xmlrpc_server xmlrpc_abyss xmlrpc xmlrpc_util)
endif()
