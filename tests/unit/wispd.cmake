# The daemon's rooms, one by one. Tests of the running daemon are system tests.
if(TARGET wispd_core)
  hb_add_test(
    wispd_unit_test
    SOURCES
    wispd/cluster_test.cpp
    wispd/cluster_file_test.cpp
    wispd/command_test.cpp
    wispd/control_server_test.cpp
    wispd/instance_test.cpp
    wispd/packets_test.cpp
    wispd/publisher_test.cpp
    wispd/record_reader_test.cpp
    wispd/send_queue_test.cpp
    wispd/subscription_test.cpp
    wispd/timeline_test.cpp
    LIBS
    wispd_core
    hb_test_support
    LABELS
    unit)
endif()
