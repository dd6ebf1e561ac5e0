# Who provides the table-access library and the XML library: this project ("own"), or the site
# ("external"). With an external provider library/evutl and library/xml serve for their headers only,
# and only the reader is built: the writer needs operations that store, which a site's library does not have.

set(RAVO_EVUTL_PROVIDER "own" CACHE STRING "Who provides RAVOevutl and RAVOXML: own or external")
set_property(CACHE RAVO_EVUTL_PROVIDER PROPERTY STRINGS own external)
if(NOT RAVO_EVUTL_PROVIDER MATCHES "^(own|external)$")
  message(FATAL_ERROR "RAVO_EVUTL_PROVIDER is \"${RAVO_EVUTL_PROVIDER}\"; it has to be own or external")
endif()
set(RAVO_EXTERNAL_EVUTL_LIBRARY "" CACHE FILEPATH
    "The site's RAVOevutl; empty: left open, for the program that loads the reader to provide")
set(RAVO_EXTERNAL_XML_LIBRARY "" CACHE FILEPATH "The site's RAVOXML; empty: left open")

# The tool, the tests, the benchmarks and the fuzz targets write files: without our own provider they could not be
# linked. An option that an earlier configuration left in the cache counts too.
function(ravo_refuse_what_needs_own_provider)
  if(RAVO_EVUTL_PROVIDER STREQUAL "own")
    return()
  endif()
  foreach(option IN LISTS ARGN)
    if(${option})
      message(FATAL_ERROR
        "${option}=ON needs RAVO_EVUTL_PROVIDER=own: it writes raw files, which a site's table-access library cannot. "
        "With RAVO_EVUTL_PROVIDER=external the reader and the dataset layer are built; add -D${option}=OFF.")
    endif()
  endforeach()
endfunction()

# Declares ravo_evutl and ravo_xml as our headers before the site's libraries.
function(ravo_use_external_provider)
  foreach(alias evutl xml)
    string(TOUPPER ${alias} upper)
    set(library "${RAVO_EXTERNAL_${upper}_LIBRARY}")
    if(library AND NOT EXISTS ${library})
      message(FATAL_ERROR "RAVO_EXTERNAL_${upper}_LIBRARY names ${library}, which does not exist")
    endif()
    if(NOT library AND NOT BUILD_SHARED_LIBS)
      message(FATAL_ERROR "A static reader needs RAVO_EXTERNAL_${upper}_LIBRARY")
    endif()
    add_library(ravo_${alias} INTERFACE)
    add_library(ravo::${alias} ALIAS ravo_${alias})
    set_target_properties(ravo_${alias} PROPERTIES EXPORT_NAME ${alias})
    target_include_directories(ravo_${alias} INTERFACE
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/library/${alias}/include>
      $<BUILD_INTERFACE:${ravo_generated_headers}>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ravo>)
    target_link_libraries(ravo_${alias} INTERFACE ${library})
    set_property(GLOBAL APPEND PROPERTY ravo_libraries ravo_${alias})
  endforeach()
  target_include_directories(ravo_evutl INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/library/format/records>)
  target_link_libraries(ravo_xml INTERFACE ravo_evutl)
endfunction()
