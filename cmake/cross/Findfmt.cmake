# {fmt} for a cross build.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qel_header_only(fmt fmt::fmt fmt/core.h)
set_target_properties(fmt::fmt PROPERTIES INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY=1)
