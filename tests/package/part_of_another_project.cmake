# Configures a project that takes ours in by add_subdirectory: it keeps its own choices, also where it has made none.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

# configure_parent(<kind of the parent's library> <kind of ours> <the parent's choices>...)
function(configure_parent parent ours)
  file(REMOVE_RECURSE ${WORK_DIR})
  run_step(ignored ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/parent -B ${WORK_DIR} -G ${GENERATOR}
           -DCMAKE_CXX_COMPILER=${CXX} -DRAVO=${SOURCE_DIR} -DEXPECTED_OF_PARENT=${parent}_LIBRARY
           -DEXPECTED_OF_RAVO=${ours}_LIBRARY ${ARGN})
endfunction()

configure_parent(STATIC SHARED)
configure_parent(STATIC STATIC -DBUILD_SHARED_LIBS=OFF)
configure_parent(SHARED SHARED -DBUILD_SHARED_LIBS=ON -DCMAKE_BUILD_TYPE=Debug)
file(REMOVE_RECURSE ${WORK_DIR})
