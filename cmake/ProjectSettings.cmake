# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

file(RELATIVE_PATH syncstatus_source_dir ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/)

# The settings of every target of this project. Linked privately, never installed.
add_library(syncstatus_settings INTERFACE)
target_compile_options(syncstatus_settings INTERFACE
  -Wall -Wextra -Wpedantic
  # Qt's qCWarning(category) << ... leaves out a variadic macro's argument, as C++20 allows.
  # clang++ 19 has no separate name for that warning.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>
  $<$<AND:$<CXX_COMPILER_ID:Clang>,$<VERSION_GREATER_EQUAL:$<CXX_COMPILER_VERSION>,19>>:-Wno-c++20-extensions>
  # Valgrind before 3.20 cannot read clang's debugging information in DWARF 5.
  $<$<CXX_COMPILER_ID:Clang>:-fdebug-default-version=4>
  $<$<BOOL:${SYNCSTATUS_WERROR}>:-Werror>
  # Log records and debug information name files relative to the source tree, so that builds in
  # different folders are the same.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
  -ffile-prefix-map=${PROJECT_BINARY_DIR}=. # the folder that the compiler is run in
  -ffile-prefix-map=${PROJECT_BINARY_DIR}/=
  -ffile-prefix-map=${syncstatus_source_dir}=) # the name from ccache with CCACHE_BASEDIR
if(CMAKE_CXX_FLAGS MATCHES "--coverage")
  # gcov has to find each file under one name only.
  target_compile_options(syncstatus_settings INTERFACE
    -fprofile-prefix-map=${PROJECT_SOURCE_DIR}/=${PROJECT_SOURCE_DIR}/
    -fprofile-prefix-map=${PROJECT_BINARY_DIR}/include/custompluginmanager/=${PROJECT_SOURCE_DIR}/src/agent/framework/custompluginmanager/)
endif()
target_compile_definitions(syncstatus_settings INTERFACE
  QT_MESSAGELOGCONTEXT # file, line and function in log records of release builds too
  QT_NO_KEYWORDS
  QT_NO_CAST_FROM_BYTEARRAY
  QT_NO_CAST_TO_ASCII
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
  QT_NO_URL_CAST_FROM_STRING)
include(Hardening)

# In a build for tests with AddressSanitizer, every program looks for leaks after main().
#   syncstatus_check_leaks_after_main(<target> <PRIVATE|INTERFACE>)
function(syncstatus_check_leaks_after_main target scope)
  set(program $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
  target_sources(${target} ${scope}
    $<${program}:${PROJECT_SOURCE_DIR}/tests/support/leakcheck.cpp>)
  target_link_options(${target} ${scope} $<${program}:-Wl,--wrap=main>)
endfunction()
if(BUILD_TESTING AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=[^ ]*address")
  syncstatus_check_leaks_after_main(syncstatus_settings INTERFACE)
endif()

# Installs public headers. Sources, tests and examples of this tree include them by their installed
# names, <prefix/name.h>.
#   syncstatus_public_headers(<target> <prefix> <header>...)
function(syncstatus_public_headers target prefix)
  foreach(header IN LISTS ARGN)
    get_filename_component(name ${header} NAME)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include/${prefix})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header}
         ${PROJECT_BINARY_DIR}/include/${prefix}/${name} SYMBOLIC)
    install(FILES ${header}
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${prefix} COMPONENT devel)
  endforeach()
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endfunction()
