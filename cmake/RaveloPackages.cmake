# Debian packages, made by `cpack` in the build folder: libraveloopt1, libraveloopt-dev and raveloopt-tools.
set(RAVELO_PACKAGE_CONTACT "RaveloOpt developers <raveloopt@example.org>" CACHE STRING "Who answers for the packages")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME raveloopt)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${RAVELO_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET ravelo)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The command's own libraries are in a package that is not installed yet; it is named below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/decoder" "${PROJECT_BINARY_DIR}/capi"
    "${PROJECT_BINARY_DIR}/capi/encode")
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/CompressManuals.cmake")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "libraveloopt${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The system's table of libraries is renewed after packages come and go.
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
# What the libraries of the C interface export since which version.
file(READ "${PROJECT_SOURCE_DIR}/capi/libravelo.symbols" symbols)
if(TARGET RaveloEncodeC)
    file(READ "${PROJECT_SOURCE_DIR}/capi/encode/libravelo-encode.symbols" encodeSymbols)
    string(APPEND symbols "${encodeSymbols}")
endif()
file(WRITE "${PROJECT_BINARY_DIR}/debian/symbols" "${symbols}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    "${PROJECT_BINARY_DIR}/debian/triggers" "${PROJECT_BINARY_DIR}/debian/symbols")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"Shared libraries with a C++ and a C interface. They decode frames at full,
 half, quarter or eighth size, as YCbCr or RGB in 8 to 16 bits.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libraveloopt-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libtbb-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"Headers, static libraries and package files for programs that decode or
 encode Ravelo frames.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME raveloopt-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (>= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"The command ravelo, its manual pages and completions. It turns pictures
 into frames and frames into pictures, and inspects them.")

# Every package carries the licence and a change log where Debian looks for them.
set(debianFolder "${PROJECT_BINARY_DIR}/debian")
file(MAKE_DIRECTORY "${debianFolder}")
configure_file("${PROJECT_SOURCE_DIR}/LICENSE" "${debianFolder}/copyright" COPYONLY)
file(WRITE "${debianFolder}/changelog.Debian"
"raveloopt (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}; see CHANGELOG.md of the sources.

 -- ${CPACK_PACKAGE_CONTACT}  Thu, 01 Jan 2026 00:00:00 +0000
")
find_program(RAVELO_GZIP NAMES gzip)
if(RAVELO_GZIP)
    execute_process(COMMAND "${RAVELO_GZIP}" -9nf "${debianFolder}/changelog.Debian")
endif()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" name)
    set(documents "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME}")
    install(FILES "${debianFolder}/copyright" "${debianFolder}/changelog.Debian.gz"
        DESTINATION "${documents}" COMPONENT ${component} OPTIONAL)
endforeach()
include(CPack)
