# The targets that the folders add their sources to, and what all targets share.

# Warnings, sanitizers and the include path of one target.
function(miravex_options target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Werror
    -Wno-missing-field-initializers)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # GCC, which everything but the fuzzers is built with, counts it as a warning of its own.
    target_compile_options(${target} PRIVATE -Wno-sign-conversion)
  endif()
  if(MIRAVEX_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${MIRAVEX_SANITIZE} -fno-omit-frame-pointer)
    # Only GCC has macros that say it.
    target_compile_definitions(${target} PRIVATE MIRAVEX_SANITIZED)
    target_link_options(${target} PRIVATE -fsanitize=${MIRAVEX_SANITIZE})
  endif()
endfunction()

# Adds all sources of the current folder to a target, so that a new file needs no line anywhere.
function(miravex_sources target)
  cmake_parse_arguments(ARG "" "" "EXCEPT" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "\\.record\\.cpp$")
  foreach(exception ${ARG_EXCEPT})
    list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/${exception})
  endforeach()
  target_sources(${target} PRIVATE ${sources})
endfunction()

# A room of operations: code goes to the library, but for what is named after READERS, which goes to its second
# part; records go to the catalogue.
function(miravex_room)
  cmake_parse_arguments(ARG "" "" "EXCEPT;READERS" ${ARGN})
  miravex_sources(miravex EXCEPT ${ARG_EXCEPT} ${ARG_READERS})
  list(TRANSFORM ARG_READERS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(miravex_readers_parts PRIVATE ${ARG_READERS})
  file(GLOB records CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.record.cpp)
  target_sources(miravex_catalog PRIVATE ${records})
endfunction()

# OpenCV's modules that compute, with some 30 libraries behind them. The others (${OpenCV_LIBS} is all) read
# files and bring 200 more.
set(MIRAVEX_OPENCV_COMPUTING opencv_core opencv_imgproc opencv_features2d opencv_flann opencv_objdetect
  opencv_calib3d opencv_photo opencv_video opencv_dnn)

# Whatever is built is linked to what it uses and no more.
add_link_options(-Wl,--as-needed)

# Exactly the exports that a version script names, and hardened.
function(miravex_exports target script)
  target_link_options(${target} PRIVATE
    -Wl,--version-script=${script} -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
  if(NOT MIRAVEX_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  set_property(TARGET ${target} PROPERTY LINK_DEPENDS ${script})
endfunction()

# The name and number of a shared library that others may be linked to: libmiravex.so.1.0.0, found by its links
# libmiravex.so.1, which programs remember, and libmiravex.so. The project's version is the only number.
function(miravex_versioned target)
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()

# The shared library: abi, convert and the operations of all rooms.
add_library(miravex SHARED)
add_library(Miravex::miravex ALIAS miravex)
miravex_options(miravex)
miravex_exports(miravex ${PROJECT_SOURCE_DIR}/abi/exports.map)
miravex_versioned(miravex)
target_compile_definitions(miravex PRIVATE MIRAVEX_VERSION="${PROJECT_VERSION}"
  MIRAVEX_SOVERSION="${PROJECT_VERSION_MAJOR}")
target_include_directories(miravex INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(miravex PRIVATE ${MIRAVEX_OPENCV_COMPUTING} Threads::Threads ${CMAKE_DL_LIBS})

# Its second part, which it loads from its own folder when files are to be read.
add_library(miravex_readers_parts OBJECT)
miravex_options(miravex_readers_parts)
target_compile_definitions(miravex_readers_parts PRIVATE MIRAVEX_VERSION="${PROJECT_VERSION}")
target_link_libraries(miravex_readers_parts PUBLIC ${OpenCV_LIBS} Threads::Threads)
add_library(miravex_readers SHARED)
miravex_options(miravex_readers)
miravex_versioned(miravex_readers)
miravex_exports(miravex_readers ${PROJECT_SOURCE_DIR}/readers/exports.map)
target_link_libraries(miravex_readers PRIVATE miravex_readers_parts)
add_dependencies(miravex miravex_readers)

# The records of all operations, and what is said and checked by them.
add_library(miravex_catalog STATIC)
miravex_options(miravex_catalog)
target_link_libraries(miravex_catalog PUBLIC opencv_core fmt::fmt nlohmann_json::nlohmann_json)

# The embedded host: everything that calls the library.
add_library(miravex_host_core STATIC)
miravex_options(miravex_host_core)
target_link_libraries(miravex_host_core PUBLIC miravex_catalog Threads::Threads ${CMAKE_DL_LIBS})
# Relative to whatever looks for the library, so that the installed tree may be moved.
file(RELATIVE_PATH MIRAVEX_LIBRARY_FROM_BINARIES ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
target_compile_definitions(miravex_host_core PRIVATE
  MIRAVEX_LIBRARY_FROM_BINARIES="${MIRAVEX_LIBRARY_FROM_BINARIES}" MIRAVEX_SOVERSION="${PROJECT_VERSION_MAJOR}")
add_dependencies(miravex_host_core miravex)
