# Whether the Python module is built: by default where its packages are installed, but neither in a subproject nor with
# sanitizers or counters, which the interpreter does not load by itself.
#
# The interpreter is the system's, since the module is installed for it; a machine may have others in its PATH.
set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The interpreter that the Python module is built for")

# In a cross build the search does not ask the interpreter, which the emulator runs or which has been told what is built for.
if(CMAKE_CROSSCOMPILING AND NOT DEFINED Python3_INCLUDE_DIR)
    execute_process(COMMAND "${Python3_EXECUTABLE}" -c "import sysconfig; print(sysconfig.get_path('include'), end='')"
        OUTPUT_VARIABLE includeFolder ERROR_QUIET)
    set(Python3_INCLUDE_DIR "${includeFolder}" CACHE PATH "The folder of Python.h")
endif()
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
    if(CMAKE_CROSSCOMPILING)
        execute_process(COMMAND "${Python3_EXECUTABLE}" -c "import sysconfig; print(sysconfig.get_config_var('SOABI'), end='')"
            OUTPUT_VARIABLE Python3_SOABI COMMAND_ERROR_IS_FATAL ANY)
    endif()
endif()
