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

# A library's own libraries are in the folder, too.
set(arm64Libraries "${RAVELO_ARM64_ROOT}/usr/lib/aarch64-linux-gnu")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${arm64Libraries}")
endforeach()

# The emulator, with its default processor or the one that QEMU_CPU names. Tests start programs by their names, so in a build
# with tests each is a script that starts the emulator, and needs nothing before it.
set(arm64Emulator /usr/bin/qemu-aarch64 -L /usr/aarch64-linux-gnu)
if(RAVELO_TESTS)
    list(JOIN arm64Emulator " " arm64Emulator)
    set(CMAKE_CXX_LINKER_LAUNCHER "${CMAKE_CURRENT_LIST_DIR}/link-for-emulator;${arm64Emulator};${arm64Libraries}")
    set(CMAKE_C_LINKER_LAUNCHER "${CMAKE_CXX_LINKER_LAUNCHER}")
    set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env)
else()
    set(CMAKE_CROSSCOMPILING_EMULATOR ${arm64Emulator} -E "LD_LIBRARY_PATH=${arm64Libraries}")
endif()
