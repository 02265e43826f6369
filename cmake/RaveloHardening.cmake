# Protects libraries and command against the usual ways to turn a fault into an execution of foreign code. Included by the root
# after all targets are there; a test reads the files that come out of it.
#
#   relocations read-only and bound at load     no table of addresses can be overwritten later
#   no executable stack
#   stack protector                             in functions with arrays
#   probes of the stack, page by page           a stack that is too small ends in a fault at its guard page, not beyond
#   targets of indirect jumps are marked        as the processor can: RAVELO_BRANCH_PROTECTION
#   _FORTIFY_SOURCE                             copies of a known size are checked; needs an optimised build
option(RAVELO_HARDENING "Build with the linker's and the compiler's protections" ON)
if(NOT RAVELO_HARDENING)
    return()
endif()

# The sanitizers replace the checked copies by their own, which find more.
set(ravelo_isOptimised "$<AND:$<CONFIG:Release,RelWithDebInfo,MinSizeRel>,$<NOT:$<BOOL:${ravelo_isSanitized}>>>")

foreach(target RaveloKernels RaveloHeaders RaveloDecoder RaveloCObjects RaveloEncoder RaveloEncodeCObjects
        RaveloPython RaveloPictureReaders RaveloSamples RaveloCommand ravelo)
    if(NOT TARGET ${target})
        continue()
    endif()
    target_compile_options(${target} PRIVATE -fstack-protector-strong ${RAVELO_STACK_PROBES}
        ${RAVELO_BRANCH_PROTECTION}
        "$<${ravelo_isOptimised}:-U_FORTIFY_SOURCE>" "$<${ravelo_isOptimised}:-D_FORTIFY_SOURCE=2>")
endforeach()
foreach(target RaveloOpt RaveloC RaveloEncodeC RaveloPython ravelo)
    if(TARGET ${target})
        target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
    endif()
endforeach()
if(TARGET ravelo)
    target_link_options(ravelo PRIVATE -pie)
endif()
