# SPDX-License-Identifier: Apache-2.0
# Attacks by what is read: records, segments, the environment, files, requests, texts for a terminal.
target_sources(hb_attack PRIVATE ${CMAKE_CURRENT_LIST_DIR}/attacks_input.cpp
                                 ${CMAKE_CURRENT_LIST_DIR}/hostile_bytes.cpp)
target_sources(security_test PRIVATE ${CMAKE_CURRENT_LIST_DIR}/hostile_daemon_test.cpp
                                     ${CMAKE_CURRENT_LIST_DIR}/named_files_test.cpp
                                     ${CMAKE_CURRENT_LIST_DIR}/terminal_test.cpp)

add_executable(exec_client ${CMAKE_CURRENT_LIST_DIR}/exec_client.cpp)
target_link_libraries(exec_client PRIVATE hb_options hb_client)
add_dependencies(security_test exec_client)
