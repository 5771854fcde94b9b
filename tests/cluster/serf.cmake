# SPDX-License-Identifier: Apache-2.0
# Real Serf agents in one network namespace of this machine. The agent is found when a test runs; a machine without it
# skips the tests and prints the reason.
if(NOT HB_WITH_SERF)
  return()
endif()
find_path(HB_NLOHMANN_JSON_INCLUDE_DIR nlohmann/json.hpp REQUIRED)
set(cluster_dir ${CMAKE_CURRENT_LIST_DIR})

add_library(serf_test_support STATIC ${cluster_dir}/serf_agents.cpp ${cluster_dir}/serf_rpc.cpp)
target_compile_definitions(serf_test_support PRIVATE MSGPACK_NO_BOOST)
target_include_directories(serf_test_support SYSTEM PRIVATE ${HB_MSGPACK_INCLUDE} ${HB_NLOHMANN_JSON_INCLUDE_DIR})
target_link_libraries(serf_test_support PRIVATE hb_options PUBLIC cluster_test_support)

# Works with nothing of the daemon, so that it is a witness of its own.
add_executable(serf_observer ${cluster_dir}/serf_observer.cpp)
target_link_libraries(serf_observer PRIVATE hb_options serf_test_support)

hb_add_test(
  serf_agents_test
  SOURCES
  ${cluster_dir}/serf_agents_test.cpp
  LIBS
  serf_test_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
target_compile_definitions(serf_agents_test PRIVATE HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
add_dependencies(serf_agents_test serf_observer)

# ---- wispd and its clients on them ----

add_library(serf_programs_support STATIC ${cluster_dir}/serf_cluster.cpp ${cluster_dir}/serf_storm.cpp
                                         ${cluster_dir}/serf_witness.cpp)
target_link_libraries(serf_programs_support PRIVATE hb_options PUBLIC cluster_programs_support serf_test_support)
add_dependencies(serf_programs_support serf_observer)

# What ./demo scale shows.
add_executable(demo_scale ${cluster_dir}/demo/demo_scale.cpp)
target_include_directories(demo_scale SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(demo_scale PRIVATE hb_options serf_programs_support)
hb_add_test(
  demo_scale_test
  SOURCES
  ${cluster_dir}/demo/demo_scale_test.cpp
  LIBS
  serf_test_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
target_compile_definitions(demo_scale_test PRIVATE HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
                                                   HB_TEST_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
add_dependencies(demo_scale_test demo_scale)

# Prints the tables of docs/scaling.md.
add_executable(serf_scale ${cluster_dir}/serf_scale.cpp ${cluster_dir}/detection/figures.cpp)
target_include_directories(serf_scale SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(serf_scale PRIVATE hb_options serf_programs_support)

add_executable(serf_storm ${cluster_dir}/serf_storm_main.cpp)
target_include_directories(serf_storm SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(serf_storm PRIVATE hb_options serf_programs_support)

hb_add_test(
  wispd_on_serf_test
  SOURCES
  ${cluster_dir}/wispd_on_serf_test.cpp
  LIBS
  serf_programs_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
hb_add_test(
  serf_model_test
  SOURCES
  ${cluster_dir}/serf_witness_test.cpp
  LIBS
  serf_programs_support
  LABELS
  cluster)
