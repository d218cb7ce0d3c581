# What a Debian package's tree needs beside what is installed: the change log and the copyright in each package, and
# compressed manual pages. CPack runs this between installing and packing.
file(GLOB trees ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(tree IN LISTS trees)
    get_filename_component(component ${tree} NAME)
    string(TOUPPER CPACK_DEBIAN_${component}_PACKAGE_NAME name)
    set(documents ${tree}/usr/share/doc/${${name}})
    file(MAKE_DIRECTORY ${documents})
    file(COPY ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${documents})
    execute_process(
        COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date --utc --rfc-email -r ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md
        OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    file(WRITE ${documents}/changelog.Debian
        "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) stable; urgency=medium\n\n"
        "  * See CHANGELOG.md in the sources.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
    # The examples go with the package whose name they are found under.
    file(GLOB others ${tree}/usr/share/doc/*)
    foreach(other IN LISTS others)
        if(NOT other STREQUAL documents)
            file(COPY ${other}/ DESTINATION ${documents})
            file(REMOVE_RECURSE ${other})
        endif()
    endforeach()
    file(GLOB_RECURSE pages ${tree}/usr/share/man/*)
    execute_process(COMMAND gzip -9n ${documents}/changelog.Debian ${pages} COMMAND_ERROR_IS_FATAL ANY)
    # Permissions do not depend on who builds.
    execute_process(COMMAND chmod -R u=rwX,go=rX ${tree} COMMAND_ERROR_IS_FATAL ANY)
    file(GLOB_RECURSE libraries ${tree}/usr/lib/*.so.*)
    if(libraries)
        execute_process(COMMAND chmod 0644 ${libraries} COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()
