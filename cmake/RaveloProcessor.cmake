include_guard(GLOBAL)

# The processor that is built for. RAVELO_PROCESSOR is the name of the folders that hold what belongs to it:
#
#   kernels/x86    kernels/arm64    intrinsics, the processor's registers, the list of kernel variants
#   decoder/x86    decoder/arm64    the targets of the decoder
#
# x86 has besides them the units for its further instruction sets, which its CMake files name: the kernel variants in
# kernels/x86, and in decoder/ those whose names end in _AVX2 and _AVX512.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    set(RAVELO_PROCESSOR x86)
    # Instructions of the path that is taken without any processor test.
    set(RAVELO_BASELINE_INSTRUCTIONS -mssse3)
    # Every object of ours marks where indirect jumps may end; a library says so where the system's start files do too,
    # which those of Debian 12 do not.
    set(RAVELO_BRANCH_PROTECTION -fcf-protection=full)
    set(RAVELO_STACK_PROBES -fstack-clash-protection)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(RAVELO_PROCESSOR arm64)
    set(RAVELO_BASELINE_INSTRUCTIONS "")
    set(RAVELO_BRANCH_PROTECTION -mbranch-protection=standard)
    # clang 14 has no probes for this processor. g++ probes at distances of 64 KiB unless it is told how small a guard page is.
    set(RAVELO_STACK_PROBES "$<$<CXX_COMPILER_ID:GNU>:-fstack-clash-protection>"
        "$<$<CXX_COMPILER_ID:GNU>:--param=stack-clash-protection-guard-size=12>")
    # Headers that give x86's 128-bit intrinsics by NEON.
    find_path(RAVELO_SIMDE_INCLUDE_DIR simde/x86/ssse3.h REQUIRED)
else()
    message(FATAL_ERROR "no code for the processor ${CMAKE_SYSTEM_PROCESSOR}: there is some for x86_64 and aarch64")
endif()

# Gives a target the intrinsics, and the other headers of the kernels that belong to the processor.
function(ravelo_use_processor target scope)
    target_include_directories(${target} ${scope} "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/kernels/${RAVELO_PROCESSOR}>")
    if(RAVELO_SIMDE_INCLUDE_DIR)
        target_include_directories(${target} SYSTEM ${scope} "$<BUILD_INTERFACE:${RAVELO_SIMDE_INCLUDE_DIR}>")
    endif()
endfunction()
