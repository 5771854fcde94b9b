# SPDX-License-Identifier: Apache-2.0
# The base of cluster-event mode: queue, registry of handlers, filling of groups, tables.
set(mox_base "${CMAKE_CURRENT_SOURCE_DIR}/mox_base")
hb_add_test(
  mox_base_test
  SOURCES
  "${mox_base}/filling_test.cpp"
  "${mox_base}/queue_test.cpp"
  "${mox_base}/registry_test.cpp"
  "${mox_base}/swap_test.cpp"
  "${CMAKE_CURRENT_SOURCE_DIR}/mox_comparison/tables.cpp"
  "${CMAKE_CURRENT_SOURCE_DIR}/tables/trace_spy.cpp"
  LIBS
  hb_client_static
  hb_test_support
  hb_test_faults
  LABELS
  unit)

hb_add_test(
  mox_cancellation_test
  SOURCES
  "${mox_base}/cancellation_test.cpp"
  LIBS
  hb_client_static
  hb_test_support
  LABELS
  threads)
