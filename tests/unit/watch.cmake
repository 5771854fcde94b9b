# SPDX-License-Identifier: Apache-2.0
# The parts of libhb_watch.a. What it does with a daemon is tested in tests/watch.
hb_add_test(
  watch_unit_test
  SOURCES
  watch/account_test.cpp
  watch/bits_test.cpp
  watch/configuration_test.cpp
  watch/odd_daemon_test.cpp
  watch/socket_path_test.cpp
  watch/wire_test.cpp
  LIBS
  hb_watch
  hb_test_support
  LABELS
  unit)
target_include_directories(watch_unit_test PRIVATE "${PROJECT_SOURCE_DIR}")
