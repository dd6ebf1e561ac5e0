# Builds the reader on a site's own table-access library (here: the installed one), installs it beside
# that, and runs the first program on the result.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

set(site ${PREFIX}/${LIBDIR})
file(REMOVE_RECURSE ${WORK_DIR})
run_step(ignored ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
         -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
         -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DRAVO_EVUTL_PROVIDER=external
         -DRAVO_EXTERNAL_EVUTL_LIBRARY=${site}/libRAVOevutl.so
         -DRAVO_EXTERNAL_XML_LIBRARY=${site}/libRAVOXML.so)
run_step(ignored ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run_step(ignored ${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${WORK_DIR}/prefix)

build_example_by_pkg_config(write_a_file ravo_daq_writer ${PREFIX} ${WORK_DIR} "")
build_example_by_pkg_config(first_program_classic ravo_daq_reader ${WORK_DIR}/prefix ${WORK_DIR} -Wl,-rpath,${site})
run_examples(${WORK_DIR} ${WORK_DIR})
file(REMOVE_RECURSE ${WORK_DIR})
