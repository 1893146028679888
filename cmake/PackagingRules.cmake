# `cpack` in the build folder makes a Debian package of what `cmake --install` puts in place, and of the Python package
# with its commands where that is built.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME melta)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_CONTACT "the melta developers <melta@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# Tells by the files which libraries the package depends on; of Debian's dpkg-dev.
find_program(MELTA_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(MELTA_DPKG_SHLIBDEPS)
if(MELTA_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};melta;Unspecified;/")
if(TARGET melta_python)
  list(APPEND CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};melta;python;/")
  # The module is made for one version of Python.
  get_target_property(python melta_python MELTA_PYTHON_VERSION)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3 (>= ${python}~), python3 (<< ${python}.999), python3-numpy")
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-ase, python3-matplotlib")
endif()
include(CPack)
