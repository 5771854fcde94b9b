# SPDX-License-Identifier: Apache-2.0
# What services that show the daemon's model make of it.
if(HB_BUILD_DAEMON)
  set(cluster_pictures "${CMAKE_CURRENT_SOURCE_DIR}/cluster_pictures")
  hb_add_test(
    cluster_pictures_test
    SOURCES
    "${cluster_pictures}/cluster_picture_test.cpp"
    "${cluster_pictures}/picture_events_test.cpp"
    LIBS
    hb_provider_cluster
    hb_provider_sim
    LABELS
    unit)
endif()
