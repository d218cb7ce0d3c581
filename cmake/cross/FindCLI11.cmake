# CLI11 for a cross build.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qel_header_only(CLI11 CLI11::CLI11 CLI/CLI.hpp)
