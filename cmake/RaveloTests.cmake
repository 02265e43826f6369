include_guard(GLOBAL)

# The programs of the suite. All are declared by ravelo_test_program(), so that the headers which they share are compiled
# once for all of them.

find_package(GTest REQUIRED)
find_package(TBB REQUIRED)
include(GoogleTest)

# To optimise a test takes longer than to run it unoptimised; what the tests link is optimised as in the preset. Programs
# whose own loops take the time say OPTIMISED; with the checks of the sanitizers even that does not pay.
set(ravelo_optimisedTest -O1)
if(ravelo_isSanitized)
    set(ravelo_optimisedTest -O0)
endif()

# The library of the precompiled header that programs with the same optimisation share; it holds nothing else.
function(ravelo_test_headers optimisation library)
    set(name ravelo_test_headers${optimisation})
    set(${library} ${name} PARENT_SCOPE)
    if(TARGET ${name})
        return()
    endif()
    set(source "${PROJECT_BINARY_DIR}/${name}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "namespace {}\n")
    add_library(${name} OBJECT "${source}")
    ravelo_test_options(${name} ${optimisation})
    target_link_libraries(${name} PRIVATE GTest::gtest TBB::tbb)
    target_precompile_headers(${name} PRIVATE
        <algorithm> <array> <cstdint> <cstring> <functional> <memory> <random> <span> <sstream> <stdexcept> <string>
        <thread> <vector> <gtest/gtest.h>)
endfunction()

# The optimisation of a test, and the library of the headers that go with it.
function(ravelo_test_level isOptimised optimisation headers)
    set(level -O0)
    if(isOptimised)
        set(level ${ravelo_optimisedTest})
    endif()
    ravelo_test_headers(${level} library)
    set(${optimisation} ${level} PARENT_SCOPE)
    set(${headers} ${library} PARENT_SCOPE)
endfunction()

# Gives a program that is not declared below the headers of the unoptimised ones.
function(ravelo_use_test_headers name)
    ravelo_test_headers(-O0 headers)
    target_precompile_headers(${name} REUSE_FROM ${headers})
endfunction()

# ravelo_test_objects(NAME SOURCES... [LIBRARIES...] [OPTIMISED])
#
# Sources that several programs share, compiled once; the programs name them with OBJECTS.
function(ravelo_test_objects name)
    cmake_parse_arguments(ARG "OPTIMISED" "" "SOURCES;LIBRARIES" ${ARGN})
    ravelo_test_level("${ARG_OPTIMISED}" optimisation headers)
    add_library(${name} OBJECT ${ARG_SOURCES})
    ravelo_test_options(${name} ${optimisation})
    ravelo_unity(${name})
    target_precompile_headers(${name} REUSE_FROM ${headers})
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} TBB::tbb GTest::gtest)
endfunction()

# ravelo_test_program(NAME SOURCES... [OBJECTS...] [PLAIN sources...] [LIBRARIES...] [HEADERS...]
#                     [OPTIMISED] [SEPARATE] [SHARDS n] [COST n])
#
# A program of GoogleTest cases and its entry in the suite. One process runs all cases, since most cases take less time
# than the start of a process; SHARDS cuts a long program into entries that can run side by side. With SEPARATE each case
# is an entry with its own process, for cases that depend on what the process has done before. COST orders the entries:
# higher ones start first. PLAIN lists the sources with options of their own, which cannot share the precompiled header.
# HEADERS names what a program precompiles for itself instead, where its units share heavier headers.
function(ravelo_test_program name)
    cmake_parse_arguments(ARG "OPTIMISED;SEPARATE" "SHARDS;COST" "SOURCES;OBJECTS;LIBRARIES;PLAIN;HEADERS" ${ARGN})
    ravelo_test_level("${ARG_OPTIMISED}" optimisation headers)

    list(TRANSFORM ARG_OBJECTS REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>")
    add_executable(${name} ${ARG_SOURCES} ${ARG_PLAIN} ${ARG_OBJECTS})
    ravelo_test_options(${name} ${optimisation})
    if(ARG_HEADERS)
        target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
    else()
        target_precompile_headers(${name} REUSE_FROM ${headers})
    endif()
    set_source_files_properties(${ARG_PLAIN} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} TBB::tbb GTest::gtest GTest::gtest_main)

    ravelo_unity(${name})

    if(NOT ARG_COST)
        set(ARG_COST 1)
    endif()
    if(ARG_SEPARATE)
        gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES COST ${ARG_COST})
    else()
        ravelo_add_shards(${name} "${ARG_SHARDS}" ${ARG_COST})
    endif()
endfunction()

function(ravelo_add_shards name numShards cost)
    if(NOT numShards)
        set(numShards 1)
    endif()
    math(EXPR last "${numShards} - 1")
    foreach(shard RANGE ${last})
        set(entry ${name})
        if(numShards GREATER 1)
            math(EXPR number "${shard} + 1")
            set(entry ${name}.${number}of${numShards})
        endif()
        add_test(NAME ${entry} COMMAND ${name} --gtest_brief=1)
        set_tests_properties(${entry} PROPERTIES COST ${cost}
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${numShards};GTEST_SHARD_INDEX=${shard}")
    endforeach()
endfunction()
