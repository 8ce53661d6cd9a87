# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# Writes the three pieces in the file PIECES into the C++ header HEADER. Does not check that they join:
# a payload is any printable ASCII without blanks, and only the host knows its encoding. If DEVELOPMENT
# is set, a mark for syncstatus-logkey follows the NUL of the last piece.
file(READ "${PIECES}" text)
# For CMake a text ends at its first NUL, so a search for NULs needs the bytes.
file(READ "${PIECES}" bytes HEX)
string(REGEX MATCHALL ".." bytes "${bytes}")
list(FIND bytes "00" nul)
if(NOT nul EQUAL -1 OR NOT text MATCHES "^(3-1-[!-~]+)\r?\n(3-2-[!-~]+)\r?\n(3-3-[!-~]+)\r?\n?$")
  message(FATAL_ERROR
    "${PIECES}: not the three pieces of a key. It must be three lines that begin with \"3-1-\", "
    "\"3-2-\" and \"3-3-\", in this order, each followed by printable ASCII without blanks.")
endif()
set(one "${CMAKE_MATCH_1}")
set(two "${CMAKE_MATCH_2}")
set(three "${CMAKE_MATCH_3}")
foreach(piece IN ITEMS one two three)
  string(REPLACE "\\" "\\\\" ${piece} "${${piece}}")
  string(REPLACE "\"" "\\\"" ${piece} "${${piece}}")
endforeach()
if(DEVELOPMENT)
  string(APPEND three "\\0development key")
endif()
file(WRITE "${HEADER}"
"// Made by the build from the pieces of the log-encryption public key. Do not edit.

#ifndef LOGKEYPIECES_H
#define LOGKEYPIECES_H

namespace logKeyPieces {

constexpr char one[] = \"${one}\";
constexpr char two[] = \"${two}\";
constexpr char three[] = \"${three}\";

} // namespace logKeyPieces

#endif
")
