# The Debian package and the archive for macOS, made by `cpack -G DEB` and `cpack -G TGZ` in the folder
# of a release build: the programs alone, with their man pages and completions. The dependencies
# are read from the programs themselves.

set(CPACK_PACKAGE_NAME sorvane-hook)
# No public address has been named yet; .invalid is what can never be one.
set(CPACK_PACKAGE_CONTACT "The Sorvane developers <developers@sorvane.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Tells coding agents where the images in their prompts are")
set(CPACK_PACKAGE_DESCRIPTION
"A coding agent runs sorvane-hook at every prompt. It finds the images that the
prompt carries, asks the running Sorvane application for them, and tells the
agent which full-quality files of the workspace they are. It never stops a
prompt.
.
When an image did not arrive, sorvane-doctor says why.")
set(CPACK_INSTALL_CMAKE_PROJECTS "${CMAKE_BINARY_DIR};${PROJECT_NAME};programs;/")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package_debian.cmake)
# A package fits the release that it was built on, and the packages for all of them lie on one page.
if(NOT APPLE)
    cmake_host_system_information(RESULT release QUERY DISTRIB_ID DISTRIB_VERSION_ID)
    list(JOIN release "" release)
    set(CPACK_DEBIAN_FILE_NAME
        ${CPACK_PACKAGE_NAME}_${PROJECT_VERSION}_${release}_${CMAKE_SYSTEM_PROCESSOR}.deb)
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
