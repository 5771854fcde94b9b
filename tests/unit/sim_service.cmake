# SPDX-License-Identifier: Apache-2.0
# The simulated cluster service itself, through the interface that the library uses.
set(sim_service "${CMAKE_CURRENT_SOURCE_DIR}/sim_service")
hb_add_test(
  sim_service_test
  SOURCES
  "${sim_service}/simulated_service_test.cpp"
  LIBS
  hb_provider_sim
  hb_test_support
  LABELS
  threads)
