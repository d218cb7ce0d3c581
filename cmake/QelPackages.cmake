# Debian packages made by CPack, one for each component: the library, what one develops with, the command-line tool, the
# Python package, the simulator. A component that is added to the installation needs its few lines here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qel-api)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libqel_api maintainers <maintainers@libqel-api.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development tool python simulator)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/finish_tree.cmake)

function(qel_package component name section summary)
    string(TOUPPER CPACK_DEBIAN_${component} variable)
    set(${variable}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(${variable}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    string(TOUPPER CPACK_COMPONENT_${component}_DESCRIPTION variable)
    list(JOIN ARGN "\n" lines)
    set(${variable} "${summary}\n${lines}" PARENT_SCOPE)
endfunction()
qel_package(library libqel-api${QEL_SOVERSION} libs "client library for the management service of Quor routers"
    "Programs on a Quor router open a session with its management service, run"
    "commands and receive events. The library needs the log library"
    "libVelaLogAPI.so, which is part of the router's own software.")
qel_package(development libqel-api-dev libdevel "development files of the client library for Quor routers"
    "The header, the manual pages of the functions, examples, and descriptions"
    "for pkg-config and CMake.")
qel_package(tool qel utils "command-line tool for Quor routers"
    "The program qel runs router commands, asks for facts, reads SNMP objects,"
    "watches events and provisions, for people and for shell scripts.")
qel_package(python python3-qel-api python "Python package for the management service of Quor routers"
    "Sessions, commands, events, facts, SNMP reads and provisioning for Python"
    "scripts, on top of the client library.")
qel_package(simulator qel-sim devel "simulated Quor router for programs without a router at hand"
    "The program qel-sim is a router's management service with a small router"
    "behind it. It brings a log library that does nothing, for the programs that"
    "it runs on hosts that have none.")

configure_file(packaging/shlibs.in packaging/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/triggers ${PROJECT_BINARY_DIR}/packaging/shlibs)
set(qel_same_library "libqel-api${QEL_SOVERSION} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${qel_same_library}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS qel-sim)
# The versions of the C and C++ runtime that the symbols need. In a cross build the target's packages are not here to be
# asked, and both are of the same release.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
set(qel_runtime "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 12)")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "${qel_runtime}")
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${qel_same_library}, ${qel_runtime}")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "${qel_runtime}")
# One package for all architectures.
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libqel-api${QEL_SOVERSION} (>= ${PROJECT_VERSION}), python3 (>= 3.11)")
if(CMAKE_CROSSCOMPILING)
    string(REGEX MATCH "arm(hf|el)" CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${CMAKE_TOOLCHAIN_FILE}")
else()
    string(APPEND CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ", libfmt9 (>= 9.1)")
    string(APPEND CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS ", libfmt9 (>= 9.1)")
endif()
include(CPack)
