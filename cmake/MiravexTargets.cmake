# The two targets that every folder adds its sources to, and what all targets share.

# Warnings, sanitizers and the include path of one target.
function(miravex_options target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Werror
    -Wno-missing-field-initializers)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # GCC, which everything but the fuzzers is built with, counts it as a warning of its own.
    target_compile_options(${target} PRIVATE -Wno-sign-conversion)
  endif()
  if(MIRAVEX_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${MIRAVEX_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${MIRAVEX_SANITIZE})
  endif()
endfunction()

# The shared library: frame, exchange and the rooms.
add_library(miravex SHARED)
add_library(Miravex::miravex ALIAS miravex)
miravex_options(miravex)
target_include_directories(miravex INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(miravex PRIVATE ${OpenCV_LIBS} Threads::Threads)
target_link_options(miravex PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/frame/exports.map -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(NOT MIRAVEX_SANITIZE)
  target_link_options(miravex PRIVATE -Wl,-z,defs)
endif()
set_property(TARGET miravex PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/frame/exports.map)

# The embedded host: catalogue records of all rooms and everything that calls the library.
add_library(miravex_host STATIC)
miravex_options(miravex_host)
target_include_directories(miravex_host PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(miravex_host
  PUBLIC ${OpenCV_LIBS} fmt::fmt nlohmann_json::nlohmann_json Threads::Threads ${CMAKE_DL_LIBS})
# Relative to whatever looks for the library, so that the installed tree may be moved.
file(RELATIVE_PATH MIRAVEX_LIBRARY_FROM_BINARIES ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
target_compile_definitions(miravex_host PRIVATE
  MIRAVEX_LIBRARY_FROM_BINARIES="${MIRAVEX_LIBRARY_FROM_BINARIES}")
add_dependencies(miravex_host miravex)
