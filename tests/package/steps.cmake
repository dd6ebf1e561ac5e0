# Steps that the scripts of this folder share.

# Runs a command and stops the test, with all that it printed, when it fails. `output`: its standard output.
function(run_step output)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\nended with ${status}\n${out}${err}")
  endif()
  set(${output} "${out}" PARENT_SCOPE)
endfunction()

# Builds examples/ in WORK_DIR by find_package against the project installed in PREFIX.
function(build_examples_by_find_package flags)
  run_step(ignored ${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR} -G ${GENERATOR}
           -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
           -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_FLAGS=${flags})
  run_step(ignored ${CMAKE_COMMAND} --build ${WORK_DIR})
endfunction()

# Builds one example by hand with the flags that pkg-config gives for `module` in `prefix`.
function(build_example_by_pkg_config program module prefix work_dir more_flags)
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  set(static "")
  if(NOT SHARED)
    set(static --static)
  endif()
  run_step(flags pkg-config --cflags --libs ${static} ${module})
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run_step(ignored ${CXX} -std=c++20 ${SOURCE_DIR}/examples/${program}.cc -o ${work_dir}/${program}
           ${flags} ${more_flags} -Wl,-rpath,${prefix}/${LIBDIR})
endfunction()

function(expect_printed program printed expected)
  if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "${program} printed\n${printed}instead of\n${expected}")
  endif()
endfunction()

# Writes a file with one example of `programs`, reads it with the other, and compares what is printed with
# what was written: event n holds n / 100 as the first value of the position monitor.
function(run_examples programs work_dir)
  file(REMOVE_RECURSE ${work_dir}/data)
  file(MAKE_DIRECTORY ${work_dir}/data)
  run_step(files ${programs}/write_a_file ${work_dir}/data)
  string(STRIP "${files}" file)
  file(GLOB found ${work_dir}/data/*)
  if(NOT found STREQUAL file)
    message(FATAL_ERROR "write_a_file named \"${file}\", and the folder holds \"${found}\"")
  endif()

  # Without this the reader waits until a file is half a minute old before it takes it as closed.
  set(ENV{RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME} 1)
  set(expected "")
  foreach(n RANGE 1 100)
    math(EXPR whole "${n} / 100")
    math(EXPR tenths "${n} % 100 / 10")
    math(EXPR hundredths "${n} % 10")
    # As %g prints it: without zeros at the end.
    set(value "${whole}.${tenths}${hundredths}")
    string(REGEX REPLACE "0$" "" value ${value})
    string(REGEX REPLACE "[.]0$" "" value ${value})
    string(APPEND expected "${n} ${value}\n")
  endforeach()
  run_step(printed ${programs}/first_program_classic LINAC/BPM/1 ${file})
  expect_printed(first_program_classic "${printed}" "${expected}")
  # A site's own library comes with no dataset layer.
  if(EXISTS ${programs}/first_program)
    run_step(printed ${programs}/first_program "file=${work_dir}/data chan=LINAC/BPM/1")
    expect_printed(first_program "${printed}" "${expected}")
  endif()
endfunction()
