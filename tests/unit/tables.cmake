# SPDX-License-Identifier: Apache-2.0
# The hash table and string utilities, the configuration table and its queries, group records and
# subscriptions.
set(tables "${CMAKE_CURRENT_SOURCE_DIR}/tables")

hb_add_test(utilities_test SOURCES "${tables}/hash_test.cpp" "${tables}/utils_test.cpp" LIBS hb_client_static)
# The test's function takes the place of the hook in the whole program.
hb_add_test(new_data_hook_test SOURCES "${tables}/new_data_hook_test.cpp" LIBS hb_client_static)
target_link_options(new_data_hook_test PRIVATE "LINKER:--wrap=_Z17wisp_pin_new_dataPvj")
hb_add_test(short_of_memory_test SOURCES "${tables}/short_of_memory_test.cpp" LIBS hb_client_static
            hb_test_faults)

# The spy takes the place of the trace library's recording calls in the whole program.
hb_add_test(
  tables_test
  SOURCES
  "${tables}/adapter_search_test.cpp"
  "${tables}/address_text_test.cpp"
  "${tables}/cluster_fixture.cpp"
  "${tables}/configuration_table_test.cpp"
  "${tables}/configuration_test.cpp"
  "${tables}/member_list_test.cpp"
  "${tables}/membership_test.cpp"
  "${tables}/random_iteration_test.cpp"
  "${tables}/random_table.cpp"
  "${tables}/subscribe_test.cpp"
  "${tables}/subscription_test.cpp"
  "${tables}/trace_spy.cpp"
  LIBS
  hb_client_static
  hb_test_support)

# The system's conversion never fails for a whole address, so it is made to.
hb_add_test(address_text_failure_test SOURCES "${tables}/address_text_failure_test.cpp" LIBS hb_client_static)
target_link_options(address_text_failure_test PRIVATE "LINKER:--wrap=inet_ntop")
