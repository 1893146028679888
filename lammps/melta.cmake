# Adds the pair style melta to LAMMPS where it is built from source. LAMMPS's own files stay as they are:
#
#     cmake <LAMMPS>/cmake -D CMAKE_PROJECT_lammps_INCLUDE=<this file> -D CMAKE_PREFIX_PATH=<prefix of melta>
#
# It needs melta as `cmake --install` puts it in place, and CMake 3.19.

find_package(melta REQUIRED CONFIG)
set(MELTA_STYLE_DIR ${CMAKE_CURRENT_LIST_DIR})

# LAMMPS includes the headers of styles by their names, from the list of this property.
set_property(GLOBAL APPEND PROPERTY PAIR ${MELTA_STYLE_DIR}/pair_melta.h)

# This file is read before there are targets; what follows is done at the end of LAMMPS's own list.
cmake_language(DEFER CALL target_sources lammps PRIVATE
  ${MELTA_STYLE_DIR}/MeltaCommittee.cpp
  ${MELTA_STYLE_DIR}/MeltaDump.cpp
  ${MELTA_STYLE_DIR}/MeltaOptions.cpp
  ${MELTA_STYLE_DIR}/pair_melta.cpp)
cmake_language(DEFER CALL target_include_directories lammps PRIVATE ${MELTA_STYLE_DIR})
cmake_language(DEFER CALL target_link_libraries lammps PRIVATE melta::melta)
# The header of the style is C++20, and LAMMPS asks for less.
cmake_language(DEFER CALL set_target_properties lammps PROPERTIES CXX_STANDARD 20)
