# Without our own table-access library whatever writes files cannot be linked: configuring says so, and what to do.
cmake_minimum_required(VERSION 3.25)

foreach(option RAVO_BUILD_TOOL RAVO_BUILD_TESTS RAVO_BUILD_BENCH RAVO_BUILD_FUZZ)
  file(REMOVE_RECURSE ${WORK_DIR})
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
                          -DRAVO_EVUTL_PROVIDER=external -D${option}=ON
                  OUTPUT_VARIABLE ignored ERROR_VARIABLE said RESULT_VARIABLE status)
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  if(status EQUAL 0 OR NOT said MATCHES "${option}=ON needs RAVO_EVUTL_PROVIDER=own"
     OR NOT said MATCHES "add -D${option}=OFF")
    message(SEND_ERROR "${option} with an external provider ends with ${status} and says: ${said}")
  endif()
endforeach()
file(REMOVE_RECURSE ${WORK_DIR})
