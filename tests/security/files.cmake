# SPDX-License-Identifier: Apache-2.0
# What wispd makes in the system: files, keys, segments and semaphores.
target_sources(hb_attack PRIVATE ${CMAKE_CURRENT_LIST_DIR}/attacks_files.cpp)
target_sources(security_test PRIVATE ${CMAKE_CURRENT_LIST_DIR}/files_test.cpp ${CMAKE_CURRENT_LIST_DIR}/paths_test.cpp)
