# What `cmake --install` puts under the prefix: the plug-in, the host
# emulator (library, headers, pkg-config file, CMake package), tirn-inspect
# with the docs file, and the Python package.
include(CMakePackageConfigHelpers)

set(TIRN_PLUGIN_INSTALL_DIR lib/tirnvision)
install(TARGETS tirnvision LIBRARY DESTINATION ${TIRN_PLUGIN_INSTALL_DIR})
install(TARGETS tirn-inspect RUNTIME DESTINATION bin)
install(FILES visionsrc/binding/tirnvision_docs.txt DESTINATION share/tirnvision)

# Outside programs include <tirnvision/TirnHost.h> or, like the tree's own,
# "TirnHost.h"; either way they must export the entry points (-rdynamic).
set_target_properties(tirn_host PROPERTIES EXPORT_NAME host)
target_include_directories(tirn_host INTERFACE
  $<INSTALL_INTERFACE:include> $<INSTALL_INTERFACE:include/tirnvision>)
target_link_options(tirn_host INTERFACE $<INSTALL_INTERFACE:-rdynamic>)
install(TARGETS tirn_host EXPORT tirnvisionTargets ARCHIVE DESTINATION lib)
install(FILES host/TirnHost.h host/Prototype.h host/Network.h host/Dialog.h host/HostRecords.h
  host/Window.h DESTINATION include/tirnvision)
install(EXPORT tirnvisionTargets NAMESPACE tirnvision:: DESTINATION lib/cmake/tirnvision)
configure_package_config_file(cmake/tirnvisionConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tirnvisionConfig.cmake
  INSTALL_DESTINATION lib/cmake/tirnvision PATH_VARS TIRN_PLUGIN_INSTALL_DIR)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tirnvisionConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tirnvisionConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tirnvisionConfigVersion.cmake DESTINATION lib/cmake/tirnvision)

# The same entry points as tirn_host's own link options keep.
get_target_property(TIRN_HOST_LINK_OPTIONS tirn_host INTERFACE_LINK_OPTIONS)
string(REGEX MATCH "--undefined=[^;>]*" TIRN_HOST_UNDEFINED "${TIRN_HOST_LINK_OPTIONS}")
# The prefix is read at install time, so `cmake --install --prefix` holds.
configure_file(cmake/tirnvision.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tirnvision.pc.in2 @ONLY)
install(CODE "
  file(READ \"${CMAKE_CURRENT_BINARY_DIR}/tirnvision.pc.in2\" pc)
  string(REPLACE \"%PREFIX%\" \"\${CMAKE_INSTALL_PREFIX}\" pc \"\${pc}\")
  file(WRITE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/pkgconfig/tirnvision.pc\" \"\${pc}\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/pkgconfig/tirnvision.pc\")
  file(WRITE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/include/tirnvision/TirnModulePath.h\"
\"// Where cmake --install put the plug-in (generated).
#ifndef TIRNVISION_MODULE_PATH
#define TIRNVISION_MODULE_PATH \\\"\${CMAKE_INSTALL_PREFIX}/lib/tirnvision/tirnvision.so\\\"
#endif
\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/include/tirnvision/TirnModulePath.h\")")
install(FILES LICENSE CHANGELOG.md README.md DESTINATION share/doc/tirnvision)

# Sanitized builds leave the emulator library needing their runtimes, which
# an outside program does not link.
if(TIRN_BUILD_TESTS AND NOT TIRN_SANITIZE)
  if(TIRN_BUILD_PYTHON)
    set(TIRN_INSTALL_TEST_PYTHON ${TIRN_PYTHON_INSTALL_DIR})
  endif()
  add_test(NAME InstalledTree
    COMMAND ${PROJECT_SOURCE_DIR}/tests/install/check_install.sh ${PROJECT_BINARY_DIR}
            ${PROJECT_SOURCE_DIR} ${CMAKE_CXX_COMPILER} "${Python_EXECUTABLE}"
            "${TIRN_INSTALL_TEST_PYTHON}")
endif()
