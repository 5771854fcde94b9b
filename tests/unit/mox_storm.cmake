# SPDX-License-Identifier: Apache-2.0
# Random storms of events in cluster-event mode, and many of them, against a model.
set(mox_storm "${CMAKE_CURRENT_SOURCE_DIR}/mox_storm")
hb_add_test(
  mox_storm_test
  SOURCES
  "${CMAKE_CURRENT_SOURCE_DIR}/cluster_events/cluster.cpp"
  "${mox_storm}/endurance_test.cpp"
  "${mox_storm}/model.cpp"
  "${mox_storm}/storm_test.cpp"
  LIBS
  hb_client_static
  hb_provider_sim
  hb_test_support
  hb_test_faults
  LABELS
  unit)
