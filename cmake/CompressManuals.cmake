# Debian wants manual pages compressed. cpack runs this between the staging of the files and the making of packages.
find_program(GZIP NAMES gzip REQUIRED)
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_DIRECTORY}/*.1")
list(FILTER pages INCLUDE REGEX "/share/man/man1/")
foreach(page IN LISTS pages)
    execute_process(COMMAND "${GZIP}" -9nf "${page}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
