# Runs when cpack has staged the packages: what is different in those of one kind.
set(staged ${CPACK_TEMPORARY_DIRECTORY})
if(CPACK_GENERATOR STREQUAL "DEB")
  # Nothing else that is installed has a use for lintian's overrides.
  set(directory ${staged}/zanctl-sim/usr/share/lintian/overrides)
  file(MAKE_DIRECTORY ${directory})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/deb/zanctl-sim.overrides ${directory}/zanctl-sim COPYONLY
    NO_SOURCE_PERMISSIONS)
else()
  # Where zsh looks on systems that are not Debian's.
  file(GLOB directories ${staged}/*/usr/share/zsh)
  foreach(directory IN LISTS directories)
    file(RENAME ${directory}/vendor-completions ${directory}/site-functions)
  endforeach()
endif()
