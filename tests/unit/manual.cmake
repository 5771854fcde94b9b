# SPDX-License-Identifier: Apache-2.0
# Manual pages and completions: how they are made, and that they belong to the programs of this build.
# Shells run the completions, which are the same in every build. They start the programs some hundred times, which takes
# minutes with sanitizers.
set(completions_test manual/completions_test.cpp)
if(HB_SANITIZE)
  set(completions_test)
endif()
hb_add_test(
  manual_test
  SOURCES
  ${completions_test}
  manual/header_test.cpp
  manual/markdown_test.cpp
  manual/pages_test.cpp
  manual/program_help.cpp
  manual/reference_test.cpp
  manual/verbs_and_options_test.cpp
  LIBS
  hb_manual_parts
  hb_test_support
  LABELS
  unit)
set(manual_programs "hbctl,1,hbctl.md")
if(HB_BUILD_DAEMON)
  string(APPEND manual_programs " wispctl,8,wispd.md wispd,8,wispd.md")
endif()
if(HB_WITH_EXPORTER)
  string(APPEND manual_programs " hb_exporter,8,monitoring.md")
endif()
target_compile_definitions(
  manual_test
  PRIVATE HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}" HB_PROGRAMS="${manual_programs}"
          HB_PROGRAM_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" HB_MANUAL_DIR="${CMAKE_BINARY_DIR}/manual"
          HB_MANUAL_PROGRAM="$<TARGET_FILE:hb_manual>")
add_dependencies(manual_test hb_manual_files)
