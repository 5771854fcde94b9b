# SPDX-License-Identifier: Apache-2.0
# Routes and security keys against bytes written out by hand.
hb_add_test(
  protocol_routes_and_keys_test
  SOURCES
  client.cpp
  keys_read_test.cpp
  route_call.cpp
  routes_get_test.cpp
  routes_mcast_test.cpp
  routes_read_test.cpp
  LIBS
  hb_client_static
  hb_test_support
  hb_test_faults
  TIMEOUT
  300
  LABELS
  protocol)

# With the security library's objects in the program: what passes between the two libraries, and between them and
# the heap, goes through the test.
hb_add_test(
  protocol_key_memory_test
  SOURCES
  client.cpp
  keys_memory_test.cpp
  keys_watched_calls.cpp
  ../unit/mss/wrapped_calls.cpp
  LIBS
  hb_client_static
  hb_test_support
  qz_mss_objects
  LABELS
  protocol)
foreach(
  name
  malloc
  free
  getrandom
  sec_unmarshal_typed_key
  sec_release_typed_key
  explicit_bzero
  __explicit_bzero_chk)
  target_link_options(protocol_key_memory_test PRIVATE "LINKER:--wrap=${name}")
endforeach()
# A sanitized shared library calls the wrapped functions too, and finds them only when they are visible.
set_target_properties(protocol_key_memory_test PROPERTIES CXX_VISIBILITY_PRESET default)
