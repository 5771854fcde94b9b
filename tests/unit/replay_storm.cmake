# SPDX-License-Identifier: Apache-2.0
# Storms that are judged by what a client was given, over the simulated service and over Corosync's.
set(replay_storm "${CMAKE_CURRENT_SOURCE_DIR}/replay_storm")
set(replay_storm_sources
    "${replay_storm}/client.cpp"
    "${replay_storm}/cluster_state.cpp"
    "${replay_storm}/daemon_side.cpp"
    "${replay_storm}/faulty_seam.cpp"
    "${replay_storm}/replay.cpp"
    "${replay_storm}/step.cpp"
    "${replay_storm}/storm.cpp"
    "${replay_storm}/trial.cpp")

hb_add_test(
  replay_storm_test
  SOURCES
  ${replay_storm_sources}
  "${replay_storm}/replay_test.cpp"
  "${replay_storm}/simulated_storm_test.cpp"
  "${replay_storm}/simulated_world.cpp"
  LIBS
  hb_client_static
  hb_provider_sim
  hb_test_support
  TIMEOUT
  300
  LABELS
  unit)
target_link_options(replay_storm_test PRIVATE "LINKER:--wrap=qz_mox_install_service")
# A million steps are counted in minutes.
target_compile_options(replay_storm_test PRIVATE -O2)

if(HB_BUILD_DAEMON)
  hb_add_test(
    replay_storm_corosync_test
    SOURCES
    ${replay_storm_sources}
    "${replay_storm}/corosync_storm_test.cpp"
    "${replay_storm}/engine_world.cpp"
    LIBS
    hb_client_static
    hb_provider_corosync
    hb_test_support
    TIMEOUT
    300
    LABELS
    unit)
  target_link_options(replay_storm_corosync_test PRIVATE "LINKER:--wrap=qz_mox_install_service")
  target_compile_options(replay_storm_corosync_test PRIVATE -O2)
endif()
