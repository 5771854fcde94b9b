# SPDX-License-Identifier: Apache-2.0
# hbctl without a daemon: its command line, what it writes, and how it words failures.
hb_add_test(
  hbctl_unit_test
  SOURCES
  hbctl/arguments_test.cpp
  hbctl/cluster_picture_test.cpp
  hbctl/command_queue_test.cpp
  hbctl/control_test.cpp
  hbctl/daemon_path_test.cpp
  hbctl/error_text_test.cpp
  hbctl/event_names_test.cpp
  hbctl/health_test.cpp
  hbctl/member_word_test.cpp
  hbctl/migration_report_test.cpp
  hbctl/number_list_test.cpp
  hbctl/plain_text_test.cpp
  hbctl/program_test.cpp
  hbctl/redaction_test.cpp
  hbctl/render_json_test.cpp
  hbctl/render_text_test.cpp
  hbctl/sample_picture.cpp
  hbctl/text_table_test.cpp
  hbctl/wait_condition_test.cpp
  hbctl/waiting_test.cpp
  hbctl/top/frame_test.cpp
  hbctl/top/render_top_test.cpp
  hbctl/top/sample_model.cpp
  hbctl/top/text_columns_test.cpp
  hbctl/top/top_model_test.cpp
  hbctl/top/top_view_test.cpp
  errors/expected_errors.cpp
  LIBS
  hb_hbctl
  hb_test_support
  TIMEOUT
  600
  LABELS
  unit)
add_dependencies(hbctl_unit_test hbctl)
target_compile_definitions(hbctl_unit_test PRIVATE HBCTL_PROGRAM="$<TARGET_FILE:hbctl>"
                                                    HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
