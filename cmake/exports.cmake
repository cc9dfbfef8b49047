# The executable exports the functions of the common library under the names in src/common/exports.txt, and
# nothing else. All of them are linked in, whether the program calls them or not.
set(exports_list ${CMAKE_SOURCE_DIR}/src/common/exports.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports_list})
file(STRINGS ${exports_list} exported_names)

target_sources(backint PRIVATE $<TARGET_OBJECTS:common>)

if(WIN32)
  list(JOIN exported_names "\n" names)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/backint.def CONTENT "EXPORTS\n@names@\n" @ONLY)
  target_sources(backint PRIVATE ${CMAKE_BINARY_DIR}/backint.def)
  # Makes the import library too.
  set_target_properties(backint PROPERTIES ENABLE_EXPORTS ON)
else()
  # What the header turns `wcslcpy` and `wcslcat` into, for modules that were compiled with it.
  list(JOIN exported_names "; " names)
  string(APPEND names "; cm_wcslcpy; cm_wcslcat")
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/exports.list CONTENT "{ @names@; };\n" @ONLY)
  # What an executable exports takes the place of a library's function of the same name, in the whole process.
  # A C library may have these two for its own, wider characters: with a version of our own nobody who was
  # linked against that library gets ours.
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/exports.map
    CONTENT "BACKINT_1 { global: wcslcpy; wcslcat; local: _Z*; };\n" @ONLY)
  target_link_options(backint PRIVATE
    LINKER:--defsym=wcslcpy=cm_wcslcpy LINKER:--defsym=wcslcat=cm_wcslcat
    LINKER:--dynamic-list=${CMAKE_BINARY_DIR}/exports.list
    LINKER:--version-script=${CMAKE_BINARY_DIR}/exports.map)
  set_property(TARGET backint APPEND PROPERTY LINK_DEPENDS
    ${CMAKE_BINARY_DIR}/exports.list ${CMAKE_BINARY_DIR}/exports.map)
endif()
