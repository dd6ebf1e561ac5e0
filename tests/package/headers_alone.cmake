# Builds the reader as a site with its own table-access library does: on the headers of that library
# alone, its functions left open. Every function that the reader leaves open and that our own libraries
# have must be declared in ravo_evutl.h or ravo_xml.h: nothing else is the site's to provide.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
run_step(ignored ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
         -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DBUILD_SHARED_LIBS=ON
         -DRAVO_EVUTL_PROVIDER=external)
run_step(ignored ${CMAKE_COMMAND} --build ${WORK_DIR})

# Names of the symbols that nm lists for a library, without versions.
function(symbols result)
  run_step(listing ${NM} -P ${ARGN})
  string(REGEX MATCHALL "(^|\n)[^ \n]+" names "${listing}")
  list(TRANSFORM names STRIP)
  list(TRANSFORM names REPLACE "@.*" "")
  set(${result} "${names}" PARENT_SCOPE)
endfunction()

set(dynamic "")
if(SHARED)
  set(dynamic -D)
endif()
symbols(open -D --undefined-only ${WORK_DIR}/library/daq/reader/libravo_daq_reader.so)
symbols(provided ${dynamic} --defined-only --extern-only ${EVUTL} ${XML})
file(READ ${SOURCE_DIR}/library/evutl/include/ravo_evutl.h declarations)
file(READ ${SOURCE_DIR}/library/xml/include/ravo_xml.h xml_declarations)
string(APPEND declarations ${xml_declarations})

set(seen 0)
foreach(symbol IN LISTS open)
  if(NOT symbol IN_LIST provided)
    continue()
  endif()
  # A free function outside any namespace is _Z, the length of its name, its name, its arguments.
  if(NOT symbol MATCHES "^_Z([0-9]+)(.+)$")
    message(FATAL_ERROR "The reader uses ${symbol} of the table-access library, which is not part of its interface")
  endif()
  string(SUBSTRING "${CMAKE_MATCH_2}" 0 ${CMAKE_MATCH_1} name)
  if(NOT declarations MATCHES "[^a-z0-9_]${name}\\(")
    message(FATAL_ERROR "The reader uses ${name}, which ravo_evutl.h and ravo_xml.h do not declare")
  endif()
  math(EXPR seen "${seen} + 1")
endforeach()
if(NOT "_Z17ravo_convert_dataPKvPvii" IN_LIST open OR seen LESS 5)
  message(FATAL_ERROR "The reader was expected to leave the table-access library open, and it leaves: ${open}")
endif()
message(STATUS "The reader asks ${seen} functions of its site")
file(REMOVE_RECURSE ${WORK_DIR})
