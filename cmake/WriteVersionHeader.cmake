# Writes the library's version header. Run at every build as
#   cmake -DSOURCE_DIR=... -DOUTPUT=... -DVERSION=major.minor.patch -P WriteVersionHeader.cmake
# The source revision is the commit the source tree is checked out at, when
# the tree is a git checkout of its own (not a directory inside some other
# repository), followed by "-modified" when it holds uncommitted changes.
set(revision "")
find_program(GIT git)
if(GIT)
  execute_process(COMMAND ${GIT} -C ${SOURCE_DIR} rev-parse --show-toplevel
    OUTPUT_VARIABLE top OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed ERROR_QUIET)
  if(NOT failed AND top)
    file(REAL_PATH ${top} top)
    file(REAL_PATH ${SOURCE_DIR} source)
  endif()
  if(NOT failed AND top STREQUAL source)
    execute_process(COMMAND ${GIT} -C ${SOURCE_DIR} rev-parse --short=12 HEAD
      OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    execute_process(COMMAND ${GIT} --no-optional-locks -C ${SOURCE_DIR} diff --quiet HEAD --
      RESULT_VARIABLE modified OUTPUT_QUIET ERROR_QUIET)
    if(revision AND modified)
      string(APPEND revision "-modified")
    endif()
  endif()
endif()

string(REPLACE "." ";" parts "${VERSION}")
list(GET parts 0 CORELIB_VERSION_MAJOR)
list(GET parts 1 CORELIB_VERSION_MINOR)
list(GET parts 2 CORELIB_VERSION_PATCH)
set(CORELIB_VERSION_STRING ${VERSION})
set(CORELIB_VERSION_REVISION "${revision}")
# configure_file leaves the output untouched when its text is unchanged.
configure_file(${CMAKE_CURRENT_LIST_DIR}/LibraryVersion.h.in ${OUTPUT} @ONLY)
