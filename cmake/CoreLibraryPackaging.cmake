# Debian packages, one per install component:
#   libcorelibrary1     runtime      the shared library (its SONAME carries the major version)
#   libcorelibrary-dev  development  headers, the CMake package, the pkg-config file
#   guidance            tool         the command-line tool and its manual page
# `cpack -G DEB` in a build configured with CMAKE_INSTALL_PREFIX=/usr makes
# them for the build's architecture; the device build makes them for powerpc.

# Every package carries the licence as its copyright file, the Debian change
# log compressed the way Debian policy asks, and its lintian overrides.
set(CORELIB_DEBIAN_CHANGELOG ${PROJECT_BINARY_DIR}/changelog.Debian)
string(TIMESTAMP corelib_package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PROJECT_SOURCE_DIR}/cmake/changelog.Debian.in ${CORELIB_DEBIAN_CHANGELOG} @ONLY)
execute_process(COMMAND gzip -9nf ${CORELIB_DEBIAN_CHANGELOG} COMMAND_ERROR_IS_FATAL ANY)

set(corelib_components runtime development)
set(corelib_package_runtime libcorelibrary${PROJECT_VERSION_MAJOR})
set(corelib_package_development libcorelibrary-dev)
if(CORELIB_BUILD_TOOLS)
  list(APPEND corelib_components tool)
  set(corelib_package_tool guidance)
endif()
foreach(component IN LISTS corelib_components)
  set(doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/${corelib_package_${component}})
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${doc} RENAME copyright COMPONENT ${component})
  install(FILES ${CORELIB_DEBIAN_CHANGELOG}.gz DESTINATION ${doc} COMPONENT ${component})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/lintian-overrides
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME ${corelib_package_${component}}
    COMPONENT ${component})
endforeach()

set(CPACK_PACKAGE_NAME corelibrary)
set(CPACK_PACKAGE_VENDOR "The libCoreLibrary developers")
set(CPACK_PACKAGE_CONTACT "The libCoreLibrary developers <corelib@example.org>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${corelib_components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://corelib.example.org/")
if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps reads the dependencies of the host's libraries from the
  # package database, which holds none for the device's architecture; these
  # are the versions it derives for the host build of the same code.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE powerpc)
  set(corelib_system_depends "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 11)")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${corelib_system_depends}")
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${corelib_system_depends}")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The tool's own library is found in the runtime package's staging tree,
  # which lies below whatever package directory cpack is given (-B); the
  # options file places it there when cpack runs.
  set(CPACK_CORELIB_RUNTIME_LIBDIR usr/${CMAKE_INSTALL_LIBDIR})
  set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/CoreLibraryCPackOptions.cmake)
endif()
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${corelib_package_runtime})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# The linker cache is updated through dpkg's ldconfig trigger.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "core library of the guidance device
libCoreLibrary reads satellite positioning from serial ports, computes
guidance geometry (cross-track distance to a guidance line, parallel
passes), records data in files that survive power loss, and exports logs
and KML. This package holds the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${corelib_package_development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "core library of the guidance device - development files
libCoreLibrary reads satellite positioning from serial ports, computes
guidance geometry, records data in files that survive power loss, and
exports logs and KML. This package holds the C++17 headers, the CMake
package (find_package(CoreLibrary)) and the pkg-config file.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME guidance)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOL_DEPENDS runtime)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "command-line tool driving the guidance device's core library
guidance reads positioning sentences from files, standard input or serial
ports, measures each fix against a field's guidance line and its parallel
passes, records the results in files that survive power loss, and writes a
KML track and a summary. It can also simulate a drive over a field.")

include(CPack)
