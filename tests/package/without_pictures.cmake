# Configures the tool where pkg-config knows no Pango: it is then built without pictures, and asked for them
# all the same it says what to install. Nothing is compiled.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
find_program(pkg_config pkg-config REQUIRED)
file(WRITE ${WORK_DIR}/pkg-config "#!/bin/sh
case \"$*\" in *pangocairo*) exit 1 ;; esac
exec ${pkg_config} \"$@\"
")
file(CHMOD ${WORK_DIR}/pkg-config PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
set(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
              -DPKG_CONFIG_EXECUTABLE=${WORK_DIR}/pkg-config -DRAVO_BUILD_TESTS=OFF -DRAVO_BUILD_BENCH=OFF
              -DRAVO_BUILD_FUZZ=OFF)

run_step(ignored ${configure} -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)
file(READ ${WORK_DIR}/build/compile_commands.json commands)
if(NOT commands MATCHES "picture_file_without" OR commands MATCHES "picture_file_cairo" OR commands MATCHES "[Pp]ango")
  message(FATAL_ERROR "The tool is not built without pictures:\n${commands}")
endif()

execute_process(COMMAND ${configure} -DRAVO_TOOL_PICTURES=ON OUTPUT_QUIET ERROR_VARIABLE said RESULT_VARIABLE status)
string(REGEX REPLACE "[ \n]+" " " said "${said}")
if(status EQUAL 0 OR NOT said MATCHES "Install them \\(Debian: libcairo2-dev, libpango1.0-dev\\)")
  message(FATAL_ERROR "Configuring ended with ${status} and said\n${said}")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
