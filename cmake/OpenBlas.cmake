# melta::openblas: BLAS and LAPACK of OpenBLAS, in its OpenMP build, so that its threads and ours are the same ones.

if(TARGET melta::openblas)
  return()
endif()

find_path(MELTA_OPENBLAS_INCLUDE cblas.h
  HINTS /usr/include/${CMAKE_LIBRARY_ARCHITECTURE}
  PATH_SUFFIXES openblas-openmp openblas)
find_library(MELTA_OPENBLAS_LIBRARY openblas
  HINTS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}
  PATH_SUFFIXES openblas-openmp openblas)
if(NOT MELTA_OPENBLAS_INCLUDE OR NOT MELTA_OPENBLAS_LIBRARY)
  message(FATAL_ERROR "OpenBLAS was not found (Debian package libopenblas-openmp-dev)")
endif()

add_library(melta_openblas INTERFACE)
add_library(melta::openblas ALIAS melta_openblas)
target_include_directories(melta_openblas SYSTEM INTERFACE ${MELTA_OPENBLAS_INCLUDE})
target_link_libraries(melta_openblas INTERFACE ${MELTA_OPENBLAS_LIBRARY})
