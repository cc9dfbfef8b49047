# The libraries of the embedded server, as `store_libraries`. Besides, the tools' command lines are read by CLI11, and
# JSON is written by nlohmann-json, which are headers alone.
if(NOT WIN32)
  find_package(PkgConfig REQUIRED)
  set(store_libraries "")
  foreach(library sqlite3 libzstd libxxhash libsodium nettle libcurl expat libpq)
    pkg_check_modules(${library} REQUIRED IMPORTED_TARGET ${library})
    list(APPEND store_libraries PkgConfig::${library})
  endforeach()
  return()
endif()

# Made here unless they are there.
execute_process(COMMAND ${CMAKE_SOURCE_DIR}/cmake/windows-libraries.sh COMMAND_ERROR_IS_FATAL ANY)
set(libraries_folder ${CMAKE_SOURCE_DIR}/build/windows-libraries)
if(NOT EXISTS /usr/include/nlohmann)
  message(FATAL_ERROR "The headers of nlohmann-json are missing: apt-get install --no-install-recommends nlohmann-json3-dev")
endif()
file(COPY /usr/include/nlohmann DESTINATION ${libraries_folder}/include)
foreach(library sqlite3 zstd xxhash sodium nettle curl expat pq)
  add_library(${library} STATIC IMPORTED)
  set_target_properties(${library} PROPERTIES
    IMPORTED_LOCATION ${libraries_folder}/lib/lib${library}.a
    INTERFACE_INCLUDE_DIRECTORIES ${libraries_folder}/include)
endforeach()
set_property(TARGET sodium PROPERTY INTERFACE_COMPILE_DEFINITIONS SODIUM_STATIC=1)
set_property(TARGET curl PROPERTY INTERFACE_COMPILE_DEFINITIONS CURL_STATICLIB)
set_property(TARGET curl PROPERTY INTERFACE_LINK_LIBRARIES ws2_32 crypt32 bcrypt)
set_property(TARGET pq PROPERTY INTERFACE_LINK_LIBRARIES ws2_32 secur32 shell32 advapi32)
set_property(TARGET expat PROPERTY INTERFACE_COMPILE_DEFINITIONS XML_STATIC)
set(store_libraries sqlite3 zstd xxhash sodium nettle curl expat pq)
