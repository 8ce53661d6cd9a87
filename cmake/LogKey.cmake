# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# The public key with which the library encrypts log text. The library contains it in three pieces. It
# comes from one of three sources:
#
#   -DSYNCSTATUS_LOG_KEY_PIECES=FILE   three lines, "3-1-…", "3-2-…" and "3-3-…" in this order, which
#                                      the host's SecretkeySplit can join
#   -DSYNCSTATUS_LOG_PUBLIC_KEY=FILE   an RSA public key as PEM, which syncstatus-logkey splits
#   neither                            a pair that openssl makes once for this build folder, for
#                                      development
#
# With the first two, the same input gives the same library, bit for bit.
set(SYNCSTATUS_LOG_KEY_PIECES "" CACHE FILEPATH "The log-encryption public key in three pieces")
set(SYNCSTATUS_LOG_PUBLIC_KEY "" CACHE FILEPATH "The log-encryption public key as PEM")

set(log_key_dir ${PROJECT_BINARY_DIR}/logkey)
set(log_key_header ${log_key_dir}/logkeypieces.h)
unset(SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY CACHE)
set(is_development_key OFF)

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
    "This machine cannot run the syncstatus-logkey that a cross-build makes. Split the public key with "
    "an installed one, and give the pieces with -DSYNCSTATUS_LOG_KEY_PIECES=FILE.")
endif()

if(SYNCSTATUS_LOG_KEY_PIECES)
  set(log_key_pieces ${SYNCSTATUS_LOG_KEY_PIECES})
else()
  if(SYNCSTATUS_LOG_PUBLIC_KEY)
    set(log_public_key ${SYNCSTATUS_LOG_PUBLIC_KEY})
  else()
    set(log_public_key ${log_key_dir}/public.pem)
    set(SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY ${log_key_dir}/private.pem CACHE INTERNAL
      "The private half of this build folder's development key; unset if the build is given a key")
    set(is_development_key ON)
    find_program(OPENSSL_EXECUTABLE openssl)
    mark_as_advanced(OPENSSL_EXECUTABLE)
    if(NOT OPENSSL_EXECUTABLE)
      message(FATAL_ERROR
        "A development key needs the program openssl, which is missing. Install openssl, or give a key "
        "with -DSYNCSTATUS_LOG_PUBLIC_KEY=FILE or -DSYNCSTATUS_LOG_KEY_PIECES=FILE.")
    endif()
    # An existing private key is kept, because it may be the only one that can read a log. Only the
    # owner can read the file that openssl makes.
    set(private_key ${SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY})
    file(MAKE_DIRECTORY ${log_key_dir})
    set(result 0)
    if(NOT EXISTS ${private_key})
      execute_process(
        COMMAND ${OPENSSL_EXECUTABLE} genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:3072
                -out ${private_key}.new
        RESULT_VARIABLE result ERROR_VARIABLE said)
      if(result EQUAL 0)
        file(RENAME ${private_key}.new ${private_key})
      endif()
    endif()
    if(result EQUAL 0 AND ${private_key} IS_NEWER_THAN ${log_public_key})
      execute_process(
        COMMAND ${OPENSSL_EXECUTABLE} pkey -in ${private_key} -pubout -out ${log_public_key}
        RESULT_VARIABLE result ERROR_VARIABLE said)
    endif()
    if(NOT result EQUAL 0)
      message(FATAL_ERROR "The development key ${private_key} could not be made: ${result} ${said}")
    endif()
    message(WARNING
      "This build encrypts log text with a DEVELOPMENT KEY that it has made.\n"
      "Everybody who can read ${private_key} can read the text, and nobody can after this build folder "
      "is deleted. For a library that leaves this machine, make a pair with `openssl genpkey`, keep its "
      "private half safe, and configure with -DSYNCSTATUS_LOG_PUBLIC_KEY=FILE or "
      "-DSYNCSTATUS_LOG_KEY_PIECES=FILE.")
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
          -D DEVELOPMENT=${is_development_key}
          -P ${CMAKE_CURRENT_LIST_DIR}/LogKeyHeader.cmake
  DEPENDS ${log_key_pieces} ${CMAKE_CURRENT_LIST_DIR}/LogKeyHeader.cmake
  COMMENT "Writing the pieces of the log-encryption public key into a header"
  VERBATIM)
set_source_files_properties(${log_key_header} PROPERTIES SKIP_AUTOGEN ON)
