# SPDX-License-Identifier: Apache-2.0
# The names and texts of the error numbers, as a C99 and a C++ program see them.
hb_add_test(error_names_test SOURCES errors/error_names_test.cpp errors/c_error_names.c errors/expected_errors.cpp LABELS
            unit)
set_source_files_properties(errors/c_error_names.c PROPERTIES COMPILE_OPTIONS
                                                              "-std=c99;-Wall;-Wextra;-Wpedantic;-Werror")
target_include_directories(
  error_names_test PRIVATE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/include"
                           "${PROJECT_SOURCE_DIR}/platform/include")
target_compile_definitions(error_names_test PRIVATE HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
