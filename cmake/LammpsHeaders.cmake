# melta_find_lammps_headers(<variable>): the folder of LAMMPS's own headers, which pair styles are compiled with, or
# empty. Beside them are the sources of the packages PLUGIN and ML-SNAP, which the distribution leaves out: tests load
# our plugin by the one, benchmarks run the other.
#
# The distribution's development package has the library and a choice of headers, without those of neighbour requests
# and of text formatting. The rest comes from the same release: MELTA_LAMMPS_SOURCE_DIR, when it is set (the folder src
# of an unpacked source), or the distribution's source package, of which these are kept in MELTA_DEPENDENCY_DIR.

set(MELTA_LAMMPS_SOURCE_DIR "" CACHE PATH "Folder src of the source that the installed LAMMPS library was built from")

# The release that the pinned tarball belongs to. Styles must be compiled with the headers of the very library, so that
# other releases need MELTA_LAMMPS_SOURCE_DIR.
set(MELTA_LAMMPS_VERSION "20220106.git7586adbb6a+ds1-2")
set(MELTA_LAMMPS_TARBALL_HASH 65146c615ad24d8b8bc64f4e05e86226a7f1fdb45c0b5ea9416562b9f3863082)

function(melta_unpack_lammps_headers directory)
  message(STATUS "Fetching the source package of LAMMPS")
  melta_fetch_debian_source(lammps "${MELTA_DEPENDENCY_DIR}" tarball)
  if(NOT tarball)
    return()
  endif()
  file(SHA256 "${tarball}" found)
  set(scratch "${directory}.unpacked")
  if(found STREQUAL MELTA_LAMMPS_TARBALL_HASH)
    file(ARCHIVE_EXTRACT INPUT "${tarball}" DESTINATION "${scratch}"
      PATTERNS "*/src/*.h" "*/src/PLUGIN/*.cpp" "*/src/ML-SNAP/*.cpp")
    file(GLOB source "${scratch}/*/src")
    file(REMOVE_RECURSE "${directory}")
    file(RENAME "${source}" "${directory}")
  else()
    message(WARNING "${tarball} has unexpected contents (SHA-256 ${found})")
  endif()
  file(REMOVE_RECURSE "${scratch}")
  file(REMOVE "${tarball}")
endfunction()

function(melta_find_lammps_headers variable)
  set(${variable} "" PARENT_SCOPE)
  if(MELTA_LAMMPS_SOURCE_DIR)
    set(${variable} "${MELTA_LAMMPS_SOURCE_DIR}" PARENT_SCOPE)
    return()
  endif()
  find_program(MELTA_DPKG_QUERY dpkg-query)
  mark_as_advanced(MELTA_DPKG_QUERY)
  if(NOT MELTA_DPKG_QUERY)
    return()
  endif()
  execute_process(COMMAND ${MELTA_DPKG_QUERY} -W -f=\${Version} liblammps-dev
    OUTPUT_VARIABLE version ERROR_QUIET RESULT_VARIABLE result)
  string(REGEX REPLACE "\\+b[0-9]+$" "" version "${version}")
  if(NOT result EQUAL 0 OR NOT version STREQUAL MELTA_LAMMPS_VERSION)
    return()
  endif()
  set(directory "${MELTA_DEPENDENCY_DIR}/lammps-headers-${version}")
  file(MAKE_DIRECTORY "${MELTA_DEPENDENCY_DIR}")
  file(LOCK "${MELTA_DEPENDENCY_DIR}" DIRECTORY GUARD FUNCTION TIMEOUT 900)
  if(NOT EXISTS "${directory}/PLUGIN/plugin.cpp" AND MELTA_ALLOW_DOWNLOADS)
    melta_unpack_lammps_headers("${directory}")
  endif()
  if(EXISTS "${directory}/pair.h")
    set(${variable} "${directory}" PARENT_SCOPE)
  endif()
endfunction()
