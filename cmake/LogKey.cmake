# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# The public key with which the library encrypts log text. It goes into the library as three pieces,
# never whole, and comes from one of three places:
#
#   -DSYNCSTATUS_LOG_KEY_PIECES=FILE   three lines, "3-1-…", "3-2-…" and "3-3-…" in this order, as the
#                                      host's own splitting made them
#   -DSYNCSTATUS_LOG_PUBLIC_KEY=FILE   an RSA public key as PEM, which syncstatus-logkey splits
#   neither                            a pair made once for this build folder, for development
#
# With the first two the same inputs give the same library, bit for bit.
set(SYNCSTATUS_LOG_KEY_PIECES "" CACHE FILEPATH "The log-encryption public key in three pieces")
set(SYNCSTATUS_LOG_PUBLIC_KEY "" CACHE FILEPATH "The log-encryption public key as PEM")

set(log_key_dir ${PROJECT_BINARY_DIR}/logkey)
set(log_key_header ${log_key_dir}/logkeypieces.h)
unset(SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY CACHE)

foreach(input IN ITEMS SYNCSTATUS_LOG_KEY_PIECES SYNCSTATUS_LOG_PUBLIC_KEY)
  if(${input} AND (NOT EXISTS "${${input}}" OR IS_DIRECTORY "${${input}}"))
    message(FATAL_ERROR "${input}: there is no file ${${input}}")
  endif()
endforeach()
if(SYNCSTATUS_LOG_KEY_PIECES AND SYNCSTATUS_LOG_PUBLIC_KEY)
  message(FATAL_ERROR
    "Give either SYNCSTATUS_LOG_KEY_PIECES or SYNCSTATUS_LOG_PUBLIC_KEY, not both.")
endif()
if(CMAKE_CROSSCOMPILING AND NOT SYNCSTATUS_LOG_KEY_PIECES)
  message(FATAL_ERROR
    "The key tool of this build does not run here. Split the public key with a syncstatus-logkey "
    "that does, and give the pieces with -DSYNCSTATUS_LOG_KEY_PIECES=FILE.")
endif()

if(SYNCSTATUS_LOG_KEY_PIECES)
  set(log_key_pieces ${SYNCSTATUS_LOG_KEY_PIECES})
else()
  if(SYNCSTATUS_LOG_PUBLIC_KEY)
    set(log_public_key ${SYNCSTATUS_LOG_PUBLIC_KEY})
  else()
    set(log_public_key ${log_key_dir}/public.pem)
    set(SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY ${log_key_dir}/private.pem CACHE INTERNAL
      "The private half of this build folder's development key; unset when the build is given a key")
    message(WARNING
      "This build encrypts log text with a DEVELOPMENT KEY that it makes for itself.\n"
      "Whoever can read ${SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY} can read the text, and nobody can once "
      "this build folder is deleted. For a library that leaves this machine, make a pair with "
      "`syncstatus-logkey generate`, keep its private half safe, and configure with "
      "-DSYNCSTATUS_LOG_PUBLIC_KEY=FILE or -DSYNCSTATUS_LOG_KEY_PIECES=FILE.")
    # The tool is no dependency here: a pair that is there is kept, whatever becomes of the tool.
    add_custom_command(OUTPUT ${log_public_key} ${SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY}
      COMMAND ${CMAKE_COMMAND}
              -D TOOL=$<TARGET_FILE:syncstatus-logkey>
              -D PRIVATE=${SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY}
              -D PUBLIC=${log_public_key}
              -P ${CMAKE_CURRENT_LIST_DIR}/DevelopmentLogKey.cmake
      COMMENT "Looking for the development log key"
      VERBATIM)
  endif()
  set(log_key_pieces ${log_key_dir}/pieces.txt)
  add_custom_command(OUTPUT ${log_key_pieces}
    COMMAND syncstatus-logkey split --force --output ${log_key_pieces}
            ${log_public_key}
    DEPENDS syncstatus-logkey ${log_public_key}
    COMMENT "Splitting the log-encryption public key"
    VERBATIM)
endif()
add_custom_command(OUTPUT ${log_key_header}
  COMMAND ${CMAKE_COMMAND}
          -D PIECES=${log_key_pieces}
          -D HEADER=${log_key_header}
          -P ${CMAKE_CURRENT_LIST_DIR}/LogKeyHeader.cmake
  DEPENDS ${log_key_pieces} ${CMAKE_CURRENT_LIST_DIR}/LogKeyHeader.cmake
  COMMENT "Writing the pieces of the log-encryption public key into a header"
  VERBATIM)
set_source_files_properties(${log_key_header} PROPERTIES SKIP_AUTOGEN ON)
