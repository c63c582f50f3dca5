# A Debian package of everything `cmake --install` installs, under /usr:
#   cpack --config build/CPackConfig.cmake     (writes qel_<version>_<arch>.deb)
# The library's and the emulator's run-time dependencies are read off the binaries
# (dpkg-shlibdeps); umockdev supplies the preload that qel-emulator hands to its program.
set(QEL_PACKAGE_CONTACT "libqel maintainers <libqel@localhost>" CACHE STRING
    "Maintainer field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "libqel drives a force-feedback delta arm over its USB serial port: position, orientation,
buttons and force output through a flat C interface (QEL_OPEN.h). The package holds the
shared library, its header, CMake and pkg-config files, the udev rule that gives the
logged-in user the device, and qel-emulator, which runs a program against emulated devices.")
set(CPACK_PACKAGE_CONTACT "${QEL_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
if(QEL_BUILD_EMULATOR)
    set(CPACK_DEBIAN_PACKAGE_DEPENDS umockdev)
endif()
include(CPack)
