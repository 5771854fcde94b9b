# SPDX-License-Identifier: Apache-2.0
# Decides whether `hbctl top` has a screen: sets HB_WITH_NCURSES, and HB_NCURSES_LIBRARY to link with. Without it,
# `hbctl top --once` still prints a frame.
#
# Debian has the library for 32-bit programs in a package of its own, in a folder that CMake does not search.
set(HB_BUILD_TOP AUTO CACHE STRING "Build the screen of hbctl top, with ncurses: AUTO, ON or OFF")
set_property(CACHE HB_BUILD_TOP PROPERTY STRINGS AUTO ON OFF)

set(HB_WITH_NCURSES FALSE)
set(HB_NCURSES_LIBRARY "")
if(HB_BUILD_TOP STREQUAL "OFF")
  return()
endif()
find_path(HB_NCURSES_HEADER curses.h)
if(CMAKE_CXX_FLAGS MATCHES "-m32")
  set(package lib32ncurses-dev)
  find_library(HB_NCURSES_FOUND ncursesw PATHS /usr/lib32 NO_DEFAULT_PATH)
else()
  set(package libncurses-dev)
  find_library(HB_NCURSES_FOUND ncursesw)
endif()
if(HB_NCURSES_HEADER AND HB_NCURSES_FOUND)
  set(HB_WITH_NCURSES TRUE)
  set(HB_NCURSES_LIBRARY ${HB_NCURSES_FOUND})
elseif(HB_BUILD_TOP STREQUAL "ON")
  message(FATAL_ERROR "HB_BUILD_TOP is ON, and curses.h or libncursesw is missing for this ABI (package ${package})")
else()
  message(STATUS "Without the screen of hbctl top: no ncurses (package ${package})")
endif()
