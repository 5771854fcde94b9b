# SPDX-License-Identifier: Apache-2.0
# The comparison of configuration tables and the events that are made of it.
set(mox_comparison "${CMAKE_CURRENT_SOURCE_DIR}/mox_comparison")
hb_add_test(
  mox_comparison_test
  SOURCES
  "${mox_comparison}/comparison_test.cpp"
  "${mox_comparison}/differential_test.cpp"
  "${mox_comparison}/nested_scan.cpp"
  "${mox_comparison}/tables.cpp"
  "${mox_comparison}/tracing_test.cpp"
  "${CMAKE_CURRENT_SOURCE_DIR}/tables/trace_spy.cpp"
  LIBS
  hb_client_static
  hb_test_support
  hb_test_faults
  LABELS
  unit)
