# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# `cmake --install` has four components:
#   runtime   the shared libraries, and the plugin in the agent's plugin folder
#   devel     headers, CMake and pkg-config files, and the examples
#   agent     the reference agent
#   tools     syncstatus-logkey and syncstatus-logread
# All paths are relative, so that an installed tree can be moved. Only the systemd unit has to name its
# program in full.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/SyncStatus)

# Programs find the libraries relative to themselves. A package that installs into the system's folders
# sets CMAKE_SKIP_INSTALL_RPATH.
file(RELATIVE_PATH libdir_from_bindir ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(syncstatus-agent syncstatus-logkey PROPERTIES
  INSTALL_RPATH $ORIGIN/${libdir_from_bindir})

install(TARGETS syncstatus custompluginmanager syncstatus_for_agents EXPORT SyncStatusTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT devel)
# The plugin is a link to the library, so that an agent that links and loads it has one copy.
file(RELATIVE_PATH to_library ${SYNCSTATUS_FULL_PLUGIN_DIR}
     ${CMAKE_INSTALL_FULL_LIBDIR}/libsyncstatus.so.${PROJECT_VERSION})
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/installed-plugin)
file(CREATE_LINK ${to_library}
     ${PROJECT_BINARY_DIR}/installed-plugin/libsyncstatus.so SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/installed-plugin/libsyncstatus.so
  DESTINATION ${SYNCSTATUS_PLUGIN_DIR} COMPONENT runtime)

foreach(prefix IN ITEMS syncstatus custompluginmanager)
  install(FILES ${PROJECT_BINARY_DIR}/include/${prefix}/${prefix}_export.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${prefix} COMPONENT devel)
endforeach()

install(EXPORT SyncStatusTargets NAMESPACE SyncStatus:: DESTINATION ${package_dir} COMPONENT devel)
configure_package_config_file(cmake/SyncStatusConfig.cmake.in
  ${PROJECT_BINARY_DIR}/SyncStatusConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS SYNCSTATUS_PLUGIN_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SyncStatusConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SyncStatusConfig.cmake
              ${PROJECT_BINARY_DIR}/SyncStatusConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT devel)

file(RELATIVE_PATH SYNCSTATUS_PC_PREFIX
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" SYNCSTATUS_PC_PREFIX ${SYNCSTATUS_PC_PREFIX})
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  file(RELATIVE_PATH SYNCSTATUS_PC_${dir} ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_${dir}})
endforeach()
file(RELATIVE_PATH SYNCSTATUS_PC_PLUGIN_DIR ${CMAKE_INSTALL_PREFIX} ${SYNCSTATUS_FULL_PLUGIN_DIR})
foreach(module IN ITEMS syncstatus syncstatus-agent)
  configure_file(cmake/${module}.pc.in ${PROJECT_BINARY_DIR}/${module}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${module}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)
endforeach()
install(DIRECTORY examples/agent examples/ownhost examples/serviceplugin
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT devel)
install(PROGRAMS examples/check-host
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT devel)

install(TARGETS syncstatus-agent RUNTIME COMPONENT agent)
install(FILES docs/man/syncstatus-agent.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT agent)
configure_file(packaging/syncstatus-agent.service.in
  ${PROJECT_BINARY_DIR}/syncstatus-agent.service @ONLY)
# systemd reads lib, not lib64.
install(FILES ${PROJECT_BINARY_DIR}/syncstatus-agent.service
  DESTINATION lib/systemd/system COMPONENT agent)

install(TARGETS syncstatus-logkey syncstatus-logread RUNTIME COMPONENT tools)
install(FILES docs/man/syncstatus-logkey.1 docs/man/syncstatus-logread.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
