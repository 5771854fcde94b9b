# SPDX-License-Identifier: Apache-2.0
# Programs that end in every way, and the library unloaded.
set(process_exit "${CMAKE_CURRENT_SOURCE_DIR}/process_exit")

# The sanitizers' runtimes keep what a plain build gives back.
if(NOT HB_SANITIZE)
  hb_add_test(library_unloading_test SOURCES "${process_exit}/library_unloading_test.cpp" LIBS hb_test_support
              ${CMAKE_DL_LIBS})
  target_compile_definitions(library_unloading_test PRIVATE HB_LIBRARY="$<TARGET_FILE:hb_client>")
  add_dependencies(library_unloading_test hb_client)

  add_executable(quiet_exit "${process_exit}/quiet_exit.cpp")
  target_link_libraries(quiet_exit PRIVATE hb_options hb_client ${CMAKE_DL_LIBS})
  hb_add_test(quiet_exit_test SOURCES "${process_exit}/quiet_exit_test.cpp" LIBS hb_test_support)
  target_compile_definitions(quiet_exit_test PRIVATE HB_QUIET_EXIT="$<TARGET_FILE:quiet_exit>")
  add_dependencies(quiet_exit_test quiet_exit)
endif()

# Programs that end while a thread of them is in the library.
set(exits_by_default 100)
if(HB_SANITIZE)
  set(exits_by_default 20)
endif()
add_executable(busy_exit "${process_exit}/busy_exit.cpp")
target_link_libraries(busy_exit PRIVATE hb_options hb_client hb_provider_sim)
hb_add_test(busy_exit_test SOURCES "${process_exit}/busy_exit_test.cpp" LIBS hb_test_support TIMEOUT 600 LABELS unit)
target_compile_definitions(busy_exit_test PRIVATE HB_BUSY_EXIT="$<TARGET_FILE:busy_exit>"
                                                  HB_EXITS_BY_DEFAULT=${exits_by_default})
add_dependencies(busy_exit_test busy_exit)
# The same program in a module, which another one loads: the library comes with it.
add_library(busy_exit_module MODULE "${process_exit}/busy_exit.cpp")
target_compile_definitions(busy_exit_module PRIVATE main=busy_exit)
target_link_libraries(busy_exit_module PRIVATE hb_options hb_client hb_provider_sim)
add_executable(busy_exit_loading "${process_exit}/busy_exit_loading.cpp")
target_compile_definitions(busy_exit_loading PRIVATE HB_MODULE="$<TARGET_FILE:busy_exit_module>")
target_link_libraries(busy_exit_loading PRIVATE hb_options ${CMAKE_DL_LIBS})
target_compile_definitions(busy_exit_test PRIVATE HB_BUSY_EXIT_LOADING="$<TARGET_FILE:busy_exit_loading>")
add_dependencies(busy_exit_test busy_exit_loading busy_exit_module)
# The same program with a library that opens the session before main() starts.
add_library(busy_exit_opener SHARED "${process_exit}/busy_exit_opener.cpp")
target_link_libraries(busy_exit_opener PRIVATE hb_options hb_client)
add_executable(busy_exit_opened "${process_exit}/busy_exit.cpp")
target_link_libraries(busy_exit_opened PRIVATE hb_options hb_client hb_provider_sim)
target_link_options(busy_exit_opened PRIVATE "LINKER:--no-as-needed" "$<TARGET_FILE:busy_exit_opener>")
target_compile_definitions(busy_exit_test PRIVATE HB_BUSY_EXIT_OPENED="$<TARGET_FILE:busy_exit_opened>")
add_dependencies(busy_exit_opened busy_exit_opener)
add_dependencies(busy_exit_test busy_exit_opened)
if(HB_BUILD_DAEMON AND NOT HB_SANITIZE)
  target_compile_definitions(busy_exit_test PRIVATE HB_SIMULATED_SERVICE="$<TARGET_FILE:qz_mox_sim>")
  add_dependencies(busy_exit_test qz_mox_sim)
endif()
