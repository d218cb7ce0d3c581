# nlohmann-json for a cross build.
include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
qel_header_only(nlohmann_json nlohmann_json::nlohmann_json nlohmann/json.hpp)
