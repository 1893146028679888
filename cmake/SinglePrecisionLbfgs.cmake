# melta::lbfgs: liblbfgs in single precision. Distributions build it in double precision only, so the one source file of
# the release is compiled here. The release comes from the first of these that has it:
#   1. the directory MELTA_LBFGS_SOURCE_DIR, when it is set: an unpacked release, with lib/lbfgs.c and include/lbfgs.h;
#   2. MELTA_DEPENDENCY_DIR, where an earlier configuration left it;
#   3. the distribution's source package;
#   4. the project's own release.
# 3 and 4 need the network; MELTA_ALLOW_DOWNLOADS=OFF rules them out. Whatever was downloaded is used only if its files
# have the contents known here. MELTA_DEPENDENCY_DIR lies in the build directory by default; the presets put it beside
# their build directories, so that one download serves them all.

if(TARGET melta::lbfgs)
  return()
endif()
include(DebianSource)

set(MELTA_LBFGS_SOURCE_DIR "" CACHE PATH "Unpacked release of liblbfgs 1.10 (empty: find or download it)")
set(MELTA_LBFGS_URL "https://github.com/chokkan/liblbfgs/archive/refs/tags/v1.10.tar.gz" CACHE STRING
  "Where the release of liblbfgs 1.10 is downloaded when the distribution has no source package")
set(MELTA_DEPENDENCY_DIR "${PROJECT_BINARY_DIR}/_deps" CACHE PATH "Where downloaded sources are kept")
option(MELTA_ALLOW_DOWNLOADS "Download sources that the distribution does not install" ON)
mark_as_advanced(MELTA_LBFGS_URL)

# SHA-256 of the files that are compiled. They are checked one by one because code hosts do not promise that an archive
# made from a tag keeps its bytes.
set(MELTA_LBFGS_HASHES
  lib/lbfgs.c 74516ea35bce84d39bff54e203dcef5cdc6dad638410f345582dab1857f865b3
  lib/arithmetic_ansi.h 308542a8da1c21241557e8d34e97839212466bc1c4e77d1d7d5db7e75b6c0cc8
  include/lbfgs.h 54488d819eeb3fa553c66e2826268e8630b22c54b837157c8c7561dc348ff35a)
# SHA-256 of the distribution's tarball, which does keep its bytes and is therefore checked before it is unpacked.
set(MELTA_LBFGS_TARBALL_HASH e2a4085a8568e84268bcf0a40a5319f6591eefb30574c71f7ff4723ba35930f7)

# Sets <variable> to true when <directory> holds the expected release.
function(melta_check_lbfgs directory variable)
  set(${variable} FALSE PARENT_SCOPE)
  set(remaining ${MELTA_LBFGS_HASHES})
  while(remaining)
    list(POP_FRONT remaining name expected)
    if(NOT EXISTS "${directory}/${name}")
      return()
    endif()
    file(SHA256 "${directory}/${name}" found)
    if(NOT found STREQUAL expected)
      message(WARNING "${directory}/${name} has unexpected contents (SHA-256 ${found})")
      return()
    endif()
  endwhile()
  set(${variable} TRUE PARENT_SCOPE)
endfunction()

function(melta_unpack_debian_lbfgs)
  message(STATUS "Fetching the source package of liblbfgs")
  melta_fetch_debian_source(liblbfgs "${MELTA_DEPENDENCY_DIR}" tarball)
  if(NOT tarball)
    return()
  endif()
  file(SHA256 "${tarball}" found)
  if(found STREQUAL MELTA_LBFGS_TARBALL_HASH)
    file(ARCHIVE_EXTRACT INPUT "${tarball}" DESTINATION "${MELTA_DEPENDENCY_DIR}")
  else()
    message(WARNING "The source package of liblbfgs has unexpected contents (SHA-256 ${found})")
  endif()
  file(REMOVE "${tarball}")
endfunction()

function(melta_unpack_upstream_lbfgs)
  message(STATUS "Downloading ${MELTA_LBFGS_URL}")
  set(archive "${MELTA_DEPENDENCY_DIR}/liblbfgs-1.10.tar.gz")
  file(DOWNLOAD "${MELTA_LBFGS_URL}" "${archive}" STATUS status INACTIVITY_TIMEOUT 60)
  list(POP_FRONT status code text)
  if(code EQUAL 0)
    file(ARCHIVE_EXTRACT INPUT "${archive}" DESTINATION "${MELTA_DEPENDENCY_DIR}")
  else()
    message(STATUS "The download failed: ${text}")
  endif()
  file(REMOVE "${archive}")
endfunction()

# Sets <variable> to a directory that holds the release, or stops.
function(melta_obtain_lbfgs variable)
  set(directory "${MELTA_LBFGS_SOURCE_DIR}")
  if(directory)
    if(NOT EXISTS "${directory}/lib/lbfgs.c" OR NOT EXISTS "${directory}/include/lbfgs.h")
      message(FATAL_ERROR "MELTA_LBFGS_SOURCE_DIR has no lib/lbfgs.c or no include/lbfgs.h: ${directory}")
    endif()
    set(${variable} "${directory}" PARENT_SCOPE)
    return()
  endif()

  set(directory "${MELTA_DEPENDENCY_DIR}/liblbfgs-1.10")
  set(${variable} "${directory}" PARENT_SCOPE)
  file(MAKE_DIRECTORY "${MELTA_DEPENDENCY_DIR}")
  file(LOCK "${MELTA_DEPENDENCY_DIR}" DIRECTORY GUARD FUNCTION TIMEOUT 900)
  melta_check_lbfgs("${directory}" isReady)
  foreach(source IN ITEMS debian upstream)
    if(MELTA_ALLOW_DOWNLOADS AND NOT isReady)
      file(REMOVE_RECURSE "${directory}")
      cmake_language(CALL melta_unpack_${source}_lbfgs)
      melta_check_lbfgs("${directory}" isReady)
    endif()
  endforeach()
  if(NOT isReady)
    message(FATAL_ERROR
      "The source of liblbfgs 1.10 was not found. Unpack its release and set MELTA_LBFGS_SOURCE_DIR to that directory, "
      "or allow downloads with MELTA_ALLOW_DOWNLOADS=ON.")
  endif()
endfunction()

melta_obtain_lbfgs(lbfgs_directory)
message(STATUS "liblbfgs: ${lbfgs_directory}")

add_library(melta_lbfgs STATIC "${lbfgs_directory}/lib/lbfgs.c")
add_library(melta::lbfgs ALIAS melta_lbfgs)
target_include_directories(melta_lbfgs SYSTEM PUBLIC "$<BUILD_INTERFACE:${lbfgs_directory}/include>")
target_compile_definitions(melta_lbfgs PUBLIC LBFGS_FLOAT=32)
# The library reads the sign of a float through an integer pointer. Its SSE code stays off (USE_SSE is not defined): in
# single precision it needs a function that only Windows has, and its norm of a zero vector is NaN, so that a vanishing
# gradient would not count as convergence.
target_compile_options(melta_lbfgs PRIVATE -w -fno-strict-aliasing)
target_link_libraries(melta_lbfgs PUBLIC m)
set_target_properties(melta_lbfgs PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden)
