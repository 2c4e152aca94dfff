# SPDX-License-Identifier: MIT
# `ninja reference` creates the reference of the library with Doxygen; any warning is an error.
find_program(DOXYGEN doxygen)
if(DOXYGEN)
  list(TRANSFORM velmora_public_headers PREPEND ${CMAKE_SOURCE_DIR}/src/ OUTPUT_VARIABLE REFERENCE_INPUT)
  list(JOIN REFERENCE_INPUT " " REFERENCE_INPUT)
  set(REFERENCE_INPUT "${CMAKE_SOURCE_DIR}/docs/library.md ${REFERENCE_INPUT}")
  configure_file(docs/Doxyfile.in ${CMAKE_BINARY_DIR}/Doxyfile @ONLY)
  add_custom_target(reference COMMAND ${DOXYGEN} ${CMAKE_BINARY_DIR}/Doxyfile USES_TERMINAL)
endif()
