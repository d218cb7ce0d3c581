# Packages that are headers alone, or can be used so, need none of the target's architecture: the build machine's serve.
# A link to the one directory, for beside it in /usr/include lie the build machine's own C headers.
macro(qel_header_only package target header)
    get_filename_component(qel_directory ${header} DIRECTORY)
    find_path(qel_${qel_directory}_include ${header} PATHS /usr/include /usr/local/include
        NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    include(FindPackageHandleStandardArgs)
    find_package_handle_standard_args(${package} REQUIRED_VARS qel_${qel_directory}_include)
    if(NOT TARGET ${target})
        file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/headers)
        file(CREATE_LINK ${qel_${qel_directory}_include}/${qel_directory} ${PROJECT_BINARY_DIR}/headers/${qel_directory}
            SYMBOLIC)
        add_library(${target} INTERFACE IMPORTED GLOBAL)
        set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${PROJECT_BINARY_DIR}/headers)
    endif()
endmacro()
