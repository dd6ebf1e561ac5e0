# Builds the libraries of the kind that the surrounding build does not (static instead of shared, or
# shared instead of static), installs them, and builds and runs the examples on them in both ways.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

if(SHARED)
  set(other OFF)
else()
  set(other ON)
endif()
file(REMOVE_RECURSE ${WORK_DIR})
run_step(ignored ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
         -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
         -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DBUILD_SHARED_LIBS=${other}
         -DRAVO_BUILD_TESTS=OFF -DRAVO_BUILD_TOOL=OFF -DRAVO_BUILD_BENCH=OFF)
run_step(ignored ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run_step(ignored ${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${WORK_DIR}/prefix)
foreach(way find_package pkg_config)
  run_step(ignored ${CMAKE_COMMAND} -DSOURCE_DIR=${SOURCE_DIR} -DPREFIX=${WORK_DIR}/prefix
           -DLIBDIR=${LIBDIR} -DCXX=${CXX} -DLAUNCHER=${LAUNCHER} -DGENERATOR=${GENERATOR}
           -DSHARED=${other} -DWAY=${way} -DWORK_DIR=${WORK_DIR}/${way}
           -P ${CMAKE_CURRENT_LIST_DIR}/build_and_run_examples.cmake)
endforeach()
file(REMOVE_RECURSE ${WORK_DIR})
