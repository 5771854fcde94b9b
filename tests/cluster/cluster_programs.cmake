# SPDX-License-Identifier: Apache-2.0
# wispd and its clients on real engines, each on a host of its own, and what a client has to be told of them.
set(cluster_dir ${CMAKE_CURRENT_LIST_DIR})

add_library(
  cluster_programs_support STATIC
  ${cluster_dir}/engine_cluster.cpp
  ${cluster_dir}/explanation.cpp
  ${cluster_dir}/host_programs.cpp
  ${cluster_dir}/random_faults.cpp
  ${cluster_dir}/storm.cpp
  ${cluster_dir}/storm_report.cpp
  ${cluster_dir}/told.cpp
  ${cluster_dir}/witness.cpp)
target_compile_definitions(cluster_programs_support PUBLIC HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
target_link_libraries(cluster_programs_support PRIVATE hb_options PUBLIC cluster_test_support GTest::gtest)
set(cluster_programs recording_client wispctl wispd)
add_dependencies(cluster_programs_support ${cluster_programs})

if(NOT HB_WITH_COROSYNC)
  return()
endif()

# Works with nothing of this project, so that it is a witness of its own.
add_executable(engine_observer ${cluster_dir}/engine_observer.cpp)
target_link_libraries(engine_observer PRIVATE hb_options hb_corosync_libs)
add_dependencies(cluster_programs_support engine_observer)

add_executable(cluster_storm ${cluster_dir}/cluster_storm.cpp)
target_include_directories(cluster_storm SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(cluster_storm PRIVATE hb_options cluster_programs_support)

hb_add_test(
  wispd_on_corosync_test
  SOURCES
  ${cluster_dir}/storm_test.cpp
  ${cluster_dir}/wispd_on_corosync_test.cpp
  LIBS
  cluster_programs_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
if(HB_OTHER_ABI_BIN_DIR)
  target_compile_definitions(wispd_on_corosync_test PRIVATE HB_OTHER_ABI_BIN_DIR="${HB_OTHER_ABI_BIN_DIR}")
endif()

hb_add_test(
  cluster_model_test
  SOURCES
  ${cluster_dir}/explanation_test.cpp
  LIBS
  cluster_programs_support
  LABELS
  cluster)

if(TARGET hb_corosync_libs)
  hb_add_test(
    netlink_interfaces_test
    SOURCES
    ${cluster_dir}/netlink_interfaces_test.cpp
    LIBS
    cluster_test_support
    hb_corosync_access
    LABELS
    cluster)
endif()
