# SPDX-License-Identifier: Apache-2.0
# The cluster service over an engine, whichever it is, and over simulated Serf agents.
if(HB_BUILD_DAEMON)
  set(followed_service "${CMAKE_CURRENT_SOURCE_DIR}/followed_service")
  hb_add_test(
    followed_service_test
    SOURCES
    "${followed_service}/service_fixture.cpp"
    "${followed_service}/waiting_test.cpp"
    LIBS
    hb_provider_followed
    hb_test_support
    LABELS
    unit)
endif()

if(HB_WITH_SERF)
  hb_add_test(
    serf_service_test
    SOURCES
    "${followed_service}/serf_test.cpp"
    "${followed_service}/service_fixture.cpp"
    LIBS
    hb_provider_followed
    hb_serf_access
    hb_test_serf_agent
    hb_test_support
    LABELS
    unit
    threads)
endif()
