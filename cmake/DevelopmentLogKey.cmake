# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# Makes the pair PRIVATE and PUBLIC with the program TOOL, unless it is there. A private key that is
# there is never lost: it may be the only one that reads a log. A public key alone is of no use.
if(EXISTS "${PRIVATE}" AND EXISTS "${PUBLIC}")
  return()
endif()
if(EXISTS "${PRIVATE}")
  message(FATAL_ERROR
    "The public half of the development log key is gone: ${PUBLIC}\n"
    "Make it again with `openssl pkey -in '${PRIVATE}' -pubout -out '${PUBLIC}'`, or delete the "
    "private half as well to get a new pair; what was encrypted for the old one is lost then.")
endif()
file(REMOVE "${PUBLIC}")
# Not every generator makes the folders of what it is told will come.
get_filename_component(folder "${PRIVATE}" DIRECTORY)
file(MAKE_DIRECTORY "${folder}")
execute_process(
  COMMAND "${TOOL}" generate --private "${PRIVATE}" --public "${PUBLIC}"
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The development log key could not be made.")
endif()
