# For programs in C that use the library: makes the header of its interface and the list of its
# operations of those that the simulated library is built from.
set(interface_of ${PROJECT_SOURCE_DIR}/src/zanml)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${interface_of}/zanml.h ${interface_of}/operations.h)
file(READ ${interface_of}/zanml.h interface)
string(REGEX REPLACE "^.*// NOLINTBEGIN[^\n]*\n" "" interface "${interface}")
string(REGEX REPLACE "// NOLINTEND.*$" "" interface "${interface}")
string(REGEX REPLACE "using ([A-Za-z_]+) = ([^;]+);" "typedef \\2 \\1;" interface "${interface}")
string(REGEX REPLACE "enum ([A-Za-z_0-9]+) : int {([^}]*)}" "typedef enum \\1 {\\2} \\1"
  interface "${interface}")
string(REGEX REPLACE "(struct|union) ([A-Za-z_0-9]+) {([^}]*)}" "typedef \\1 \\2 {\\3} \\2"
  interface "${interface}")
string(REGEX REPLACE "constexpr unsigned int ([A-Za-z]+) = ([0-9]+);" "enum { \\1 = \\2 };"
  interface "${interface}")
string(REPLACE "()" "(void)" interface "${interface}")
set(header ${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_INCLUDEDIR}/zansim/zanml.h)
configure_file(library/zanml.h.in ${header} @ONLY)

file(READ ${interface_of}/operations.h list)
string(REGEX MATCHALL "X\\([A-Za-z_0-9]+\\)" operations "${list}")
list(TRANSFORM operations REPLACE "X\\((.*)\\)" "\\1")
list(REMOVE_ITEM operations X)
list(JOIN operations "\n" operations)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${ZANSIM_DATADIR}/operations CONTENT "${operations}\n")

install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zansim COMPONENT zanctl-sim)
install(FILES ${CMAKE_BINARY_DIR}/${ZANSIM_DATADIR}/operations
  DESTINATION ${ZANSIM_DATADIR} COMPONENT zanctl-sim)
