# Puts lintian's overrides into the staged .deb; nothing else that is installed has a use for them.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(directory ${CPACK_TEMPORARY_DIRECTORY}/zanctl-sim/usr/share/lintian/overrides)
  file(MAKE_DIRECTORY ${directory})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/zanctl-sim.overrides ${directory}/zanctl-sim COPYONLY
    NO_SOURCE_PERMISSIONS)
endif()
