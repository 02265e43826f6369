# Toolchain file: a build for aarch64 Linux on another processor, with Debian's cross compiler. RAVELO_ARM64_ROOT is a
# folder with the libraries of that processor, as scripts/test-arm makes it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(RAVELO_ARM64_ROOT "" CACHE PATH "Folder with the libraries for aarch64")
set(RAVELO_ARM64_COMPILER "gcc" CACHE STRING "The compiler: gcc or clang")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RAVELO_ARM64_ROOT RAVELO_ARM64_COMPILER)

if(RAVELO_ARM64_COMPILER STREQUAL "clang")
    set(CMAKE_C_COMPILER clang-14)
    set(CMAKE_CXX_COMPILER clang++-14)
    set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
    set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
else()
    set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
    set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
endif()

set(CMAKE_OBJDUMP /usr/bin/aarch64-linux-gnu-objdump)
set(CMAKE_NM /usr/bin/aarch64-linux-gnu-nm)

# Libraries and headers are those of the folder alone, programs those of this machine.
set(CMAKE_FIND_ROOT_PATH "${RAVELO_ARM64_ROOT}" /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${RAVELO_ARM64_ROOT}/usr/lib/aarch64-linux-gnu")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${RAVELO_ARM64_ROOT}/usr/lib/aarch64-linux-gnu")

# Programs that are built run in the emulator, on its default processor or the one that QEMU_CPU names.
set(CMAKE_CXX_LINKER_LAUNCHER "${CMAKE_CURRENT_LIST_DIR}/link-for-emulator;/usr/bin/qemu-aarch64 -L /usr/aarch64-linux-gnu;${RAVELO_ARM64_ROOT}/usr/lib/aarch64-linux-gnu")
set(CMAKE_C_LINKER_LAUNCHER "${CMAKE_CXX_LINKER_LAUNCHER}")
