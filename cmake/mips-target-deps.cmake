# Target builds of the libraries Debian ships for the workstation only, made
# from Debian's own source packages inside this build tree:
#   Mini-XML   the simulated platform's configuration store (SYS_PLATFORM=sim)
#   zlib       reference CRC-32 of the unit tests
#   GoogleTest the unit tests, from the googletest package's /usr/src tree
# Included right after project(sys) by the MIPS toolchain file, before any
# warning flags or sanitizers are set, so these build as their authors intend.

set(SYS_DEBIAN_SRC_DIR "${CMAKE_BINARY_DIR}/debian-src" CACHE PATH
  "Where Debian source packages for the target libraries are unpacked")
set(SYS_GTEST_SRC_DIR /usr/src/googletest CACHE PATH "GoogleTest sources (Debian package googletest)")

function(sys_debian_source pkg out_var)
  execute_process(
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/debian-source.sh ${pkg} ${SYS_DEBIAN_SRC_DIR}
    OUTPUT_VARIABLE dir OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0 OR NOT IS_DIRECTORY "${dir}")
    message(FATAL_ERROR "could not unpack Debian source package ${pkg} into ${SYS_DEBIAN_SRC_DIR}")
  endif()
  set(${out_var} ${dir} PARENT_SCOPE)
endfunction()

# The program's own C++ runtime support (allocation and libstdc++'s error
# reports without the exception machinery); linked into sys once the top-level
# file has defined it.
add_library(sys_target_runtime OBJECT ${CMAKE_CURRENT_LIST_DIR}/no-exceptions-runtime.cpp)
cmake_language(DEFER CALL target_link_libraries sys PRIVATE sys_target_runtime)

# find_package() finds the targets made here instead of workstation packages.
set(CMAKE_FIND_PACKAGE_REDIRECTS_DIR ${CMAKE_BINARY_DIR}/target-packages)
file(MAKE_DIRECTORY ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR})

if(NOT DEFINED SYS_PLATFORM OR SYS_PLATFORM STREQUAL "sim")
  sys_debian_source(mxml SYS_MXML_SRC)
  file(GLOB SYS_MXML_SOURCES ${SYS_MXML_SRC}/mxml-*.c)
  add_library(sys_target_mxml STATIC ${SYS_MXML_SOURCES})
  # What Mini-XML's configure script finds on glibc 2.36.
  file(WRITE ${CMAKE_BINARY_DIR}/mxml-config/config.h [=[
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <stdarg.h>
#include <ctype.h>
#define MXML_VERSION "Mini-XML v3.3.1"
#define HAVE_LONG_LONG_INT 1
#define HAVE_SNPRINTF 1
#define HAVE_VASPRINTF 1
#define HAVE_VSNPRINTF 1
#define HAVE_STRDUP 1
#define HAVE_PTHREAD_H 1
extern size_t _mxml_strlcat(char *, const char *, size_t);
#define strlcat _mxml_strlcat
extern size_t _mxml_strlcpy(char *, const char *, size_t);
#define strlcpy _mxml_strlcpy
extern char *_mxml_strdupf(const char *, ...);
extern char *_mxml_vstrdupf(const char *, va_list);
]=])
  target_compile_definitions(sys_target_mxml PRIVATE _GNU_SOURCE)
  target_include_directories(sys_target_mxml
    PRIVATE ${CMAKE_BINARY_DIR}/mxml-config
    PUBLIC ${SYS_MXML_SRC})
  find_package(Threads REQUIRED)
  target_link_libraries(sys_target_mxml PUBLIC Threads::Threads)
  # sim/CMakeLists.txt links whatever GWSIM_MXML names; set, it looks no further.
  set(GWSIM_MXML sys_target_mxml CACHE STRING "Mini-XML for the target" FORCE)
endif()

if(NOT DEFINED SYS_TESTS OR SYS_TESTS)
  sys_debian_source(zlib SYS_ZLIB_SRC)
  add_library(sys_target_zlib STATIC
    ${SYS_ZLIB_SRC}/adler32.c ${SYS_ZLIB_SRC}/compress.c ${SYS_ZLIB_SRC}/crc32.c
    ${SYS_ZLIB_SRC}/deflate.c ${SYS_ZLIB_SRC}/infback.c ${SYS_ZLIB_SRC}/inffast.c
    ${SYS_ZLIB_SRC}/inflate.c ${SYS_ZLIB_SRC}/inftrees.c ${SYS_ZLIB_SRC}/trees.c
    ${SYS_ZLIB_SRC}/uncompr.c ${SYS_ZLIB_SRC}/zutil.c)
  target_include_directories(sys_target_zlib PUBLIC ${SYS_ZLIB_SRC})
  add_library(ZLIB::ZLIB ALIAS sys_target_zlib)
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/zlib-config.cmake
    "# zlib is built for the target in this tree (ZLIB::ZLIB).\n")

  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  add_subdirectory(${SYS_GTEST_SRC_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  # GoogleTest's own build defines GTest::gtest and GTest::gtest_main.
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/gtest-config.cmake
    "# GoogleTest is built for the target in this tree (GTest::gtest).\n")
endif()
