# SPDX-License-Identifier: Apache-2.0
# The header rejects a program that is built for 64-bit times where the platform's own are 32-bit.
set(public_header -I "${PROJECT_SOURCE_DIR}/platform/include" "${PROJECT_SOURCE_DIR}/include/hb_client.h")
set(wide_times -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64)
separate_arguments(timeval_c_flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
separate_arguments(timeval_cxx_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
set(compile_c "${CMAKE_C_COMPILER}" ${timeval_c_flags} -std=c99 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c)
set(compile_cxx "${CMAKE_CXX_COMPILER}" ${timeval_cxx_flags} -std=c++20 -Wall -Wextra -Wpedantic -Werror
                -fsyntax-only -x c++)
foreach(language c cxx)
  set(compile ${compile_${language}})
  set(prefix header.hb_client.h.${language})
  add_test(NAME ${prefix}.without_timeval_takes_wide_times COMMAND ${compile} ${wide_times}
                                                                   -DHB_CLIENT_WITHOUT_TIMEVAL ${public_header})
  add_test(NAME ${prefix}.takes_large_files_alone COMMAND ${compile} -D_FILE_OFFSET_BITS=64 ${public_header})
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_test(NAME ${prefix}.refuses_wide_times COMMAND ${compile} ${wide_times} ${public_header})
    set_property(
      TEST ${prefix}.refuses_wide_times
      PROPERTY PASS_REGULAR_EXPRESSION
               "#error \"libhb_client takes the platform's 32-bit timeval: compile without _TIME_BITS=64\"")
  else()
    add_test(NAME ${prefix}.takes_wide_times COMMAND ${compile} ${wide_times} ${public_header})
  endif()
endforeach()
