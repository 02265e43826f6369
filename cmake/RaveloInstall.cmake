# What is installed. Included by the root after all targets are there. The folder debian/ makes packages of it.
#
# Components: `runtime` (shared libraries), `development` (headers, their manual pages, static libraries, package files),
# `tools` (the command) and `python` (the module); the last two install themselves.
include(CMakePackageConfigHelpers)

# Calls and data of the library carry a version, so that a later, incompatible library can be loaded into the same process.
# All symbols stay exported.
set(RAVELO_VERSION_SCRIPT "${PROJECT_SOURCE_DIR}/cmake/RaveloOpt.map")
target_link_options(RaveloOpt PRIVATE "-Wl,--version-script=${RAVELO_VERSION_SCRIPT}")
set_property(TARGET RaveloOpt APPEND PROPERTY LINK_DEPENDS "${RAVELO_VERSION_SCRIPT}")

# As a part of another project the library installs nothing.
if(NOT PROJECT_IS_TOP_LEVEL)
    return()
endif()

set(RAVELO_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/RaveloOpt")
get_directory_property(publicHeaders DIRECTORY "${PROJECT_SOURCE_DIR}/decoder" DEFINITION RAVELO_PUBLIC_HEADERS)
get_directory_property(cHeaders DIRECTORY "${PROJECT_SOURCE_DIR}/capi" DEFINITION RAVELO_C_HEADERS)

function(ravelo_install_target target export component exportName)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${exportName})
    install(TARGETS ${target} EXPORT ${export}
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${component} NAMELINK_COMPONENT development
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
endfunction()

# The libraries, one export for each component of the CMake package.
set_target_properties(RaveloOptStatic PROPERTIES OUTPUT_NAME RaveloOpt)
ravelo_install_target(RaveloOpt RaveloOptLibrary runtime RaveloOpt)
ravelo_install_target(RaveloOptStatic RaveloOptLibrary development RaveloOptStatic)
ravelo_install_target(RaveloC RaveloOptC runtime C)
ravelo_install_target(RaveloCStatic RaveloOptC development CStatic)
set(RAVELO_EXPORTS RaveloOptLibrary RaveloOptC)

list(TRANSFORM publicHeaders PREPEND "${PROJECT_SOURCE_DIR}/decoder/")
install(FILES ${publicHeaders} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/RaveloOpt" COMPONENT development)
install(FILES ${cHeaders} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)

if(TARGET RaveloEncoder)
    target_include_directories(RaveloEncoder INTERFACE
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/RaveloOpt/encoder>)
    get_target_property(encoderIncludes RaveloEncoder INTERFACE_INCLUDE_DIRECTORIES)
    # The sources' own folder is for the build alone; an installed target may not name it.
    list(REMOVE_ITEM encoderIncludes "${PROJECT_SOURCE_DIR}/encoder")
    set_target_properties(RaveloEncoder PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/encoder>;${encoderIncludes}"
        INTERFACE_COMPILE_FEATURES cxx_std_20)
    ravelo_install_target(RaveloEncoder RaveloOptEncoder development Encoder)
    list(APPEND RAVELO_EXPORTS RaveloOptEncoder)
    install(FILES
        "${PROJECT_SOURCE_DIR}/encoder/AlphaCoding.h"
        "${PROJECT_SOURCE_DIR}/encoder/FrameEncoder.h"
        "${PROJECT_SOURCE_DIR}/encoder/SourcePicture.h"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/RaveloOpt/encoder" COMPONENT development)
endif()

if(TARGET RaveloEncodeC)
    ravelo_install_target(RaveloEncodeC RaveloOptEncodeC runtime EncodeC)
    ravelo_install_target(RaveloEncodeCStatic RaveloOptEncodeC development EncodeCStatic)
    list(APPEND RAVELO_EXPORTS RaveloOptEncodeC)
    install(FILES "${PROJECT_SOURCE_DIR}/capi/encode/ravelo_encode.h"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
endif()

foreach(export IN LISTS RAVELO_EXPORTS)
    install(EXPORT ${export} NAMESPACE RaveloOpt:: DESTINATION "${RAVELO_PACKAGE_DIR}" COMPONENT development)
endforeach()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/RaveloOptConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/RaveloOptConfig.cmake" INSTALL_DESTINATION "${RAVELO_PACKAGE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/RaveloOptConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/RaveloOptConfig.cmake" "${PROJECT_BINARY_DIR}/RaveloOptConfigVersion.cmake"
    DESTINATION "${RAVELO_PACKAGE_DIR}" COMPONENT development)

# pkg-config finds the prefix from the place of the file, so the tree can be moved.
file(RELATIVE_PATH RAVELO_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" RAVELO_PC_PREFIX "${RAVELO_PC_PREFIX}")
set(packages raveloopt ravelo)
if(TARGET RaveloEncodeC)
    list(APPEND packages ravelo-encode)
endif()
foreach(package IN LISTS packages)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in" "${PROJECT_BINARY_DIR}/${package}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${package}.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
endforeach()
