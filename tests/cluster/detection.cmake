# SPDX-License-Identifier: Apache-2.0
# How long it takes until a client is told of a fault: a program that prints the table of docs/operations.md.
if(NOT HB_WITH_COROSYNC)
  return()
endif()
set(detection_dir ${CMAKE_CURRENT_LIST_DIR}/detection)
add_executable(cluster_detection ${detection_dir}/figures.cpp ${detection_dir}/main.cpp
                                 ${detection_dir}/measurement.cpp)
target_include_directories(cluster_detection SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
target_link_libraries(cluster_detection PRIVATE hb_options cluster_programs_support)

hb_add_test(cluster_figures_test SOURCES ${detection_dir}/figures_test.cpp ${detection_dir}/figures.cpp)
target_include_directories(cluster_figures_test PRIVATE "${PROJECT_SOURCE_DIR}")
