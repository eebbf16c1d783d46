# The warnings for all our targets: errors where the project checks itself, never where somebody builds
# it with a compiler newer than ours.

include(CheckCXXCompilerFlag)

option(SORVANE_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)

add_library(sorvane_warnings INTERFACE)
target_compile_options(sorvane_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wundef
    $<$<BOOL:${SORVANE_WARNINGS_AS_ERRORS}>:-Werror>)

# doctest 2.4 numbers its tests by __COUNTER__, which Clang 22 takes for an extension.
check_cxx_compiler_flag(-Wc2y-extensions sorvane_has_c2y_extensions)
if(sorvane_has_c2y_extensions)
    target_compile_options(sorvane_warnings INTERFACE -Wno-c2y-extensions)
endif()
