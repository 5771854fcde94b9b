# SPDX-License-Identifier: Apache-2.0
# wispd under the restrictions of its unit, and how the installed files are built.
set(sanitized 0)
if(HB_SANITIZE)
  set(sanitized 1)
endif()
target_sources(security_test_support PRIVATE ${CMAKE_CURRENT_LIST_DIR}/confined_programs.cpp
                                             ${CMAKE_CURRENT_LIST_DIR}/unit_file.cpp)
target_compile_definitions(security_test_support
                           PUBLIC HB_TEST_UNIT="${PROJECT_BINARY_DIR}/packaging/wispd.service")
target_sources(security_test PRIVATE ${CMAKE_CURRENT_LIST_DIR}/service_test.cpp
                                     ${CMAKE_CURRENT_LIST_DIR}/built_test.cpp
                                     ${CMAKE_CURRENT_LIST_DIR}/memory_test.cpp)
target_compile_definitions(
  security_test
  PRIVATE HB_TEST_LIB_DIR="${CMAKE_LIBRARY_OUTPUT_DIRECTORY}"
          HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" HB_TEST_SANITIZED=${sanitized}
          HB_TEST_OPTIMIZED=$<NOT:$<CONFIG:Debug>>)

# A program that puts the restrictions on; of the machine's own ABI alone, as the library is.
find_library(HB_SECCOMP_LIBRARY seccomp)
if(HB_SECCOMP_LIBRARY AND CMAKE_SIZEOF_VOID_P EQUAL 8 AND NOT HB_SANITIZE)
  add_executable(confined ${CMAKE_CURRENT_LIST_DIR}/confined.cpp ${CMAKE_CURRENT_LIST_DIR}/unit_file.cpp)
  target_link_libraries(confined PRIVATE hb_options ${HB_SECCOMP_LIBRARY})
  target_include_directories(confined PRIVATE ${PROJECT_SOURCE_DIR})
  add_dependencies(security_test confined)
endif()

# The same on real engines.
if(HB_WITH_COROSYNC AND TARGET demo_cluster)
  hb_add_test(
    security_on_engines_test
    SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/engines_test.cpp
    LIBS
    security_test_support
    TIMEOUT
    300
    LABELS
    cluster
    PROPERTIES
    PROCESSORS
    2)
  target_compile_definitions(security_on_engines_test PRIVATE HB_TEST_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_dependencies(security_on_engines_test demo_cluster wispd hbctl)
  if(TARGET confined)
    add_dependencies(security_on_engines_test confined)
  endif()
endif()
