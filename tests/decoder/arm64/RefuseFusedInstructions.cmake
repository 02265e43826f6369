# Fails when a library or an object contains an instruction that multiplies and adds floats with one rounding: results
# would no longer be those of every other processor. Usage: cmake -DOBJDUMP=... -DFILES=... -P this file.
cmake_minimum_required(VERSION 3.25)

foreach(file IN LISTS FILES)
    execute_process(COMMAND "${OBJDUMP}" -d --no-show-raw-insn "${file}"
        OUTPUT_VARIABLE instructions COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[\t ]fmul[\t ]" products "${instructions}")
    list(LENGTH products numProducts)
    if(numProducts EQUAL 0)
        message(FATAL_ERROR "${file} seems to multiply no floats at all")
    endif()
    string(REGEX MATCHALL "[\t ](fmadd|fmsub|fnmadd|fnmsub|fmlal?2?|fmlsl?2?|fcmla)[\t ][^\n]*" fused "${instructions}")
    list(LENGTH fused numFused)
    if(NOT numFused EQUAL 0)
        list(GET fused 0 first)
        message(FATAL_ERROR "${file} has ${numFused} fused instructions, such as ${first}")
    endif()
    message(STATUS "${file}: ${numProducts} products of floats, none of them fused with an addition")
endforeach()
