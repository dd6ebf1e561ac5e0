# Runs README.md's block of commands that installs, builds the examples, writes a file and reads it, as a newcomer
# does, and another time, as a newcomer also does. The build is the one under test, the home a folder of the test's.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

file(READ ${SOURCE_DIR}/README.md readme)
string(FIND "${readme}" "```sh\ncmake --install" begin)
if(begin EQUAL -1)
  message(FATAL_ERROR "README.md has no block that installs")
endif()
math(EXPR begin "${begin} + 6")
string(SUBSTRING "${readme}" ${begin} -1 rest)
string(FIND "${rest}" "```" length)
string(SUBSTRING "${rest}" 0 ${length} commands)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/home ${WORK_DIR}/tmp ${WORK_DIR}/build)
file(CREATE_LINK ${SOURCE_DIR}/examples ${WORK_DIR}/examples SYMBOLIC)
file(CREATE_LINK ${BINARY_DIR} ${WORK_DIR}/build/release SYMBOLIC)
file(WRITE ${WORK_DIR}/block.sh "set -e\n${commands}")
foreach(time first second)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env HOME=${WORK_DIR}/home TMPDIR=${WORK_DIR}/tmp CXX=${CXX}
                          CMAKE_GENERATOR=${GENERATOR} CMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} sh block.sh
                  WORKING_DIRECTORY ${WORK_DIR} OUTPUT_VARIABLE printed ERROR_VARIABLE said RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "README.md's block, the ${time} time, ended with ${status}\n${printed}${said}")
  endif()
  # Two programs print the hundred events each.
  string(REGEX MATCHALL "\n100 1\n" ends "${printed}")
  list(LENGTH ends count)
  if(NOT count EQUAL 2)
    message(FATAL_ERROR "README.md's block, the ${time} time, printed\n${printed}")
  endif()
endforeach()
file(REMOVE_RECURSE ${WORK_DIR})
