# SPDX-License-Identifier: Apache-2.0
# Clients in cluster-event mode over real engines.
if(NOT HB_WITH_COROSYNC)
  return()
endif()
set(cluster_dir ${CMAKE_CURRENT_LIST_DIR})
hb_add_test(
  corosync_service_on_engines_test
  SOURCES
  ${cluster_dir}/corosync_service_test.cpp
  ${cluster_dir}/service_on_host.cpp
  LIBS
  cluster_programs_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
add_dependencies(corosync_service_on_engines_test cluster_events_example hbctl qz_mox_corosync system_test_client wispd)
