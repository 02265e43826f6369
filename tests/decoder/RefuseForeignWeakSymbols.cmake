# Fails when an object of the AVX2 target defines a weak symbol that does not carry the target's name.
#
# The linker keeps one copy of a weak definition for everybody. Kept from this object, a function that other units share
# would run AVX2 instructions on a processor that has none. Usage: cmake -DNM=... -DOBJECTS=... [-DUNOPTIMISED=ON]
# -P this file; only objects whose name holds AVX2 are looked at.
cmake_minimum_required(VERSION 3.25)

if(UNOPTIMISED)
    message("Not looked at: without optimisation plain records leave weak constructors in every object.")
    return()
endif()

set(numLookedAt 0)
foreach(object IN LISTS OBJECTS)
    if(NOT object MATCHES "AVX2")
        continue()
    endif()
    execute_process(COMMAND "${NM}" -C "${object}" OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    math(EXPR numLookedAt "${numLookedAt} + 1")
    # Brackets and semicolons of demangled names would be taken for list syntax.
    string(REGEX REPLACE "[][;]" "_" symbols "${symbols}")
    string(REGEX MATCHALL "[^\n]* [uVvWw] [^\n]*" weakSymbols "${symbols}")
    # A pointer to the language's own exception handler, without code. It has no name of ours.
    list(FILTER weakSymbols EXCLUDE REGEX " DW\\.ref\\.__gxx_personality_v0$")
    # Descriptions of types, which a sanitizer leaves beside functions: data without code.
    list(FILTER weakSymbols EXCLUDE REGEX " V typeinfo (name )?for ")
    # Names that another object defines hold no code here.
    list(FILTER weakSymbols EXCLUDE REGEX "^ +[vw] ")
    list(FILTER weakSymbols EXCLUDE REGEX "\\(OptimizationTarget\\)1")
    if(weakSymbols)
        foreach(symbol IN LISTS weakSymbols)
            message("Foreign weak symbol: ${symbol}")
        endforeach()
        message(FATAL_ERROR "${object} defines weak symbols without the name of its target.")
    endif()
endforeach()
if(numLookedAt EQUAL 0)
    message(FATAL_ERROR "No object of the AVX2 target was found among: ${OBJECTS}")
endif()
message(STATUS "${numLookedAt} object: all its weak symbols carry the name of its target")
