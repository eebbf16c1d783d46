# Every library from the system's package manager, found once. Those that the programs carry with
# them are taken as static archives: a prompt must not wait for a loader.

find_package(nlohmann_json 3.10 REQUIRED)

# Makes an imported target `name` of the static archive lib<archive>.a and its header.
function(sorvane_static_library name archive header)
    find_library(${name}_archive NAMES lib${archive}.a REQUIRED)
    find_path(${name}_include NAMES ${header} REQUIRED)
    mark_as_advanced(${name}_archive ${name}_include)
    add_library(${name} STATIC IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES
        IMPORTED_LOCATION ${${name}_archive}
        INTERFACE_INCLUDE_DIRECTORIES ${${name}_include})
endfunction()

if(NOT APPLE)
    sorvane_static_library(nettle nettle nettle/sha2.h)
    sorvane_static_library(utf8proc utf8proc utf8proc.h)
    sorvane_static_library(zlib z zlib.h)
    sorvane_static_library(png png16 png.h)
    sorvane_static_library(jpeg jpeg jpeglib.h)
    set_target_properties(png PROPERTIES INTERFACE_LINK_LIBRARIES "zlib;m")
endif()
