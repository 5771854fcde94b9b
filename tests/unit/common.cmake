# SPDX-License-Identifier: Apache-2.0
# What all programs outside the library share.
hb_add_test(
  common_unit_test
  SOURCES
  common/cluster_file_test.cpp
  common/complaint_test.cpp
  common/heartbeat_words_test.cpp
  common/ip_address_test.cpp
  common/no_answer_test.cpp
  common/not_configured_test.cpp
  common/printable_test.cpp
  LIBS
  hb_common
  hb_test_support
  LABELS
  unit)
