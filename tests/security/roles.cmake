# SPDX-License-Identifier: Apache-2.0
# Who connects, who acts on the node, who controls wispd, and what one user can use up.
target_sources(hb_attack PRIVATE ${CMAKE_CURRENT_LIST_DIR}/attack_records.cpp ${CMAKE_CURRENT_LIST_DIR}/attacks_quotas.cpp
                                 ${CMAKE_CURRENT_LIST_DIR}/attacks_roles.cpp)
target_sources(security_test PRIVATE ${CMAKE_CURRENT_LIST_DIR}/log_bound_test.cpp ${CMAKE_CURRENT_LIST_DIR}/quota_test.cpp
                                     ${CMAKE_CURRENT_LIST_DIR}/three_roles_test.cpp)
