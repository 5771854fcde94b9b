# SPDX-License-Identifier: Apache-2.0
# The examples of docs/protocol.md against the library.
hb_add_test(
  protocol_documented_test
  SOURCES
  client.cpp
  documented_bytes_test.cpp
  hex_examples.cpp
  route_call.cpp
  LIBS
  hb_client_static
  hb_test_support
  TIMEOUT
  300
  LABELS
  protocol)
target_compile_definitions(protocol_documented_test
                           PRIVATE HB_PROTOCOL_DOCUMENT="${PROJECT_SOURCE_DIR}/docs/protocol.md")
