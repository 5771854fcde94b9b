# SPDX-License-Identifier: Apache-2.0
# The platform's libraries, each against what it exports; the trace library's rooms also from inside.
add_library(platform_child STATIC platform_child.cpp)
target_include_directories(platform_child PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(platform_child PRIVATE hb_options)

hb_add_test(platform_trace_test SOURCES platform_trace_test.cpp LIBS platform_child qz_tr Threads::Threads LABELS threads)

# Objects of the trace library beside the shared one would be two libraries in one program: these tests link the
# objects alone.
hb_add_test(
  platform_trace_rooms_test
  SOURCES platform_trace_catalogue_test.cpp platform_trace_levels_test.cpp platform_trace_text_test.cpp
  LIBS platform_child qz_tr_objects
  LABELS unit)
target_compile_definitions(
  platform_trace_rooms_test
  PRIVATE TRACE_CATALOGUE="${PROJECT_SOURCE_DIR}/platform/tr/hbc.catalogue"
          TRACE_IDS_HEADER="${PROJECT_SOURCE_DIR}/lib/base/trace_ids.h")

hb_add_test(platform_trace_unload_test SOURCES platform_trace_unload_test.cpp LIBS platform_child LABELS unit)
target_include_directories(platform_trace_unload_test PRIVATE ${PROJECT_SOURCE_DIR}/platform/include)
target_link_libraries(platform_trace_unload_test PRIVATE ${CMAKE_DL_LIBS})
# A sanitizer keeps up to 256 MiB of freed memory for a while, and looks for leaks itself.
if(HB_SANITIZE)
  set(growth_limit 524288)
else()
  set(growth_limit 1024)
endif()
target_compile_definitions(platform_trace_unload_test PRIVATE TRACE_LIBRARY="$<TARGET_FILE:qz_tr>"
                                                              GROWTH_LIMIT_KILOBYTES=${growth_limit})
add_dependencies(platform_trace_unload_test qz_tr)

hb_add_test(
  platform_small_libraries_test
  SOURCES platform_c_caller.c platform_c_caller_test.cpp platform_ffdc_test.cpp platform_mox_test.cpp
          platform_mss_test.cpp
  LIBS platform_child qz_tr qz_mss qz_ffdc qz_mox
  LABELS unit)
