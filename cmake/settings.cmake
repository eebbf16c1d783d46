# How all our targets are compiled: the language, the sanitizers, and dead code left out of the link.

set(SORVANE_SANITIZE OFF CACHE STRING "The sanitizers to build with, as -fsanitize names them")
option(SORVANE_EMULATED "Build for an emulator of programs, which has no system-call filters" OFF)
option(SORVANE_FUZZ "Build the fuzz targets for libFuzzer, which Clang brings" OFF)
option(SORVANE_HARDENING "Guard the programs against mistakes; scripts/bench measures what it costs" ON)
option(SORVANE_COVERAGE "Build with GCC's counters of lines and branches" OFF)
option(SORVANE_BENCH "Build what scripts/bench measures with" OFF)

add_library(sorvane_settings INTERFACE)
target_compile_features(sorvane_settings INTERFACE cxx_std_20)
target_compile_options(sorvane_settings INTERFACE -ffunction-sections -fdata-sections)

if(SORVANE_COVERAGE)
    # Threads count too; what ends with a signal or `_exit` does not.
    add_compile_options(-O0 --coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
if(SORVANE_SANITIZE)
    # Without the check of dynamic types: it asks the system for a pipe of its own, and calls every
    # type wrong in a test that has taken the descriptors away.
    set(sanitizers -fsanitize=${SORVANE_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_compile_options(sorvane_settings INTERFACE ${sanitizers})
    target_link_options(sorvane_settings INTERFACE ${sanitizers})
    if(SORVANE_FUZZ)
        target_compile_options(sorvane_settings INTERFACE -fsanitize=fuzzer-no-link)
    endif()
elseif(APPLE)
    target_link_options(sorvane_settings INTERFACE -Wl,-dead_strip -Wl,-dead_strip_dylibs)
else()
    # A program of ours starts at every prompt: it needs no shared library but the C library, and the
    # hook not even that (SORVANE_STATIC), where its archive is here: being loaded would take a third
    # of a run. A program that links shared libraries written in C++ shares their run time
    # (SORVANE_SHARED_RUN_TIME): there must not be two of it.
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie)
    check_cxx_source_compiles("int main() { return 0; }" SORVANE_HAS_STATIC_PIE)
    unset(CMAKE_REQUIRED_LINK_OPTIONS)
    set(sorvane_static $<AND:$<BOOL:${SORVANE_HAS_STATIC_PIE}>,$<BOOL:$<TARGET_PROPERTY:SORVANE_STATIC>>>)
    set(shared_run_time $<BOOL:$<TARGET_PROPERTY:SORVANE_SHARED_RUN_TIME>>)
    target_link_options(sorvane_settings INTERFACE
        $<${sorvane_static}:-static-pie>
        $<$<NOT:$<OR:${sorvane_static},${shared_run_time}>>:-static-libstdc++>
        $<$<NOT:$<OR:${sorvane_static},${shared_run_time}>>:-static-libgcc>
        -Wl,--gc-sections -Wl,--as-needed)
endif()
