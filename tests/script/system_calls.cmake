# Calls of the system that a signal may interrupt are made in one header, which repeats them; folders are listed
# by one class, which passes over what is hidden. No other source file makes such a call by itself.
cmake_minimum_required(VERSION 3.25)

set(only_in_uninterrupted
  open openat stat lstat fstat fstatat access faccessat realpath lseek opendir readdir flock read pread write pwrite
  ftruncate fsync fdatasync rename renameat2 linkat unlink unlinkat mkdir rmdir)
list(JOIN only_in_uninterrupted "|" calls)
# As they are called: by their plain names with what the system wants as the first argument, or with "::" in front.
set(global "(^|[^A-Za-z0-9_])::(${calls})[(]")
set(plain "(^|[ (!=])(stat|lstat|fstat|fstatat|access|lseek|opendir|readdir|flock|pread|pwrite|ftruncate|fsync|unlink|rename)[(]")
set(opened "(^|[ (!=])(open|openat)[(][^)]*O_(RDONLY|WRONLY|RDWR|CREAT)")
set(listed "(recursive_)?directory_iterator|scandir[(]|nftw[(]")

file(GLOB_RECURSE sources ${SOURCE_DIR}/library/*.cc ${SOURCE_DIR}/library/*.h
     ${SOURCE_DIR}/tools/*.cc ${SOURCE_DIR}/tools/*.h)
list(LENGTH sources count)
if(count LESS 200)
  message(FATAL_ERROR "only ${count} source files found below ${SOURCE_DIR}")
endif()
set(found "")
foreach(source ${sources})
  if(source MATCHES "/library/format/include/format/uninterrupted[.]h$")
    continue()
  endif()
  file(STRINGS ${source} lines REGEX "${global}|${plain}|${opened}|${listed}")
  foreach(line IN LISTS lines)
    if(NOT line MATCHES "^ *//" AND NOT line MATCHES "std::(filesystem|fs)::rename")
      string(APPEND found "\n  ${source}: ${line}")
    endif()
  endforeach()
endforeach()
if(found)
  message(FATAL_ERROR "calls that belong into library/format/include/format/uninterrupted.h or folders.h:${found}")
endif()
