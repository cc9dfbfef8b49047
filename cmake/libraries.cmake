# The libraries of the embedded server, as `store_libraries`. Besides, the tools' command lines are read by CLI11, JSON
# is written by nlohmann-json and checksums are made by xxHash, which are headers alone.
add_library(xxhash INTERFACE)
target_compile_definitions(xxhash INTERFACE XXH_INLINE_ALL)
if(NOT WIN32)
  find_package(PkgConfig REQUIRED)
  set(store_libraries xxhash)
  foreach(library sqlite3 libzstd libsodium)
    pkg_check_modules(${library} REQUIRED IMPORTED_TARGET ${library})
    list(APPEND store_libraries PkgConfig::${library})
  endforeach()
  # What most calls of a tool do not need: only the headers are used here, and the names by which these are loaded when
  # they are needed (platform/late_library.h). The first two bring more than thirty others, which take three times as
  # long to load as all the rest of a tool.
  foreach(library libcurl libpq nettle expat)
    pkg_check_modules(${library} REQUIRED ${library})
    list(GET ${library}_LINK_LIBRARIES 0 file)
    execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${file} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCH "SONAME +([^ \n]+)" soname "${headers}")
    string(TOUPPER ${library} name)
    string(REPLACE LIB "" name ${name})
    add_library(late_${library} INTERFACE)
    target_include_directories(late_${library} SYSTEM INTERFACE ${${library}_INCLUDE_DIRS})
    target_compile_definitions(late_${library} INTERFACE ${name}_LIBRARY="${CMAKE_MATCH_1}")
    list(APPEND store_libraries late_${library})
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
foreach(library sqlite3 zstd sodium nettle curl expat pq)
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
set(store_libraries xxhash sqlite3 zstd sodium nettle curl expat pq)
