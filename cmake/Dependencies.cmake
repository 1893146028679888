# What melta links to. Everything comes from the distribution, except the single-precision form of liblbfgs, which
# no distribution builds.

find_package(OpenMP REQUIRED COMPONENTS CXX)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

find_package(PkgConfig REQUIRED)
pkg_check_modules(HIGHWAY REQUIRED IMPORTED_TARGET libhwy libhwy-contrib)
include(OpenBlas)
include(SinglePrecisionLbfgs)

if(MELTA_BUILD_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()
if(MELTA_BUILD_BENCHMARKS)
  find_package(benchmark REQUIRED)
endif()
