# Compares what LIBRARY exports with the names in LIST, or writes them there (UPDATE). Left out is what differs from one
# compiler, or degree of optimisation, to the other: what they make visible of the C++ library itself, and constants of
# the generations that were not folded.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

run_step(listing ${NM} -D -P --defined-only ${LIBRARY})
string(REGEX MATCHALL "[^\n]+" lines "${listing}")
set(symbols "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "[ @].*" "" symbol "${line}")
  if(NOT symbol MATCHES "^_Z(T[VTIS]|GV)?Z?(N[rVK]*[RO]?)?(S[abdiost]|9__gnu_cxx)"
     AND NOT symbol MATCHES "^_ZN4ravo15generation_[0-9]+default_")
    string(APPEND symbols "${symbol}\n")
  endif()
endforeach()
# Constructors and destructors are there once for each way of calling them.
execute_process(COMMAND ${CMAKE_COMMAND} -E echo "${symbols}" COMMAND ${CXXFILT}
                COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C sort -u
                OUTPUT_VARIABLE exported COMMAND_ERROR_IS_FATAL ANY)
string(STRIP "${exported}" exported)

if(UPDATE)
  file(WRITE ${LIST} "${exported}\n")
  return()
endif()
file(READ ${LIST} expected)
string(REPLACE ";" "\\;" exported "${exported}")
string(REGEX MATCHALL "[^\n]+" exported "${exported}")
string(REGEX MATCHALL "[^\n]+" expected "${expected}")
set(surplus ${exported})
list(REMOVE_ITEM surplus ${expected})
set(absent ${expected})
list(REMOVE_ITEM absent ${exported})
foreach(name IN LISTS surplus)
  message(SEND_ERROR "${name} is exported, and ${LIST} does not list it")
endforeach()
foreach(name IN LISTS absent)
  message(SEND_ERROR "${name} is in ${LIST}, and not exported")
endforeach()
