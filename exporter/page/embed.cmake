# SPDX-License-Identifier: Apache-2.0
# Makes a C++ source of the page: cmake -DFOLDER=... -DOUTPUT=... -P embed.cmake
file(READ "${FOLDER}/page.html" page)
foreach(part css js)
  file(READ "${FOLDER}/page.${part}" text)
  string(REPLACE "@${part}@" "${text}" page "${page}")
endforeach()
file(
  WRITE "${OUTPUT}"
  "// Made by exporter/page/embed.cmake.\n#include \"exporter/page.h\"\n\n"
  "namespace exporter {\nconst char *const PAGE_TEMPLATE = R\"_page_(${page})_page_\";\n} // namespace exporter\n")
