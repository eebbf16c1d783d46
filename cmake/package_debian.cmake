# What Debian wants in a package beside what is installed: cpack runs this before it packs.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()

set(sources ${CMAKE_CURRENT_LIST_DIR}/../packaging/debian)
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
file(MAKE_DIRECTORY ${share}/lintian/overrides)
file(COPY_FILE ${sources}/lintian-overrides ${share}/lintian/overrides/${CPACK_PACKAGE_NAME})
file(COPY ${sources}/changelog DESTINATION ${share}/doc/${CPACK_PACKAGE_NAME})

file(GLOB texts ${share}/doc/${CPACK_PACKAGE_NAME}/changelog ${share}/man/*/*)
execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
