# The Debian package and the archive for macOS, made by `cpack -G DEB` and `cpack -G TGZ` in the folder
# of a release build: the programs alone. What they link dynamically is asked of the programs
# themselves.

set(CPACK_PACKAGE_NAME sorvane-hook)
set(CPACK_PACKAGE_CONTACT "The Sorvane developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Tells coding agents where the images in their prompts are")
set(CPACK_INSTALL_CMAKE_PROJECTS "${CMAKE_BINARY_DIR};${PROJECT_NAME};programs;/")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
