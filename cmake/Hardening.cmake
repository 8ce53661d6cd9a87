# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# The hardening flags of distributions, for builds without a distribution's flags; with them, the same
# flag comes twice. Leaves out flags that the compiler or the linker does not know. "-z now" is not
# here, because the library would then need libcrypto when it is loaded. Each other target sets it.

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
include(CheckPIESupported)

check_pie_supported()

target_compile_options(syncstatus_settings INTERFACE -Wformat -Werror=format-security)
set(control_flow -fcf-protection)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  set(control_flow -mbranch-protection=standard)
endif()
foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection ${control_flow})
  string(MAKE_C_IDENTIFIER "SYNCSTATUS_HAVE${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(syncstatus_settings INTERFACE ${flag})
  endif()
endforeach()
target_compile_definitions(syncstatus_settings INTERFACE _GLIBCXX_ASSERTIONS)

# _FORTIFY_SOURCE needs optimization, disturbs sanitizers, and warns if it is defined twice.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|_FORTIFY_SOURCE")
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE")
  set(CMAKE_REQUIRED_DEFINITIONS -D_FORTIFY_SOURCE=3)
  check_cxx_source_compiles("#include <cstring>\nint main() { return 0; }" SYNCSTATUS_HAVE_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  unset(CMAKE_REQUIRED_DEFINITIONS)
  set(level 2)
  if(SYNCSTATUS_HAVE_FORTIFY_3)
    set(level 3)
  endif()
  # Undefined first, because some compilers define it.
  target_compile_options(syncstatus_settings INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=${level}>)
endif()

foreach(flag IN ITEMS LINKER:-z,relro LINKER:-z,noexecstack)
  string(MAKE_C_IDENTIFIER "SYNCSTATUS_HAVE_${flag}" known)
  check_linker_flag(CXX ${flag} ${known})
  if(${known})
    target_link_options(syncstatus_settings INTERFACE ${flag})
  endif()
endforeach()
