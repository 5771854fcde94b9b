# SPDX-License-Identifier: Apache-2.0
# The real programs together: wispd, clients of the shared library, hbctl and wispctl, as child processes.
#
# HB_OTHER_ABI_BIN_DIR names the bin directory of a finished build of the other ABI; with it the same tests run
# a second time, with clients of both ABIs at once and the daemon of either. Without it those do not exist.
set(HB_OTHER_ABI_BIN_DIR "" CACHE PATH "The bin directory of a build of the other ABI, for tests of both together")

if(NOT HB_BUILD_DAEMON)
  return()
endif()
set(system_dir ${CMAKE_CURRENT_LIST_DIR})

add_executable(system_test_client ${system_dir}/client_program.cpp ${system_dir}/client_requests.cpp
                                  ${system_dir}/client_text.cpp)
target_link_libraries(system_test_client PRIVATE hb_options hb_client)
add_executable(
  segment_reader ${system_dir}/reading_keys.cpp ${system_dir}/reading_routes.cpp
                 ${system_dir}/section_watch.cpp ${system_dir}/segment_reader.cpp)
target_link_libraries(segment_reader PRIVATE hb_options hb_client ${CMAKE_DL_LIBS})
# The example that the documentation shows, as it stands.
add_executable(cluster_events_example ${PROJECT_SOURCE_DIR}/examples/cluster_events.c)
target_link_libraries(cluster_events_example PRIVATE hb_options hb_client)
add_executable(forking_client ${system_dir}/forking_client.cpp)
target_link_libraries(forking_client PRIVATE hb_options hb_client)
foreach(program system_test_client segment_reader)
  target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR})
endforeach()

add_library(
  system_test_support STATIC
  ${system_dir}/client.cpp
  ${system_dir}/clusters.cpp
  ${system_dir}/daemon.cpp
  ${system_dir}/hbctl.cpp
  ${system_dir}/migration_model.cpp
  ${system_dir}/moving_client.cpp
  ${system_dir}/readers.cpp
  ${system_dir}/service_client.cpp
  ${system_dir}/setup.cpp
  ${system_dir}/stream.cpp
  ${system_dir}/tmux.cpp)
target_compile_definitions(
  system_test_support
  PRIVATE HB_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
  PUBLIC HB_VERSION="${PROJECT_VERSION}")
target_link_libraries(system_test_support PRIVATE hb_options PUBLIC hb_test_support hb_common)

# What runs once for every way of putting programs together.
set(system_scenarios
    ${system_dir}/access_test.cpp
    ${system_dir}/cluster_service_test.cpp
    ${system_dir}/come_and_go_test.cpp
    ${system_dir}/control_test.cpp
    ${system_dir}/events_test.cpp
    ${system_dir}/full_size_test.cpp
    ${system_dir}/hbctl_test.cpp
    ${system_dir}/keys_test.cpp
    ${system_dir}/migrating_client_test.cpp
    ${system_dir}/migration_moments_test.cpp
    ${system_dir}/migration_test.cpp
    ${system_dir}/names_test.cpp
    ${system_dir}/reconfiguration_test.cpp
    ${system_dir}/requests_test.cpp
    ${system_dir}/restart_test.cpp
    ${system_dir}/routes_test.cpp
    ${system_dir}/slow_client_test.cpp
    ${system_dir}/subscriptions_test.cpp
    ${system_dir}/timeline_test.cpp)

hb_add_test(
  system_test
  SOURCES
  ${system_scenarios}
  ${system_dir}/command_line_test.cpp
  ${system_dir}/many_clients_test.cpp
  ${system_dir}/one_abi_setups.cpp
  ${system_dir}/report_test.cpp
  ${system_dir}/service_test.cpp
  ${system_dir}/silent_daemon_test.cpp
  ${system_dir}/top_test.cpp
  ${system_dir}/wait_test.cpp
  ${system_dir}/watch_exec_test.cpp
  ${system_dir}/wire_test.cpp
  LIBS
  system_test_support
  TIMEOUT
  600
  LABELS
  system)
set(system_programs system_test_client segment_reader cluster_events_example forking_client qz_mox_sim wispd wispctl hbctl)
target_compile_definitions(system_test PRIVATE HB_WITH_COROSYNC=$<BOOL:${HB_WITH_COROSYNC}>
                                               HB_WITH_NCURSES=$<BOOL:${HB_WITH_NCURSES}>)
add_dependencies(system_test ${system_programs})

hb_add_test(
  cluster_player_test
  SOURCES
  ${system_dir}/cluster_player_test.cpp
  LIBS
  hb_provider_sim_player
  system_test_support
  LABELS
  system)

if(HB_WITH_SERF)
  hb_add_test(
    serf_system_test
    SOURCES
    ${system_dir}/serf_test.cpp
    ${system_dir}/one_abi_setups.cpp
    LIBS
    hb_test_serf_agent
    system_test_support
    TIMEOUT
    600
    LABELS
    system)
  add_dependencies(serf_system_test ${system_programs})
  hb_add_test(
    serf_service_system_test
    SOURCES
    ${system_dir}/serf_service_test.cpp
    ${system_dir}/one_abi_setups.cpp
    LIBS
    hb_test_serf_agent
    system_test_support
    TIMEOUT
    300
    LABELS
    system)
  add_dependencies(serf_service_system_test ${system_programs} qz_mox_serf)
  add_executable(serf_figures ${system_dir}/serf_figures.cpp)
  target_link_libraries(serf_figures PRIVATE hb_options hb_test_serf_agent system_test_support GTest::gtest)
  add_dependencies(serf_figures wispd)
endif()

if(HB_OTHER_ABI_BIN_DIR)
  hb_add_test(
    system_mixed_abi_test
    SOURCES
    ${system_scenarios}
    ${system_dir}/mixed_abi_setups.cpp
    LIBS
    system_test_support
    TIMEOUT
    600
    LABELS
    system)
  target_compile_definitions(system_mixed_abi_test PRIVATE HB_OTHER_ABI_BIN_DIR="${HB_OTHER_ABI_BIN_DIR}")
  add_dependencies(system_mixed_abi_test ${system_programs})
endif()
