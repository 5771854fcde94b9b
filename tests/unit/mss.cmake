# SPDX-License-Identifier: Apache-2.0
# The security library: what it exports, as its users link it, and its rooms between the system's calls.
hb_add_test(
  mss_test
  SOURCES
  mss/generated_key_test.cpp
  mss/marshalled_form_test.cpp
  mss/refused_form_test.cpp
  mss/shared_object_test.cpp
  LIBS
  hb_test_support
  qz_mss
  LABELS
  unit)
target_compile_definitions(
  mss_test PRIVATE HB_NM="${CMAKE_NM}" HB_READELF="${CMAKE_READELF}" QZ_MSS_LIBRARY="$<TARGET_FILE:qz_mss>"
                   HB_SANITIZE="${HB_SANITIZE}")

# The library's objects in the program itself: their calls of these functions go through the test.
hb_add_test(
  mss_system_calls_test
  SOURCES
  mss/system_calls_test.cpp
  mss/wrapped_calls.cpp
  LIBS
  hb_test_support
  qz_mss_objects
  LABELS
  unit)
foreach(name malloc free getrandom)
  target_link_options(mss_system_calls_test PRIVATE "LINKER:--wrap=${name}")
endforeach()
