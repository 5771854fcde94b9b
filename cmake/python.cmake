# SPDX-License-Identifier: Apache-2.0
# Decides whether the Python package hb_client is built: sets HB_WITH_PYTHON, and HB_PYTHON_INCLUDE for the headers of
# Python; otherwise HB_PYTHON_MISSING says why not.
#
# The interpreter is the system's, not the first one in the path: packages of the system install modules for it.
set(HB_BUILD_PYTHON AUTO CACHE STRING "Build the Python package hb_client: AUTO, ON or OFF")
set_property(CACHE HB_BUILD_PYTHON PROPERTY STRINGS AUTO ON OFF)
set(HB_PYTHON /usr/bin/python3 CACHE FILEPATH "The interpreter that the Python package hb_client is built for")

set(HB_WITH_PYTHON FALSE)
set(HB_PYTHON_MISSING "")
if(HB_BUILD_PYTHON STREQUAL "OFF")
  set(HB_PYTHON_MISSING "HB_BUILD_PYTHON is OFF")
  return()
endif()
if(CMAKE_C_FLAGS MATCHES "-m32")
  set(HB_PYTHON_MISSING "there is no interpreter of this ABI")
elseif(HB_SANITIZE)
  set(HB_PYTHON_MISSING "there is no interpreter with sanitizers")
elseif(NOT EXISTS "${HB_PYTHON}")
  set(HB_PYTHON_MISSING "there is no ${HB_PYTHON} (package python3)")
else()
  execute_process(
    COMMAND "${HB_PYTHON}" -I -c "import sys, sysconfig; assert sys.version_info >= (3, 11); print(sysconfig.get_path('include'))"
    OUTPUT_VARIABLE HB_PYTHON_INCLUDE
    OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE result
    ERROR_QUIET)
  execute_process(COMMAND "${HB_PYTHON}" -I -c "import cffi" RESULT_VARIABLE has_no_cffi ERROR_QUIET)
  if(NOT result EQUAL 0)
    set(HB_PYTHON_MISSING "${HB_PYTHON} is older than Python 3.11")
  elseif(NOT has_no_cffi EQUAL 0)
    set(HB_PYTHON_MISSING "${HB_PYTHON} has no cffi (package python3-cffi)")
  elseif(NOT EXISTS "${HB_PYTHON_INCLUDE}/Python.h")
    set(HB_PYTHON_MISSING "there is no ${HB_PYTHON_INCLUDE}/Python.h (package python3-dev)")
  endif()
endif()

if(NOT HB_PYTHON_MISSING)
  set(HB_WITH_PYTHON TRUE)
elseif(HB_BUILD_PYTHON STREQUAL "ON")
  message(FATAL_ERROR "HB_BUILD_PYTHON is ON, but ${HB_PYTHON_MISSING}")
else()
  message(STATUS "Without the Python package hb_client: ${HB_PYTHON_MISSING}")
endif()
