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
