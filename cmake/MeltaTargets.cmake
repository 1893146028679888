# Flags that every target of ours shares, and the functions that make the targets.

add_library(melta_options INTERFACE)
target_compile_features(melta_options INTERFACE cxx_std_20)
target_include_directories(melta_options INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
# Vector code wants neither errno nor traps from mathematics; NaN and infinity must keep working, so nothing more.
target_compile_options(melta_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-math-errno -fno-trapping-math>
  $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wshadow -Wdouble-promotion -Wfloat-conversion>
  $<$<CONFIG:Release>:-O3>)
# Checks of the indices of vectors and spans, where speed does not matter.
target_compile_definitions(melta_options INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
if(MELTA_WARNINGS_AS_ERRORS)
  target_compile_options(melta_options INTERFACE -Werror)
endif()
if(MELTA_COVERAGE)
  target_compile_options(melta_options INTERFACE --coverage)
  target_link_options(melta_options INTERFACE --coverage)
endif()
if(MELTA_SANITIZE)
  target_compile_options(melta_options INTERFACE
    -fsanitize=${MELTA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(melta_options INTERFACE -fsanitize=${MELTA_SANITIZE})
endif()

# melta_add_part(<directory> SOURCES ... DEPENDS ...): one subsystem as a static library melta_<directory>.
# DEPENDS names the subsystems or libraries below it; the arrows point one way.
function(melta_add_part name)
  cmake_parse_arguments(PART "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(melta_${name} STATIC ${PART_SOURCES})
  target_link_libraries(melta_${name} PUBLIC melta_options ${PART_DEPENDS})
  set_target_properties(melta_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  set_property(GLOBAL APPEND PROPERTY MELTA_PARTS melta_${name})
endfunction()

# melta_add_library(<name> [STATIC | SHARED]): libmelta, all subsystems in one library. The single-precision form of
# liblbfgs goes in as well, because a host that links libmelta finds it nowhere else. A shared library shows what the
# headers in include/melta declare.
function(melta_add_library name)
  get_property(parts GLOBAL PROPERTY MELTA_PARTS)
  set(objects $<TARGET_OBJECTS:melta_lbfgs>)
  foreach(part IN LISTS parts)
    list(APPEND objects $<TARGET_OBJECTS:${part}>)
  endforeach()
  add_library(${name} ${ARGN} ${objects})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PRIVATE
    $<BUILD_INTERFACE:melta::openblas> $<INSTALL_INTERFACE:melta::blas>
    OpenMP::OpenMP_CXX PkgConfig::HIGHWAY Threads::Threads)
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endfunction()

# melta_find_static_library(<variable>): the name of libmelta as a static library, for hosts that have to stand on their
# own wherever they are copied.
function(melta_find_static_library variable)
  set(${variable} melta PARENT_SCOPE)
  if(BUILD_SHARED_LIBS)
    if(NOT TARGET melta_static)
      melta_add_library(melta_static STATIC)
    endif()
    set(${variable} melta_static PARENT_SCOPE)
  endif()
endfunction()

# melta_add_tests(<directory> SOURCES ... [DEPENDS ...]): the unit tests of one subsystem.
function(melta_add_tests name)
  cmake_parse_arguments(TESTS "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(melta_${name}_tests ${TESTS_SOURCES})
  target_link_libraries(melta_${name}_tests PRIVATE
    melta_${name} melta_test_support ${TESTS_DEPENDS} GTest::gtest_main)
  gtest_discover_tests(melta_${name}_tests TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300)
endfunction()

# melta_add_benchmark(<name> SOURCES ... DEPENDS ...): one Google Benchmark program.
function(melta_add_benchmark name)
  cmake_parse_arguments(BENCH "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${BENCH_SOURCES})
  # For quoted includes only: in bench lies a script that is named like the header <compare>.
  target_compile_options(${name} PRIVATE "SHELL:-iquote ${PROJECT_SOURCE_DIR}/bench")
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${BENCH_DEPENDS} benchmark::benchmark)
endfunction()
