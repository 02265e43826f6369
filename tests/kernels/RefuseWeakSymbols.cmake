# Fails when the object of a unit with instructions of its own defines or wants a weak symbol.
#
# OBJECTS: list of object files, of which those named NAMED* are looked at. NM: the program that lists symbols.

set(numLookedAt 0)
foreach(object IN LISTS OBJECTS)
    if(NOT object MATCHES "/${NAMED}[^/]*$")
        continue()
    endif()
    math(EXPR numLookedAt "${numLookedAt} + 1")
    execute_process(COMMAND ${NM} -C ${object} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]* [uVvWw] [^\n]*" weakSymbols "${symbols}")
    # Descriptions of types, which a sanitizer emits besides functions: data without code.
    list(FILTER weakSymbols EXCLUDE REGEX " V typeinfo (name )?for ")
    if(weakSymbols)
        message(FATAL_ERROR "${object} has weak symbols:\n${weakSymbols}")
    endif()
endforeach()
if(numLookedAt EQUAL 0)
    message(FATAL_ERROR "no object ${NAMED}* among: ${OBJECTS}")
endif()
message(STATUS "${numLookedAt} objects without weak symbols")
