# What `cmake --install` puts in place: the command, libmelta with its headers and its pkg-config file, and the wrapper
# around the DFT code.

install(TARGETS melta_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(PROGRAMS ${PROJECT_SOURCE_DIR}/tools/melta-pw DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS melta ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/melta
  FILES_MATCHING PATTERN "*.hpp" PATTERN "*-inl.hpp" EXCLUDE)

# Relative, so that the tree may be installed below another prefix than the configured one.
file(RELATIVE_PATH MELTA_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/melta.pc.in ${PROJECT_BINARY_DIR}/melta.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/melta.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# libmelta and the command contain liblbfgs, whose licence asks for its notice to go along.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${lbfgs_directory}/COPYING DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME LICENSE.liblbfgs OPTIONAL)
