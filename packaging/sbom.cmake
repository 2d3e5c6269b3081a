# Run by cpack when the packages are made: the bill of materials goes beside them.
find_program(PYTHON python3)
if(NOT PYTHON)
  message(STATUS "No bill of materials: it takes python3")
  return()
endif()
execute_process(
  COMMAND ${PYTHON} ${CMAKE_CURRENT_LIST_DIR}/sbom
    ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_NAME}-${CPACK_PACKAGE_VERSION}.spdx.json
    ${CPACK_PACKAGE_FILES}
  COMMAND_ERROR_IS_FATAL ANY)
