# The Debian package, made by `cpack -G DEB` in the folder of a release build: the programs alone.
# What they link dynamically is asked of the programs themselves.

set(CPACK_PACKAGE_NAME sorvane-hook)
set(CPACK_PACKAGE_CONTACT "The Sorvane developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Tells coding agents where the images in their prompts are")
set(CPACK_COMPONENTS_ALL programs)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
