include_guard(GLOBAL)

# Language level, warnings and floating-point rules of every target of the project.
#
# Contraction is off everywhere: where the decoder means a fused operation it is written as one, so the compiler must not
# make others.
function(ravelo_target_defaults target)
    target_compile_features(${target} PRIVATE cxx_std_20 c_std_99)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wvla)
    if(RAVELO_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# Compiles a target several sources at a time, so that its headers are read and its templates are made less often. Sources
# with options of their own stay alone. Presets that are for work on single units turn this off, and so see that each unit
# includes what it uses.
#
# Large units take the least time from nothing. A build with tests is repeated after every change, so its units are small.
#
#   ravelo_unity(TARGET)                       all sources
#   ravelo_unity(TARGET GROUP NAME SOURCE...)  these sources
function(ravelo_unity target)
    cmake_parse_arguments(ARG "" "" "GROUP" ${ARGN})
    set(size 25)
    if(RAVELO_TESTS)
        set(size 8)
    endif()
    if(RAVELO_UNITY)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${size})
        if(ARG_GROUP)
            list(POP_FRONT ARG_GROUP group)
            set_source_files_properties(${ARG_GROUP} PROPERTIES UNITY_GROUP ${group})
            set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
        endif()
        # g++ treats the units as headers, whose names would be visible to others.
        target_compile_options(${target} PRIVATE "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>")
    endif()
endfunction()

# Warns of conversions that may change a value, in what ships.
function(ravelo_warn_of_conversions target)
    target_compile_options(${target} PRIVATE -Wconversion -Wsign-conversion)
endfunction()

# Gives single sources of an object library the instructions of their variant. The properties are set where the target
# is made, since a source property set elsewhere is silently lost.
function(ravelo_source_instructions)
    cmake_parse_arguments(ARG "" "" "FLAGS;SOURCES" ${ARGN})
    set_source_files_properties(${ARG_SOURCES} PROPERTIES COMPILE_OPTIONS "${ARG_FLAGS}")
endfunction()

# Whether a sanitizer checks this build, whose checks take their own time to compile and to run.
set(ravelo_isSanitized OFF)
if("${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize=")
    set(ravelo_isSanitized ON)
endif()

# Code that only tests: programs of the suite, what they share, and replays of the fuzzers. The optimisation is a flag, or
# empty for that of the preset.
#
# In preset asan this code goes without the checks for null and misaligned addresses and for variables whose scope has
# ended, which take a third of the time to compile it. What it links has them all, and preset ubsan has those for addresses
# here too.
function(ravelo_test_options target optimisation)
    ravelo_target_defaults(${target})
    # Left to the compiler's default, since the flags of a library and of a program would differ.
    set_property(TARGET ${target} PROPERTY POSITION_INDEPENDENT_CODE)
    # With a precompiled header g++ 12 no longer knows that std::string is the system's, and takes its copies for mistakes.
    target_compile_options(${target} PRIVATE "$<$<CONFIG:Release,RelWithDebInfo>:${optimisation}>"
        "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow>")
    if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
        target_compile_options(${target} PRIVATE "$<$<CXX_COMPILER_ID:GNU>:-fno-sanitize-address-use-after-scope>"
            "$<$<CXX_COMPILER_ID:GNU>:-fno-sanitize=null,alignment,object-size,vptr>")
    endif()
endfunction()
