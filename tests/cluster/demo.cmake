# SPDX-License-Identifier: Apache-2.0
# What ./demo cluster shows. It stands on the harness of these tests.
find_path(HB_CLI11_INCLUDE_DIR CLI/CLI.hpp REQUIRED)
find_path(HB_NLOHMANN_JSON_INCLUDE_DIR nlohmann/json.hpp REQUIRED)
set(demo_dir ${CMAKE_CURRENT_LIST_DIR}/demo)

add_library(
  demo_cluster_core STATIC
  ${demo_dir}/acts.cpp
  ${demo_dir}/client_event.cpp
  ${demo_dir}/client_view.cpp
  ${demo_dir}/screen.cpp
  ${demo_dir}/stage.cpp)
target_include_directories(demo_cluster_core SYSTEM PRIVATE ${HB_NLOHMANN_JSON_INCLUDE_DIR})
target_link_libraries(demo_cluster_core PRIVATE hb_options PUBLIC cluster_test_support)

add_executable(demo_cluster ${demo_dir}/demo_cluster.cpp)
target_include_directories(demo_cluster SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(demo_cluster PRIVATE hb_options demo_cluster_core)

hb_add_test(
  demo_screen_test
  SOURCES
  ${demo_dir}/screen_test.cpp
  LIBS
  demo_cluster_core
  LABELS
  demo)
hb_add_test(
  demo_cluster_test
  SOURCES
  ${demo_dir}/demo_cluster_test.cpp
  LIBS
  cluster_test_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
target_compile_definitions(
  demo_cluster_test
  PRIVATE HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" HB_TEST_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
          HB_TEST_WITH_COROSYNC=$<BOOL:${HB_WITH_COROSYNC}>)
add_dependencies(demo_cluster_test demo_cluster wispd hbctl)
