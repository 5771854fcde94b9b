# SPDX-License-Identifier: Apache-2.0
# The state of session and connection in rare cases: short memory, cancelled threads, connections that come and go.
hb_add_test(
  protocol_connection_state_test
  SOURCES
  calling_thread.cpp
  cancellation_test.cpp
  class_layout_test.cpp
  client.cpp
  connection_state_test.cpp
  full_listener.cpp
  route_section_test.cpp
  session_state_test.cpp
  short_memory_receive_test.cpp
  table_load_test.cpp
  LIBS
  hb_client_static
  hb_test_support
  hb_test_faults
  TIMEOUT
  300
  LABELS
  protocol)

# Several threads that open at once.
hb_add_test(
  protocol_threads_test
  SOURCES
  concurrent_opening_test.cpp
  LIBS
  hb_client_static
  hb_test_support
  TIMEOUT
  300
  LABELS
  threads)

hb_add_test(
  protocol_load_trace_test
  SOURCES
  load_trace_test.cpp
  trace_double.cpp
  LIBS
  hb_client_static
  hb_test_support
  LABELS
  protocol)
foreach(
  operation
  register_component_1
  record_id_1
  record_values_32_1
  record_data_1
  record_strings_1)
  target_link_options(protocol_load_trace_test PRIVATE "LINKER:--wrap=tr_ms_${operation}")
endforeach()
