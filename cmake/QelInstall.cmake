# What is installed, in the components that the packages are made of: library, development, tool, python, simulator.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
set(qel_cmake_directory ${CMAKE_INSTALL_LIBDIR}/cmake/qel_api)

install(TARGETS qel_api
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN *.h PATTERN *.hpp)
file(RELATIVE_PATH qel_prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(packaging/qel_api.pc.in qel_api.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qel_api.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
configure_package_config_file(packaging/qel_api-config.cmake.in qel_api-config.cmake
    INSTALL_DESTINATION ${qel_cmake_directory}
    PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(qel_api-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/qel_api-config.cmake ${PROJECT_BINARY_DIR}/qel_api-config-version.cmake
    DESTINATION ${qel_cmake_directory})
install(DIRECTORY man/man3 man/man7 DESTINATION ${CMAKE_INSTALL_MANDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING
    PATTERN *.c PATTERN *.cpp PATTERN *.h PATTERN *.py)

install(TARGETS qel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(FILES man/man1/qel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
install(FILES tools/completion/qel.bash RENAME qel COMPONENT tool
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# Debian's place for modules that every version of Python 3 can use; the same on every architecture.
set(QEL_PYTHON_DIRECTORY lib/python3/dist-packages CACHE STRING "where the Python package goes, below the prefix")
install(DIRECTORY bindings/python/qel_api DESTINATION ${QEL_PYTHON_DIRECTORY} COMPONENT python
    FILES_MATCHING PATTERN *.py PATTERN py.typed PATTERN __pycache__ EXCLUDE)

# The stand-in for the log library is the simulator's own: it lies where no program looks by itself, and only
# "qel-sim run" leads programs there, on hosts that have no log library.
install(TARGETS qel-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)
install(TARGETS velalog_standin LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/qel-sim COMPONENT simulator)
install(FILES man/man1/qel-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT simulator)
install(FILES packaging/qel-sim.bash RENAME qel-sim COMPONENT simulator
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
