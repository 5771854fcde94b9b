# SPDX-License-Identifier: Apache-2.0
# Decides how wispd notifies the service manager: sets HB_WITH_LIBSYSTEMD, and HB_SYSTEMD_LIBRARY to link with. Without
# the library wispd sends the same datagrams itself.
#
# The library exists in the machine's own ABI only.
set(HB_BUILD_LIBSYSTEMD AUTO CACHE STRING "Notify the service manager through libsystemd: AUTO, ON or OFF")
set_property(CACHE HB_BUILD_LIBSYSTEMD PROPERTY STRINGS AUTO ON OFF)

set(HB_WITH_LIBSYSTEMD FALSE)
if(HB_BUILD_LIBSYSTEMD STREQUAL "OFF" OR NOT HB_BUILD_DAEMON)
  return()
endif()
if(NOT CMAKE_CXX_FLAGS MATCHES "-m32")
  find_path(HB_SYSTEMD_INCLUDE systemd/sd-daemon.h)
  find_library(HB_SYSTEMD_LIBRARY systemd)
  if(HB_SYSTEMD_INCLUDE AND HB_SYSTEMD_LIBRARY)
    set(HB_WITH_LIBSYSTEMD TRUE)
  endif()
endif()
if(NOT HB_WITH_LIBSYSTEMD)
  if(HB_BUILD_LIBSYSTEMD STREQUAL "ON")
    message(FATAL_ERROR "HB_BUILD_LIBSYSTEMD is ON, and systemd/sd-daemon.h or its library is missing for this ABI "
                        "(package libsystemd-dev)")
  endif()
  message(STATUS "Without libsystemd: wispd sends its notifications itself")
endif()
