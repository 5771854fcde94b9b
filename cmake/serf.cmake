# SPDX-License-Identifier: Apache-2.0
# Decides whether wispd can follow Serf: sets HB_WITH_SERF.
#
# Serf is reached over TCP, so a header for its encoding is all that is needed, in both ABIs.
set(HB_BUILD_SERF AUTO CACHE STRING "Follow Serf in wispd, and the cluster service over it: AUTO, ON or OFF")
set_property(CACHE HB_BUILD_SERF PROPERTY STRINGS AUTO ON OFF)

set(HB_WITH_SERF FALSE)
if(HB_BUILD_SERF STREQUAL "OFF" OR NOT HB_BUILD_DAEMON)
  return()
endif()
find_path(HB_MSGPACK_INCLUDE msgpack.hpp)
if(HB_MSGPACK_INCLUDE)
  set(HB_WITH_SERF TRUE)
elseif(HB_BUILD_SERF STREQUAL "ON")
  message(FATAL_ERROR "HB_BUILD_SERF is ON, and this is missing: msgpack.hpp (package libmsgpack-cxx-dev)")
else()
  message(STATUS "Without Serf; missing: msgpack.hpp")
endif()
