# SPDX-License-Identifier: Apache-2.0
# Real Corosync engines on several hosts of this machine. The engine and its tools are found when a test runs, so all
# of this is built everywhere; a machine that cannot run it skips the tests and says so.
find_path(HB_CLI11_INCLUDE_DIR CLI/CLI.hpp REQUIRED)
set(cluster_dir ${CMAKE_CURRENT_LIST_DIR})

add_library(
  cluster_test_support STATIC
  ${cluster_dir}/engine_configuration.cpp
  ${cluster_dir}/host_commands.cpp
  ${cluster_dir}/host_namespaces.cpp
  ${cluster_dir}/hosts.cpp
  ${cluster_dir}/namespace_sweep.cpp
  ${cluster_dir}/system_programs.cpp)
target_link_libraries(cluster_test_support PRIVATE hb_options PUBLIC hb_test_support)

add_executable(cluster_hosts ${cluster_dir}/cluster_hosts.cpp)
target_include_directories(cluster_hosts SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(cluster_hosts PRIVATE hb_options cluster_test_support)

# A cluster mostly waits, and its hosts are its own: several clusters run side by side. Engines that share the processors
# with many others assume their neighbours down, so each cluster counts as two tests for ctest's -j. What counts
# namespaces of the whole machine runs alone.
hb_add_test(
  cluster_hosts_test
  SOURCES
  ${cluster_dir}/hosts_test.cpp
  ${cluster_dir}/cluster_hosts_test.cpp
  LIBS
  cluster_test_support
  TIMEOUT
  600
  SERIAL
  "HostsTest.TenTimesUpAndDown*"
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
target_compile_definitions(cluster_hosts_test PRIVATE HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
add_dependencies(cluster_hosts_test cluster_hosts)
