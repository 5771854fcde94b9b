# The simulated cluster service as a player of wispd's cluster files.
if(HB_BUILD_DAEMON)
  set(sim_player "${CMAKE_CURRENT_SOURCE_DIR}/sim_player")
  hb_add_test(
    sim_player_test
    SOURCES
    "${sim_player}/cluster_picture_test.cpp"
    "${sim_player}/picture_events_test.cpp"
    LIBS
    mox_sim_player
    LABELS
    unit)
endif()
