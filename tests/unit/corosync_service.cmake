# SPDX-License-Identifier: Apache-2.0
# The cluster service over a Corosync engine that does as a test says.
if(HB_BUILD_DAEMON)
  set(corosync_service "${CMAKE_CURRENT_SOURCE_DIR}/corosync_service")
  hb_add_test(
    corosync_service_test
    SOURCES
    "${corosync_service}/events_test.cpp"
    "${corosync_service}/peers_test.cpp"
    "${corosync_service}/queries_test.cpp"
    "${corosync_service}/service_fixture.cpp"
    "${CMAKE_CURRENT_SOURCE_DIR}/followed_service/service_fixture.cpp"
    LIBS
    hb_provider_corosync
    hb_test_support
    LABELS
    threads)

  # The library over it, in storms.
  hb_add_test(
    corosync_storm_test
    SOURCES
    "${CMAKE_CURRENT_SOURCE_DIR}/corosync_storm/storm_test.cpp"
    LIBS
    hb_client_static
    hb_provider_corosync
    hb_test_support
    TIMEOUT
    300
    LABELS
    unit)
endif()
