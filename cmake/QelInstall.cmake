# SPDX-License-Identifier: MIT
# What `cmake --install` puts where (GNU directories under the prefix):
#   lib/libqel.so.1.x.y, its SONAME link libqel.so.1 and the link libqel.so;
#   include/qel/QEL_OPEN.h and qelDefines.h;
#   lib/cmake/qel/ (find_package(qel) gives qel::qel) and lib/pkgconfig/qel.pc;
#   lib/udev/rules.d/70-qel.rules; bin/qel-emulator;
#   the Python package qel where the prefix's Python interpreter looks (QEL_PYTHON_DIR).
include(CMakePackageConfigHelpers)

set(QEL_UDEV_RULES_DIR "lib/udev/rules.d" CACHE STRING
    "Where the udev rule is installed, relative to the prefix")
set(QEL_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/qel")

install(TARGETS qel EXPORT qelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qel)
install(EXPORT qelTargets NAMESPACE qel:: DESTINATION ${QEL_CMAKE_DIR})

configure_package_config_file(cmake/qelConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/qelConfig.cmake INSTALL_DESTINATION ${QEL_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qelConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qelConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/qelConfigVersion.cmake
        DESTINATION ${QEL_CMAKE_DIR})

# The pkg-config file finds the prefix from its own place, so that the same file serves any
# prefix the tree is installed under (a package, /usr/local, a private directory).
file(RELATIVE_PATH QEL_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" QEL_PC_TO_PREFIX "${QEL_PC_TO_PREFIX}")
configure_file(cmake/qel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES udev/70-qel.rules DESTINATION ${QEL_UDEV_RULES_DIR})

if(QEL_BUILD_EMULATOR)
    install(TARGETS qel-emulator RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# Debian's python3 reads /usr/lib/python3/dist-packages for packages and
# /usr/local/lib/python3.X/dist-packages for local installs; any other prefix gets the
# interpreter's own layout, lib/python3.X/site-packages (a virtual environment, PYTHONPATH).
set(QEL_PYTHON_DIR "" CACHE STRING
    "Where the Python package is installed, relative to the prefix (empty: where the prefix's python3 looks)")
set(QEL_PYTHON_INSTALL_DIR "${QEL_PYTHON_DIR}")
if(NOT QEL_PYTHON_INSTALL_DIR)
    find_package(Python3 COMPONENTS Interpreter)
    set(python python3)
    if(Python3_FOUND)
        set(python "python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}")
    endif()
    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        set(QEL_PYTHON_INSTALL_DIR "lib/python3/dist-packages")
    elseif(CMAKE_INSTALL_PREFIX STREQUAL "/usr/local" AND EXISTS /etc/debian_version)
        set(QEL_PYTHON_INSTALL_DIR "lib/${python}/dist-packages")
    else()
        set(QEL_PYTHON_INSTALL_DIR "lib/${python}/site-packages")
    endif()
endif()
install(DIRECTORY python/qel DESTINATION ${QEL_PYTHON_INSTALL_DIR}
        FILES_MATCHING PATTERN "*.py" PATTERN "__pycache__" EXCLUDE)

# The programs carry the run path to the library; the library itself needs none.
set_target_properties(qel PROPERTIES INSTALL_RPATH "")
