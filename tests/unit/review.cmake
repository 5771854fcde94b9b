# The library loaded and unloaded, the daemon in the corners, and programs of another timeval.
set(corners "${CMAKE_CURRENT_SOURCE_DIR}/review")

# The sanitizers' runtimes keep what a plain build gives back.
if(NOT HB_SANITIZE)
  hb_add_test(library_unloading_test SOURCES "${corners}/library_unloading_test.cpp" LIBS hb_test_support
              ${CMAKE_DL_LIBS})
  target_compile_definitions(library_unloading_test PRIVATE HB_LIBRARY="$<TARGET_FILE:hb_client>")
  add_dependencies(library_unloading_test hb_client)

  add_executable(quiet_exit "${corners}/quiet_exit.cpp")
  target_link_libraries(quiet_exit PRIVATE hb_options hb_client ${CMAKE_DL_LIBS})
  hb_add_test(quiet_exit_test SOURCES "${corners}/quiet_exit_test.cpp" LIBS hb_test_support)
  target_compile_definitions(quiet_exit_test PRIVATE HB_QUIET_EXIT="$<TARGET_FILE:quiet_exit>")
  add_dependencies(quiet_exit_test quiet_exit)
endif()

# Programs that end while a thread of them is in the library.
set(exits_by_default 100)
if(HB_SANITIZE)
  set(exits_by_default 20)
endif()
add_executable(busy_exit "${corners}/busy_exit.cpp")
target_link_libraries(busy_exit PRIVATE hb_options hb_client hb_provider_sim)
hb_add_test(busy_exit_test SOURCES "${corners}/busy_exit_test.cpp" LIBS hb_test_support TIMEOUT 600 LABELS unit)
target_compile_definitions(busy_exit_test PRIVATE HB_BUSY_EXIT="$<TARGET_FILE:busy_exit>"
                                                  HB_EXITS_BY_DEFAULT=${exits_by_default})
add_dependencies(busy_exit_test busy_exit)
# The same program in a module, which another one loads: the library comes with it.
add_library(busy_exit_module MODULE "${corners}/busy_exit.cpp")
target_compile_definitions(busy_exit_module PRIVATE main=busy_exit)
target_link_libraries(busy_exit_module PRIVATE hb_options hb_client hb_provider_sim)
add_executable(busy_exit_loading "${corners}/busy_exit_loading.cpp")
target_compile_definitions(busy_exit_loading PRIVATE HB_MODULE="$<TARGET_FILE:busy_exit_module>")
target_link_libraries(busy_exit_loading PRIVATE hb_options ${CMAKE_DL_LIBS})
target_compile_definitions(busy_exit_test PRIVATE HB_BUSY_EXIT_LOADING="$<TARGET_FILE:busy_exit_loading>")
add_dependencies(busy_exit_test busy_exit_loading busy_exit_module)
# The same program with a library that opens the session before main() starts.
add_library(busy_exit_opener SHARED "${corners}/busy_exit_opener.cpp")
target_link_libraries(busy_exit_opener PRIVATE hb_options hb_client)
add_executable(busy_exit_opened "${corners}/busy_exit.cpp")
target_link_libraries(busy_exit_opened PRIVATE hb_options hb_client hb_provider_sim)
target_link_options(busy_exit_opened PRIVATE "LINKER:--no-as-needed" "$<TARGET_FILE:busy_exit_opener>")
target_compile_definitions(busy_exit_test PRIVATE HB_BUSY_EXIT_OPENED="$<TARGET_FILE:busy_exit_opened>")
add_dependencies(busy_exit_opened busy_exit_opener)
add_dependencies(busy_exit_test busy_exit_opened)
if(HB_BUILD_DAEMON AND NOT HB_SANITIZE)
  target_compile_definitions(busy_exit_test PRIVATE HB_SIMULATED_SERVICE="$<TARGET_FILE:qz_mox_sim>")
  add_dependencies(busy_exit_test qz_mox_sim)
endif()

if(TARGET hb_daemon)
  hb_add_test(wispd_corners_test SOURCES "${corners}/wispd_corners_test.cpp" LIBS hb_daemon hb_test_support
              LABELS unit)
endif()

# A program that is built for 64-bit times where the platform's own are 32-bit is told so.
set(public_header -I "${PROJECT_SOURCE_DIR}/platform/include" "${PROJECT_SOURCE_DIR}/include/hb_client.h")
set(wide_times -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64)
separate_arguments(corner_c_flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
separate_arguments(corner_cxx_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
set(compile_c "${CMAKE_C_COMPILER}" ${corner_c_flags} -std=c99 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c)
set(compile_cxx "${CMAKE_CXX_COMPILER}" ${corner_cxx_flags} -std=c++20 -Wall -Wextra -Wpedantic -Werror
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
