# SPDX-License-Identifier: Apache-2.0
# Control requests, routes and security keys against bytes written out by hand.
hb_add_test(
  protocol_control_test
  SOURCES
  client.cpp
  control_test.cpp
  LIBS
  hb_client_static
  hb_test_support
  hb_test_faults
  TIMEOUT
  300
  LABELS
  protocol)
