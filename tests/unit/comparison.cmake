# SPDX-License-Identifier: Apache-2.0
# The harness of the benchmarks, with samples that are made up.
set(comparison_dir "${PROJECT_SOURCE_DIR}/bench/comparison")
find_path(HB_CLI11_INCLUDE_DIR CLI/CLI.hpp)
if(HB_CLI11_INCLUDE_DIR)
  hb_add_test(
    comparison_test
    SOURCES
    comparison/growth_test.cpp
    comparison/judgement_test.cpp
    comparison/measurement_test.cpp
    comparison/program_test.cpp
    comparison/report_test.cpp
    comparison/samples_test.cpp
    "${comparison_dir}/growth.cpp"
    "${comparison_dir}/judgement.cpp"
    "${comparison_dir}/interruption.cpp"
    "${comparison_dir}/measurement.cpp"
    "${comparison_dir}/program.cpp"
    "${comparison_dir}/report.cpp"
    "${comparison_dir}/samples.cpp"
    LIBS
    hb_test_support
    LABELS
    unit)
  target_include_directories(comparison_test SYSTEM PRIVATE ${HB_CLI11_INCLUDE_DIR})
endif()
