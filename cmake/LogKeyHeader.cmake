# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# Writes the three pieces in the file PIECES into the C++ header HEADER. Whether they join is for the
# host that made them to say: the payload is its own, any printable ASCII without blanks. With
# DEVELOPMENT set, a mark follows the last one's NUL, for syncstatus-logkey to find in a library.
file(READ "${PIECES}" text)
# A text ends at a NUL for CMake, which would not see what follows.
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
