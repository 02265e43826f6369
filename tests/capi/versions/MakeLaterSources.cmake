# Copies the sources of the C interfaces from SOURCE and SOURCE/encode to TARGET, as a later version would have them: every structure that may
# grow has one member more.
set(grown_ravelo.h frame_info frame_check damage damage_report decode_options buffer_requirements output)
set(grown_ravelo_encode.h source_picture encode_options encoded_frame)
file(GLOB sources "${SOURCE}/*.cpp" "${SOURCE}/*.h" "${SOURCE}/encode/*.cpp" "${SOURCE}/encode/*.h")
file(MAKE_DIRECTORY "${TARGET}")
foreach(source IN LISTS sources)
    get_filename_component(name "${source}" NAME)
    file(READ "${source}" text)
    foreach(structure IN LISTS grown_${name})
        string(REPLACE "\n} ravelo_${structure};" "\n    uint64_t later_member;\n} ravelo_${structure};" longer "${text}")
        if(longer STREQUAL text)
            message(FATAL_ERROR "${name} has no structure ravelo_${structure}")
        endif()
        set(text "${longer}")
    endforeach()
    # Semicolons and brackets in the text must stay as they are.
    file(WRITE "${TARGET}/${name}" "${text}")
endforeach()
