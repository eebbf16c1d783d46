# The libraries that ours needs, from the system's package manager. The build reads this file, and so
# does the installed CMake package, so that a program which links the library finds the same. They are
# linked statically where there is an archive: a prompt must not wait for a loader.

find_package(nlohmann_json 3.10 REQUIRED)

# Notes that a shared library is linked where an archive was wanted.
function(sorvane_archive_missing library)
    message(STATUS "lib${library}.a is missing; the shared library is linked instead")
    set_property(GLOBAL PROPERTY sorvane_archive_missing ON)
endfunction()

# Fills `result` with the archive of a library and with what that needs in turn: `module` is its name in
# pkg-config, which need not know it. Without an archive the result is empty.
function(sorvane_archive result library module)
    if(PKG_CONFIG_FOUND)
        pkg_check_modules(sorvane_${module} QUIET ${module})
    endif()
    find_library(sorvane_${library}_archive NAMES lib${library}.a)
    mark_as_advanced(sorvane_${library}_archive)
    set(found ${sorvane_${library}_archive})
    foreach(name IN LISTS sorvane_${module}_STATIC_LIBRARIES)
        if(NOT found OR name STREQUAL library OR name MATCHES "^(gcc_s|stdc\\+\\+)$")
            continue()
        elseif(NOT name MATCHES "^(dl|m|pthread|rt)$")
            find_library(sorvane_${name}_archive NAMES lib${name}.a lib${name}.so REQUIRED)
            mark_as_advanced(sorvane_${name}_archive)
            if(sorvane_${name}_archive MATCHES "\\.so$")
                sorvane_archive_missing(${name})
            endif()
            set(name ${sorvane_${name}_archive})
        endif()
        list(APPEND found ${name})
    endforeach()
    set(${result} ${found} PARENT_SCOPE)
endfunction()

# Makes an imported target of a library of the system:
#   LIBRARY  the name that a linker knows it by
#   HEADER   stands in the target's include folder
#   MODULE   the name that pkg-config knows it by, where that is another
#   PACKAGE  of Debian and Ubuntu, which brings it
#   SHARED   the shared library is wanted
function(sorvane_library target)
    if(TARGET ${target})
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 its "SHARED" "LIBRARY;HEADER;MODULE;PACKAGE" "")
    if(NOT its_MODULE)
        set(its_MODULE ${its_LIBRARY})
    endif()
    set(files "")
    set(ending a)
    if(NOT its_SHARED)
        sorvane_archive(files ${its_LIBRARY} ${its_MODULE})
    endif()
    if(NOT files)
        set(ending so)
        find_library(sorvane_${its_LIBRARY}_shared NAMES lib${its_LIBRARY}.so)
        mark_as_advanced(sorvane_${its_LIBRARY}_shared)
        set(files ${sorvane_${its_LIBRARY}_shared})
        if(NOT its_SHARED)
            sorvane_archive_missing(${its_LIBRARY})
        endif()
    endif()
    find_path(sorvane_${its_LIBRARY}_include NAMES ${its_HEADER}
        HINTS ${sorvane_${its_MODULE}_INCLUDE_DIRS})
    mark_as_advanced(sorvane_${its_LIBRARY}_include)
    if(NOT files OR NOT sorvane_${its_LIBRARY}_include)
        message(FATAL_ERROR "lib${its_LIBRARY}.${ending} and ${its_HEADER} are needed; "
            "Debian and Ubuntu have them in ${its_PACKAGE}")
    endif()
    list(POP_FRONT files file)
    add_library(${target} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES
        IMPORTED_LOCATION ${file}
        INTERFACE_INCLUDE_DIRECTORIES ${sorvane_${its_LIBRARY}_include}
        INTERFACE_LINK_LIBRARIES "${files}")
endfunction()

# Makes an imported target of a framework of the system.
function(sorvane_framework framework)
    if(TARGET Sorvane::${framework})
        return()
    endif()
    add_library(Sorvane::${framework} INTERFACE IMPORTED GLOBAL)
    set_target_properties(Sorvane::${framework} PROPERTIES
        INTERFACE_LINK_LIBRARIES "-framework ${framework}")
endfunction()

if(APPLE)
    sorvane_framework(CoreFoundation)
    set(sorvane_platform_libraries Sorvane::CoreFoundation)
else()
    find_package(PkgConfig QUIET)
    # Not by its name in pkg-config, libcrypto: what that requires serves other parts of it.
    sorvane_library(Sorvane::crypto
        LIBRARY crypto HEADER openssl/sha.h PACKAGE libssl-dev)
    sorvane_library(Sorvane::utf8proc
        LIBRARY utf8proc HEADER utf8proc.h MODULE libutf8proc PACKAGE libutf8proc-dev)
    # Linked only by a program that posts the notification; the hook does not, and takes no shared
    # library.
    sorvane_library(Sorvane::systemd SHARED
        LIBRARY systemd HEADER systemd/sd-bus.h PACKAGE libsystemd-dev)
    set(sorvane_platform_libraries Sorvane::crypto Sorvane::utf8proc
        $<$<NOT:$<BOOL:$<TARGET_PROPERTY:SORVANE_STATIC>>>:Sorvane::systemd>)
endif()
