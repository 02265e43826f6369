# Whether the Python module is built: by default where its packages are installed, but neither in a subproject nor with
# sanitizers or counters, which the interpreter does not load by itself.
#
# The interpreter is the system's, since the module is installed for it; a machine may have others in its PATH.
set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The interpreter that the Python module is built for")
set(canBuildPython OFF)
if(RAVELO_DEVELOPER AND PROJECT_IS_TOP_LEVEL AND NOT "${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize=|--coverage")
    find_package(Python3 QUIET COMPONENTS Interpreter Development.Module NumPy)
    find_package(pybind11 QUIET)
    if(Python3_FOUND AND pybind11_FOUND)
        set(canBuildPython ON)
    endif()
endif()
option(RAVELO_PYTHON "Build the Python module; needs RAVELO_DEVELOPER" ${canBuildPython})
if(RAVELO_PYTHON)
    find_package(Python3 REQUIRED COMPONENTS Interpreter Development.Module NumPy)
    find_package(pybind11 REQUIRED)
endif()
