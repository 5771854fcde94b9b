# SPDX-License-Identifier: Apache-2.0
# The library over each cluster service: whichever monitor is read first, nothing is lost.
set(reading_order "${CMAKE_CURRENT_SOURCE_DIR}/reading_order")
hb_add_test(
  sim_reading_order_test
  SOURCES
  "${reading_order}/replaying_client.cpp"
  "${reading_order}/sim_test.cpp"
  LIBS
  hb_client_static
  hb_provider_sim
  hb_test_support
  TIMEOUT
  300
  LABELS
  unit)

if(HB_BUILD_DAEMON)
  hb_add_test(
    corosync_reading_order_test
    SOURCES
    "${reading_order}/corosync_test.cpp"
    "${reading_order}/replaying_client.cpp"
    LIBS
    hb_client_static
    hb_provider_corosync
    hb_test_support
    TIMEOUT
    300
    LABELS
    unit)
endif()
