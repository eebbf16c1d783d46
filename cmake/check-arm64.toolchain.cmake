# The Linux build for arm64 as another Linux machine makes it: the compiler is that machine's, the
# libraries are those of a root of Debian's. `scripts/check-arm64` says how to call it. Wanted:
#   SORVANE_ARM64_ROOT  the root's folder

set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SORVANE_ARM64_ROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_SYSROOT ${SORVANE_ARM64_ROOT})
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# What is linked comes from the root; header-only libraries and programs are this machine's own.
set(CMAKE_FIND_ROOT_PATH ${SORVANE_ARM64_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${SORVANE_ARM64_ROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${SORVANE_ARM64_ROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${SORVANE_ARM64_ROOT}/usr/share/pkgconfig)
