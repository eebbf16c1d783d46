# What the library is made of beside itself, from the system's package manager. The build reads this
# file, and so does the installed CMake package, so that a program which links the library finds the
# same. What the programs carry with them is taken as a static archive: a prompt must not wait for a
# loader.

find_package(nlohmann_json 3.10 REQUIRED)

# Makes an imported target of one library file and the folder of its header.
function(sorvane_library target file header)
    if(TARGET ${target})
        return()
    endif()
    string(MAKE_C_IDENTIFIER ${target} name)
    find_library(${name}_file NAMES ${file} REQUIRED)
    find_path(${name}_include NAMES ${header} REQUIRED)
    mark_as_advanced(${name}_file ${name}_include)
    add_library(${target} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES
        IMPORTED_LOCATION ${${name}_file}
        INTERFACE_INCLUDE_DIRECTORIES ${${name}_include})
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
    sorvane_library(Sorvane::nettle libnettle.a nettle/sha2.h)
    sorvane_library(Sorvane::utf8proc libutf8proc.a utf8proc.h)
    # Linked only by a program that posts the notification; the hook does not.
    sorvane_library(Sorvane::systemd libsystemd.so systemd/sd-bus.h)
    set(sorvane_platform_libraries Sorvane::nettle Sorvane::utf8proc Sorvane::systemd)
endif()
