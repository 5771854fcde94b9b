# What programs print of texts that came from elsewhere.
hb_add_test(
  terminal_unit_test
  SOURCES
  terminal/printable_test.cpp
  LIBS
  hb_terminal
  LABELS
  unit)
