# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

# Makes the pair PRIVATE and PUBLIC with the program TOOL, unless it is there.
if(NOT EXISTS "${PRIVATE}" OR NOT EXISTS "${PUBLIC}")
  # Not every generator makes the folders of what it is told will come.
  get_filename_component(folder "${PRIVATE}" DIRECTORY)
  file(MAKE_DIRECTORY "${folder}")
  execute_process(
    COMMAND "${TOOL}" generate --force --private "${PRIVATE}" --public "${PUBLIC}"
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "The development log key could not be made.")
  endif()
endif()
