# Manual pages of the C interface, made of the comments in its headers: a page for each header, which every function of it
# has as a page of its own too. Included by the root before the tests. Without Python there are none.
include(RaveloPackages)
find_package(Python3 QUIET COMPONENTS Interpreter)
if(NOT Python3_Interpreter_FOUND)
    message(STATUS "Manual pages of the C interface are left out: there is no Python to make them")
    return()
endif()

set(manualFolder "${PROJECT_BINARY_DIR}/manuals")
set(manualMaker "${PROJECT_SOURCE_DIR}/cmake/make_manual.py")

# The page NAME(3) of a header; the package is what pkg-config knows, and the example a program in C.
function(ravelo_manual name header package)
    cmake_parse_arguments(ARG "" "EXAMPLE" "SEE_ALSO" ${ARGN})
    set(example)
    if(ARG_EXAMPLE)
        set(example --example "${ARG_EXAMPLE}")
    endif()
    set(stamp "${manualFolder}/${name}.stamp")
    add_custom_command(OUTPUT "${stamp}"
        COMMAND "${Python3_EXECUTABLE}" "${manualMaker}" "${header}" --name ${name} --package ${package}
            --version ${PROJECT_VERSION} --contact "${RAVELO_PACKAGE_CONTACT}" --folder "${manualFolder}/man3" --see-also ${ARG_SEE_ALSO} ${example}
        COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
        DEPENDS "${header}" "${manualMaker}" ${ARG_EXAMPLE}
        VERBATIM)
    set(manualStamps ${manualStamps} "${stamp}" PARENT_SCOPE)
endfunction()

set(manualStamps)
ravelo_manual(libravelo "${PROJECT_SOURCE_DIR}/capi/ravelo.h" ravelo SEE_ALSO "libravelo-encode(3)" "ravelo(1)"
    EXAMPLE "${PROJECT_SOURCE_DIR}/examples/frame_info.c")
if(TARGET RaveloEncodeC)
    ravelo_manual(libravelo-encode "${PROJECT_SOURCE_DIR}/capi/encode/ravelo_encode.h" ravelo-encode
        SEE_ALSO "libravelo(3)" "ravelo-encode(1)")
endif()
add_custom_target(ravelo_manuals ALL DEPENDS ${manualStamps})
install(DIRECTORY "${manualFolder}/man3" DESTINATION "${CMAKE_INSTALL_MANDIR}" COMPONENT development)
