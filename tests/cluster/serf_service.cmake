# SPDX-License-Identifier: Apache-2.0
# A client in cluster-event mode over real Serf agents.
if(NOT HB_WITH_SERF)
  return()
endif()
set(cluster_dir ${CMAKE_CURRENT_LIST_DIR})
hb_add_test(
  serf_service_on_agents_test
  SOURCES
  ${cluster_dir}/serf_service_test.cpp
  ${cluster_dir}/service_on_host.cpp
  LIBS
  serf_programs_support
  TIMEOUT
  300
  LABELS
  cluster
  PROPERTIES
  PROCESSORS
  2)
add_dependencies(serf_service_on_agents_test cluster_events_example qz_mox_serf)
