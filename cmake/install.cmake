# What is installed: sorvane-hook and sorvane-doctor, the decoders in libexec, man pages and
# completions, agents.md and the plugin for opencode; for development the headers, the library, and the
# ways to find it from CMake and pkg-config. The stand-in is no product and stays here.

include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Sorvane)
set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/sorvane)

install(TARGETS sorvane-hook sorvane-doctor)
install(TARGETS sorvane-pixels DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/sorvane)
if(NOT APPLE)
    install(TARGETS sorvane-pixels-extra DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/sorvane)
endif()

# After the stripping that an install may do to the programs above, which breaks a signature; and the
# linker's own covers one architecture. Every slice must be signed to be started.
if(APPLE)
    set(signed ${CMAKE_INSTALL_BINDIR}/sorvane-hook ${CMAKE_INSTALL_BINDIR}/sorvane-doctor
        ${CMAKE_INSTALL_LIBEXECDIR}/sorvane/sorvane-pixels)
    install(CODE "set(signed ${signed})" COMPONENT programs)
    install(CODE [[
        list(TRANSFORM signed PREPEND "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/")
        execute_process(COMMAND codesign --force --sign - ${signed} COMMAND_ERROR_IS_FATAL ANY)
    ]] COMPONENT programs)
endif()

install(FILES packaging/man/sorvane-hook.1 packaging/man/sorvane-doctor.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# What a person needs to enter the hook into an agent by hand: the doctor speaks of both.
install(FILES docs/agents.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/sorvane-hook)
install(FILES packaging/opencode/sorvane.js DESTINATION ${CMAKE_INSTALL_DATADIR}/sorvane/opencode)

# bash and fish look for a file of the command's name. Debian's zsh looks below /usr in a folder of its
# own, for what comes in packages.
set(zsh_folder site-functions)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND NOT APPLE)
    set(zsh_folder vendor-completions)
endif()
install(FILES packaging/completions/_sorvane DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder})
foreach(command IN ITEMS sorvane-hook sorvane-doctor)
    install(FILES packaging/completions/sorvane.bash RENAME ${command}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES packaging/completions/sorvane.fish RENAME ${command}.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endforeach()

install(TARGETS sorvane_helper EXPORT SorvaneTargets COMPONENT development)
target_include_directories(sorvane_helper INTERFACE $<INSTALL_INTERFACE:${header_folder}>)
set_target_properties(sorvane_helper PROPERTIES EXPORT_NAME helper)
foreach(folder IN ITEMS broker history hook identity integration support)
    install(DIRECTORY ${folder} DESTINATION ${header_folder} COMPONENT development
        FILES_MATCHING PATTERN "*.h")
endforeach()

install(EXPORT SorvaneTargets NAMESPACE Sorvane:: DESTINATION ${package_folder}
    COMPONENT development)
configure_package_config_file(cmake/SorvaneConfig.cmake.in SorvaneConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(SorvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT development)
install(FILES cmake/dependencies.cmake
    DESTINATION ${package_folder} RENAME SorvaneDependencies.cmake COMPONENT development)

set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH up ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
set(platform_flags "-lcrypto -lutf8proc -lsystemd")
if(APPLE)
    set(platform_flags "-framework CoreFoundation")
endif()
configure_file(cmake/sorvane.pc.in sorvane.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/sorvane.pc DESTINATION ${pkgconfig_folder}
    COMPONENT development)
