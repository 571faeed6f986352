# Read by cpack when it runs, once the package directory (its -B option) is
# known: dpkg-shlibdeps finds the tool's own library in the runtime package's
# staging tree below that directory.
if(CPACK_GENERATOR STREQUAL "DEB" AND CPACK_CORELIB_RUNTIME_LIBDIR)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${CPACK_PACKAGE_DIRECTORY}/_CPack_Packages/${CPACK_TOPLEVEL_TAG}/DEB/${CPACK_PACKAGE_FILE_NAME}/runtime/${CPACK_CORELIB_RUNTIME_LIBDIR}")
endif()
