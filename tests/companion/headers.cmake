# SPDX-License-Identifier: Apache-2.0
# Each C++ header stands alone: in C++17 and C++20, and without exceptions and run-time types. The object is for the
# compiler cache.
file(GLOB headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/include" "${PROJECT_SOURCE_DIR}/include/*.hpp"
     "${PROJECT_SOURCE_DIR}/include/hb/*.hpp")
separate_arguments(flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
set(objects "${CMAKE_CURRENT_BINARY_DIR}/headers")
file(MAKE_DIRECTORY "${objects}")

# add_header_test(HEADER NAME OPTIONS...)
function(add_header_test header name)
  string(REPLACE "/" "." file "${header}.${name}.o")
  add_test(
    NAME header.${header}.compiles_alone_${name}
    COMMAND
      ${CMAKE_CXX_COMPILER_LAUNCHER} "${CMAKE_CXX_COMPILER}" ${flags} ${ARGN} -Wall -Wextra -Wpedantic -Wconversion
      -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Wundef -Wcast-align -Wextra-semi -Werror -I
      "${PROJECT_SOURCE_DIR}/include" -I "${PROJECT_SOURCE_DIR}/platform/include" -include
      "${PROJECT_SOURCE_DIR}/include/${header}" -c -x c++ /dev/null -o "${objects}/${file}")
endfunction()

foreach(header ${headers})
  add_header_test("${header}" as_C++17 -std=c++17)
  add_header_test("${header}" as_C++20 -std=c++20)
  add_header_test("${header}" without_exceptions -std=c++17 -fno-exceptions -fno-rtti)
endforeach()
