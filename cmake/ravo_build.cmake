# What every target of the project shares: language level, warnings, hardening, sanitizers, ccache, and the two
# functions by which a folder declares a library or a test.

# Part of another project, this one takes that project's choices and puts none of its own into its cache.
if(PROJECT_IS_TOP_LEVEL)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
  endif()
  option(BUILD_SHARED_LIBS "Build shared libraries" ON)
elseif(NOT DEFINED BUILD_SHARED_LIBS)
  set(BUILD_SHARED_LIBS ON)
endif()
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

find_program(RAVO_CCACHE ccache)
if(RAVO_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${RAVO_CCACHE})
endif()

set(RAVO_SANITIZE "" CACHE STRING "Sanitizers to build everything with, for example address,undefined")
if(RAVO_SANITIZE)
  add_compile_options(-fsanitize=${RAVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${RAVO_SANITIZE})
endif()

set(ravo_warning_flags -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
add_library(ravo_warnings INTERFACE)
target_compile_options(ravo_warnings INTERFACE ${ravo_warning_flags})
# When it optimises, GCC 12 warns of overlapping memory at nearly every "literal" + std::string; 13 does not.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(ravo_warnings INTERFACE -Wno-restrict)
endif()

# What is installed reads untrusted files, so it is built as distributions build such programs: an
# overwritten return address or a call into the middle of a function ends the program, calls that write into a buffer
# of known size check it, and the tables that the linker fills in are read-only. Sanitizers bring their own checks.
# _GLIBCXX_ASSERTIONS is left out: it checks every index of every std::vector, also where our own checks have just
# been, in the loops that decode.
add_library(ravo_hardening INTERFACE)
if(NOT RAVO_SANITIZE)
  include(CheckCXXCompilerFlag)
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    string(MAKE_C_IDENTIFIER "RAVO_HAS${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
      target_compile_options(ravo_hardening INTERFACE ${flag})
    endif()
  endforeach()
  # It needs an optimising compiler, and warns otherwise.
  target_compile_options(ravo_hardening INTERFACE
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_link_options(ravo_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()
# Executables are built to be loaded anywhere (-pie), as CMAKE_POSITION_INDEPENDENT_CODE says of their code.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# A name of a shared library stands for one binary interface, which before 1.0 a minor version may change.
set(ravo_soversion ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(ravo_soversion 0.${PROJECT_VERSION_MINOR})
endif()

# The version, for programs: among the installed headers, and written here.
set(ravo_generated_headers ${PROJECT_BINARY_DIR}/include)
configure_file(${PROJECT_SOURCE_DIR}/cmake/ravo_version.h.in ${ravo_generated_headers}/ravo_version.h)

# ravo_add_library(<target> <output name> <alias> <sources>...): a library of the project; its public
# headers are in ./include and are installed, with the library, by ravo_install(). What they mark with RAVO_EXPORT
# can be linked, and nothing else.
function(ravo_add_library target output alias)
  add_library(${target} ${ARGN})
  add_library(ravo::${alias} ALIAS ${target})
  # DEFINE_SYMBOL: without it, shared and static builds compile alike, and share what ccache holds.
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${output} EXPORT_NAME ${alias} DEFINE_SYMBOL ""
                        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
                        VERSION ${PROJECT_VERSION} SOVERSION ${ravo_soversion}
                        INSTALL_RPATH "$ORIGIN")
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${ravo_generated_headers}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ravo>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:ravo_warnings>
                                          $<BUILD_INTERFACE:ravo_hardening>)
  set_property(GLOBAL APPEND PROPERTY ravo_libraries ${target})
  ravo_add_private_parts(${target})
endfunction()

# <target>_private: the library for tests, fuzz targets and benchmarks that use what it hides, or replace a part of
# it: the same objects in an archive, and its folder on the include path. A program links one of the two.
function(ravo_add_private_parts target)
  set(private ${target}_private)
  if(BUILD_SHARED_LIBS)
    add_library(${private} STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:${target}>)
    set_target_properties(${private} PROPERTIES LINKER_LANGUAGE CXX)
    target_link_libraries(${private} INTERFACE
                          $<TARGET_GENEX_EVAL:${target},$<TARGET_PROPERTY:${target},LINK_LIBRARIES>>)
  else()
    add_library(${private} INTERFACE)
    target_link_libraries(${private} INTERFACE ${target})
  endif()
  target_include_directories(${private} INTERFACE $<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>
                                                  ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# ravo_add_internal_library(<target> <sources>...): code that several libraries share and nobody else sees; the headers
# that they share are in ./include, one folder deep, so that an #include names the library.
function(ravo_add_internal_library target)
  add_library(${target} STATIC ${ARGN})
  string(REGEX REPLACE "^ravo_" "" alias ${target})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${target} EXPORT_NAME ${alias}
                        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:ravo_warnings> $<BUILD_INTERFACE:ravo_hardening>)
  set_property(GLOBAL APPEND PROPERTY ravo_internal_libraries ${target})
endfunction()

# ravo_add_test(<name> SOURCES ... LIBRARIES ... [SLOW <pattern>...]): one GoogleTest program, each test a CTest test.
# SLOW names the tests that take over a second, with patterns of --gtest_filter: they get the CTest label `slow`.
function(ravo_add_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;SLOW" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ravo_warnings ${arg_LIBRARIES} GTest::gtest GTest::gmock
                                        GTest::gtest_main)
  # What is tested is optimised as the build says; the tests themselves need not be, and optimising them
  # took most of a build's time, under the sanitizers nine tenths of it.
  target_compile_options(${name} PRIVATE -O0)
  set(discovery TEST_PREFIX ${name}. NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  if(arg_SLOW)
    list(JOIN arg_SLOW ":" slow)
    gtest_discover_tests(${name} TEST_FILTER ${slow} TEST_LIST ${name}_SLOW_TESTS ${discovery} LABELS slow)
    gtest_discover_tests(${name} TEST_FILTER -${slow} ${discovery})
  else()
    gtest_discover_tests(${name} ${discovery})
  endif()
endfunction()
