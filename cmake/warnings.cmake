# The warnings that everything of ours is held to: errors where the project checks itself, never where
# somebody builds it with a compiler newer than ours.

option(SORVANE_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)

add_library(sorvane_warnings INTERFACE)
target_compile_options(sorvane_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wundef
    $<$<BOOL:${SORVANE_WARNINGS_AS_ERRORS}>:-Werror>)
