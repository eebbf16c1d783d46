# The macOS build on Linux: Apple's SDK from a folder, the compiler and the linker of LLVM.
# What comes out cannot run here; `scripts/check-macos` says how to call it. Wanted:
#   SORVANE_MACOS_SDK           the SDK's folder
#   SORVANE_MACOS_ARCHITECTURE  arm64 or x86_64
#   SORVANE_MACOS_HEADERS       a folder of the headers that Homebrew would bring, and of no others
#   SORVANE_LLVM_SUFFIX         of the names of LLVM's programs, such as -19

set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
    SORVANE_MACOS_SDK SORVANE_MACOS_ARCHITECTURE SORVANE_MACOS_HEADERS SORVANE_LLVM_SUFFIX)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${SORVANE_MACOS_ARCHITECTURE})
set(CMAKE_OSX_SYSROOT ${SORVANE_MACOS_SDK})
set(CMAKE_OSX_ARCHITECTURES ${SORVANE_MACOS_ARCHITECTURE})

set(CMAKE_CXX_COMPILER clang++${SORVANE_LLVM_SUFFIX})
set(CMAKE_CXX_COMPILER_TARGET ${SORVANE_MACOS_ARCHITECTURE}-apple-darwin)
set(CMAKE_AR llvm-ar${SORVANE_LLVM_SUFFIX})
set(CMAKE_RANLIB llvm-ranlib${SORVANE_LLVM_SUFFIX})
set(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool${SORVANE_LLVM_SUFFIX})

# A C++ library installed here would be taken before the SDK's.
string(JOIN " " CMAKE_CXX_FLAGS_INIT
    "-stdlib++-isystem ${SORVANE_MACOS_SDK}/usr/include/c++/v1"
    "-isystem ${SORVANE_MACOS_HEADERS}"
    -Werror=unguarded-availability)
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)

# The list of a test program's cases is asked for right after the build: `true` in its place gives none.
set(CMAKE_CROSSCOMPILING_EMULATOR true)
