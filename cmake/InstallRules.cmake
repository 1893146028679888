# What `cmake --install` puts in place: the command, libmelta with its public headers and what finds them (a CMake
# package, a pkg-config file), the wrapper around the DFT code, the model for the KIM API with its installer,
# LAMMPS with our pair style and the plugin that has it.

include(CMakePackageConfigHelpers)

install(TARGETS melta_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(PROGRAMS ${PROJECT_SOURCE_DIR}/tools/melta-pw DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET melta_kim)
  install(PROGRAMS ${PROJECT_SOURCE_DIR}/tools/melta-kim DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(TARGETS melta_kim LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/melta)
endif()
if(TARGET lmp_melta)
  install(TARGETS lmp_melta RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(TARGET meltaplugin)
  install(TARGETS meltaplugin LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/melta)
endif()
install(TARGETS melta EXPORT meltaTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/melta DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.hpp")

set(melta_package ${CMAKE_INSTALL_LIBDIR}/cmake/melta)
install(EXPORT meltaTargets NAMESPACE melta:: DESTINATION ${melta_package})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/meltaConfig.cmake.in ${PROJECT_BINARY_DIR}/meltaConfig.cmake
  INSTALL_DESTINATION ${melta_package} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/meltaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/meltaConfig.cmake ${PROJECT_BINARY_DIR}/meltaConfigVersion.cmake
  DESTINATION ${melta_package})

# Relative, so that the tree may be installed below another prefix than the configured one.
file(RELATIVE_PATH MELTA_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
# Who links to a static library links to what it needs, too.
set(MELTA_PKGCONFIG_REQUIRES libhwy libhwy-contrib)
list(JOIN MELTA_PKGCONFIG_REQUIRES " " MELTA_PKGCONFIG_REQUIRES)
set(MELTA_PKGCONFIG_LIBS "${MELTA_OPENBLAS_LIBRARY} -fopenmp -lm")
if(BUILD_SHARED_LIBS)
  set(MELTA_PKGCONFIG_LINE "Libs: -L\${libdir} -lmelta")
else()
  set(MELTA_PKGCONFIG_LINE
    "Requires: ${MELTA_PKGCONFIG_REQUIRES}\nLibs: -L\${libdir} -lmelta ${MELTA_PKGCONFIG_LIBS}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/melta.pc.in ${PROJECT_BINARY_DIR}/melta.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/melta.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# libmelta and the command contain liblbfgs, whose licence asks for its notice to go along.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${lbfgs_directory}/COPYING DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME LICENSE.liblbfgs OPTIONAL)
