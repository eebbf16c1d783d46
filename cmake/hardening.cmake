# Hardening: stack protector, _FORTIFY_SOURCE, position-independent executables, RELRO with immediate
# binding, and control-flow protection (CET, BTI), each where the compiler has it. Not with the
# sanitizers, which bring their own checks, nor for tests, which are not optimised as _FORTIFY_SOURCE
# needs it. On macOS all but the first two are the linker's default.

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

add_library(sorvane_hardening INTERFACE)

# For the decoder, which reads files from anywhere: automatic variables are initialised to zero.
add_library(sorvane_decoder_hardening INTERFACE)
target_link_libraries(sorvane_decoder_hardening INTERFACE sorvane_hardening)

if(SORVANE_SANITIZE OR NOT SORVANE_HARDENING)
    return()
endif()

# The options that the compiler took, for the test that looks for their traces.
set(sorvane_hardening_options "")

function(sorvane_harden target option)
    string(MAKE_C_IDENTIFIER "sorvane_has${option}" has)
    check_cxx_compiler_flag(${option} ${has})
    if(${has})
        target_compile_options(${target} INTERFACE ${option})
        set(sorvane_hardening_options ${sorvane_hardening_options} ${option} PARENT_SCOPE)
    endif()
endfunction()

sorvane_harden(sorvane_hardening -fstack-protector-strong)
sorvane_harden(sorvane_decoder_hardening -ftrivial-auto-var-init=zero)

# Level 3 also checks sizes that are known at run time only; a C library without it warns.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstdlib>
int main() {}" sorvane_has_fortify_3)
unset(CMAKE_REQUIRED_FLAGS)
set(fortify 2)
if(sorvane_has_fortify_3)
    set(fortify 3)
endif()
set(checked_lengths
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify}>")
target_compile_options(sorvane_hardening INTERFACE ${checked_lengths})
list(APPEND sorvane_hardening_options ${checked_lengths})

if(NOT APPLE)
    # One for each of the two architectures.
    sorvane_harden(sorvane_hardening -fcf-protection)
    sorvane_harden(sorvane_hardening -mbranch-protection=standard)
    target_compile_options(sorvane_hardening INTERFACE -fPIE)
    target_link_options(sorvane_hardening INTERFACE
        $<$<NOT:${sorvane_static}>:-pie> LINKER:-z,relro,-z,now)
endif()
