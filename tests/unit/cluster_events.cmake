# SPDX-License-Identifier: Apache-2.0
# Cluster-event mode over the simulated cluster service.
set(cluster_events "${CMAKE_CURRENT_SOURCE_DIR}/cluster_events")
hb_add_test(
  cluster_events_test
  SOURCES
  "${cluster_events}/cluster.cpp"
  "${cluster_events}/handlers_test.cpp"
  "${cluster_events}/migration_test.cpp"
  "${cluster_events}/trace_text_test.cpp"
  LIBS
  hb_client_static
  hb_provider_sim
  hb_test_support
  hb_test_faults
  LABELS
  unit)
target_compile_definitions(cluster_events_test
                           PRIVATE TRACE_CATALOGUE="${PROJECT_SOURCE_DIR}/platform/tr/hbc.catalogue")
