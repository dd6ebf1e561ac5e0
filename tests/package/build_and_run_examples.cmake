# Builds the examples against the installed tree in PREFIX, in the way named by WAY, and runs them.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

set(sanitize_flags "")
if(SANITIZE)
  set(sanitize_flags -fsanitize=${SANITIZE})
endif()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
if(WAY STREQUAL "find_package")
  build_examples_by_find_package("${sanitize_flags}")
else()
  build_example_by_pkg_config(write_a_file ravo_daq_writer ${PREFIX} ${WORK_DIR} "${sanitize_flags}")
  build_example_by_pkg_config(first_program ravo_daq_reader ${PREFIX} ${WORK_DIR} "${sanitize_flags}")
endif()
run_examples(${WORK_DIR} ${WORK_DIR})
file(REMOVE_RECURSE ${WORK_DIR})
