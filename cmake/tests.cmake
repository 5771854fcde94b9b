# SPDX-License-Identifier: Apache-2.0
# GoogleTest is built from its packaged sources, once for each ABI: the packaged library is native only.
#
# Everything under tests/ and GoogleTest are compiled without optimisation and with line numbers as their only debug
# information, which takes less than half the time; what they test is compiled as it is shipped.
#
# hb_add_test(NAME SOURCES... [LIBS...] [LABELS...] [TIMEOUT...] [PROPERTIES...] [SERIAL FILTER])
#   one test program, linked with GoogleTest's main; each of its tests becomes a ctest test. Those
#   that the GoogleTest filter SERIAL names run with no other test beside them.
set(HB_GTEST_SOURCE "/usr/src/googletest" CACHE PATH "GoogleTest's sources")

function(hb_add_googletest)
  if(TARGET gtest_main)
    return()
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
  add_subdirectory(${HB_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  foreach(target gtest gtest_main gmock gmock_main)
    target_compile_options(${target} PRIVATE -O0 -g0)
    if(HB_SANITIZE)
      target_compile_options(${target} PRIVATE -fsanitize=${HB_SANITIZE} -fno-omit-frame-pointer)
    endif()
  endforeach()
endfunction()

function(hb_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 T "" "TIMEOUT;SERIAL" "SOURCES;LIBS;LABELS;PROPERTIES")
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  if("threads" IN_LIST T_LABELS)
    # What the thread sanitizer's build needs to make.
    if(NOT TARGET threads_tests)
      add_custom_target(threads_tests)
    endif()
    add_dependencies(threads_tests ${name})
  endif()
  include(GoogleTest)
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE hb_options ${T_LIBS} GTest::gtest_main GTest::gmock)
  set(discovery DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}"
                ${T_PROPERTIES})
  if(T_SERIAL)
    gtest_discover_tests(${name} TEST_LIST ${name}_serial TEST_FILTER "${T_SERIAL}" ${discovery} RUN_SERIAL ON)
    gtest_discover_tests(${name} TEST_FILTER "-${T_SERIAL}" ${discovery})
  else()
    gtest_discover_tests(${name} ${discovery})
  endif()
endfunction()

# hb_share_test_headers(FOLDERS...): the test programs of these folders share GoogleTest's headers, and the standard
# library's, precompiled. There are two variants: the daemon's libraries, and all that links them, have wide times and
# file offsets.
function(hb_share_test_headers)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set(for_compiler_cache "SHELL:-Xclang -fno-pch-timestamp")
  else()
    set(for_compiler_cache -fpch-preprocess)
  endif()
  foreach(width plain wide)
    set(provider hb_test_headers_${width})
    file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/${provider}.cpp" CONTENT "int main() {}\n")
    # An executable: code for one differs from code for a library.
    add_executable(${provider} EXCLUDE_FROM_ALL "${CMAKE_CURRENT_BINARY_DIR}/${provider}.cpp")
    target_link_libraries(${provider} PRIVATE hb_options GTest::gtest GTest::gmock)
    target_compile_options(${provider} PRIVATE ${for_compiler_cache})
    target_precompile_headers(${provider} PRIVATE <gmock/gmock.h> <gtest/gtest.h> <algorithm> <array> <chrono> <fstream>
                              <functional> <thread>)
  endforeach()
  if(TARGET hb_host)
    target_link_libraries(hb_test_headers_wide PRIVATE hb_host)
  endif()
  get_directory_property(shared_options COMPILE_OPTIONS)
  foreach(folder ${ARGN})
    get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target ${targets})
      get_target_property(libraries ${target} LINK_LIBRARIES)
      get_target_property(type ${target} TYPE)
      get_target_property(sources ${target} SOURCES)
      list(FILTER sources INCLUDE REGEX "\\.c$") # C cannot use these
      get_target_property(options ${target} COMPILE_OPTIONS)
      get_target_property(visibility ${target} CXX_VISIBILITY_PRESET)
      if(type STREQUAL EXECUTABLE
         AND GTest::gtest_main IN_LIST libraries
         AND NOT sources
         AND options STREQUAL shared_options
         AND visibility STREQUAL CMAKE_CXX_VISIBILITY_PRESET)
        target_compile_options(${target} PRIVATE ${for_compiler_cache})
        hb_links_to(is_wide ${target} hb_host)
        if(is_wide)
          target_precompile_headers(${target} REUSE_FROM hb_test_headers_wide)
        else()
          target_precompile_headers(${target} REUSE_FROM hb_test_headers_plain)
        endif()
      endif()
    endforeach()
  endforeach()
endfunction()

# hb_links_to(RESULT TARGET LIBRARY): whether the target links the library, itself or by way of another one.
function(hb_links_to result target library)
  set(${result} FALSE PARENT_SCOPE)
  get_target_property(own ${target} LINK_LIBRARIES)
  get_target_property(passed ${target} INTERFACE_LINK_LIBRARIES)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL EXECUTABLE)
    set(own "")
  endif()
  foreach(next ${own} ${passed})
    if(next STREQUAL library)
      set(${result} TRUE PARENT_SCOPE)
      return()
    endif()
    if(TARGET ${next})
      hb_links_to(found ${next} ${library})
      if(found)
        set(${result} TRUE PARENT_SCOPE)
        return()
      endif()
    endif()
  endforeach()
endfunction()
