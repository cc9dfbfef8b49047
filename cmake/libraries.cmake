# The libraries of the embedded server, as `store_libraries`.
if(NOT WIN32)
  find_package(PkgConfig REQUIRED)
  set(store_libraries "")
  foreach(library sqlite3 libzstd libxxhash)
    pkg_check_modules(${library} REQUIRED IMPORTED_TARGET ${library})
    list(APPEND store_libraries PkgConfig::${library})
  endforeach()
  return()
endif()

# Made here unless they are there.
execute_process(COMMAND ${CMAKE_SOURCE_DIR}/cmake/windows-libraries.sh COMMAND_ERROR_IS_FATAL ANY)
set(libraries_folder ${CMAKE_SOURCE_DIR}/build/windows-libraries)
foreach(library sqlite3 zstd xxhash)
  add_library(${library} STATIC IMPORTED)
  set_target_properties(${library} PROPERTIES
    IMPORTED_LOCATION ${libraries_folder}/lib/lib${library}.a
    INTERFACE_INCLUDE_DIRECTORIES ${libraries_folder}/include)
endforeach()
set(store_libraries sqlite3 zstd xxhash)
