# SPDX-License-Identifier: Apache-2.0
# The handlers of cluster-event mode one by one, over the simulated cluster service. The spy takes the place of the
# trace library's recording calls in the whole program.
set(mox_handlers "${CMAKE_CURRENT_SOURCE_DIR}/mox_handlers")
hb_add_test(
  mox_handlers_test
  SOURCES
  "${mox_handlers}/adapter_liveness_test.cpp"
  "${mox_handlers}/commit_test.cpp"
  "${mox_handlers}/configuration_handler_test.cpp"
  "${mox_handlers}/creation_test.cpp"
  "${mox_handlers}/event_pipe_test.cpp"
  "${mox_handlers}/handler_call.cpp"
  "${mox_handlers}/ip_change_test.cpp"
  "${mox_handlers}/migration_states_test.cpp"
  "${mox_handlers}/migration_trouble_test.cpp"
  "${mox_handlers}/new_group_test.cpp"
  "${mox_handlers}/node_liveness_test.cpp"
  "${mox_handlers}/outage_test.cpp"
  "${mox_handlers}/peer_and_disk_test.cpp"
  "${mox_handlers}/plain_service.cpp"
  "${mox_handlers}/reading_test.cpp"
  "${mox_handlers}/returned_node_test.cpp"
  "${mox_handlers}/site_test.cpp"
  "${mox_handlers}/table_update_test.cpp"
  "${CMAKE_CURRENT_SOURCE_DIR}/cluster_events/cluster.cpp"
  "${CMAKE_CURRENT_SOURCE_DIR}/tables/trace_spy.cpp"
  LIBS
  hb_client_static
  hb_provider_sim
  hb_test_support
  hb_test_faults
  TIMEOUT
  300
  LABELS
  unit)
target_link_options(mox_handlers_test PRIVATE "LINKER:--wrap=pipe2")

# The sanitizers' runtimes keep what a plain build gives back.
if(NOT HB_SANITIZE)
  hb_add_test(cluster_events_unloading_test SOURCES "${mox_handlers}/unloading_test.cpp" LIBS hb_provider_sim
              hb_test_support ${CMAKE_DL_LIBS})
  target_compile_definitions(cluster_events_unloading_test PRIVATE HB_LIBRARY="$<TARGET_FILE:hb_client>")
  add_dependencies(cluster_events_unloading_test hb_client)
endif()
