# Checks, before anything is built, for what the build needs and is not part
# of the compiler, and names the Debian package that provides each one.
function(corelib_require what found package)
  if(NOT ${found})
    message(FATAL_ERROR "${what} not found: install the Debian package '${package}' "
      "(apt-get install ${package}, or scripts/install-deps for everything the build and tests use)")
  endif()
endfunction()

if(CORELIB_BUILD_TESTS)
  # The XML reader's tests and fuzz target compare it with rapidxml, a
  # header-only library.
  find_path(CORELIB_RAPIDXML_INCLUDE_DIR rapidxml/rapidxml.hpp)
  corelib_require("rapidxml headers (rapidxml/rapidxml.hpp)" CORELIB_RAPIDXML_INCLUDE_DIR librapidxml-dev)
  # The suite builds GoogleTest from its Debian source tree, for every target.
  set(CORELIB_GOOGLETEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest source tree")
  if(EXISTS ${CORELIB_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt)
    set(corelib_have_googletest ON)
  endif()
  corelib_require("GoogleTest sources (${CORELIB_GOOGLETEST_SOURCE_DIR})" corelib_have_googletest googletest)
  find_program(CORELIB_DOXYGEN doxygen)
  corelib_require("doxygen (the API reference is checked by the tests)" CORELIB_DOXYGEN doxygen)
endif()

if(CORELIB_BUILD_TOOLS)
  # The tool's manual page is made from its own --help.
  find_program(CORELIB_HELP2MAN help2man)
  corelib_require("help2man (makes the guidance manual page)" CORELIB_HELP2MAN help2man)
  find_program(CORELIB_GZIP gzip)
  corelib_require("gzip" CORELIB_GZIP gzip)
endif()
