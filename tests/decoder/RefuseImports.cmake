# Fails when a shared library imports a function with which it could print, write files, or end the process. A library
# in a host's process does none of these. Usage: cmake -DNM=... -DLIBRARY=... [-DINSTRUMENTED=ON] -P this file.
cmake_minimum_required(VERSION 3.25)

if(INSTRUMENTED)
    message("Not looked at: instrumented builds import the reports of their runtime.")
    return()
endif()
set(refused
    exit _exit _Exit quick_exit at_quick_exit abort raise kill __assert_fail __assert
    printf fprintf vprintf vfprintf __printf_chk __fprintf_chk __vprintf_chk __vfprintf_chk dprintf vdprintf
    puts putchar putc fputs fputc fwrite write perror syslog fopen fopen64 open open64 creat
    stdout stderr _ZSt4cout _ZSt4cerr _ZSt4clog)
execute_process(COMMAND "${NM}" -D --undefined-only "${LIBRARY}" OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[UwvW] [^\n@ ]+" imports "${symbols}")
list(TRANSFORM imports REPLACE "^[UwvW] " "")
list(LENGTH imports numImports)
if(numImports EQUAL 0)
    message(FATAL_ERROR "${LIBRARY} seems to import nothing at all")
endif()
set(found "")
foreach(import IN LISTS imports)
    if(import IN_LIST refused OR import MATCHES "basic_ostream|basic_filebuf|8ios_base4Init")
        list(APPEND found "${import}")
    endif()
endforeach()
foreach(import IN LISTS found)
    message("Refused import: ${import}")
endforeach()
if(found)
    message(FATAL_ERROR "${LIBRARY} imports what a library must not use.")
endif()
message(STATUS "${numImports} imports, none of which prints or ends the process")
