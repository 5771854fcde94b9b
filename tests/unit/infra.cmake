# SPDX-License-Identifier: Apache-2.0
# Rules that hold for the tree and for what is built from it.
set(infra "${CMAKE_CURRENT_SOURCE_DIR}/infra")
separate_arguments(c_flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
separate_arguments(cxx_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")

# Every public header stands alone, in both languages. The compiler cache knows the answer for a header that has not
# changed, and for a sanitizer's build, where this is the same compilation: that is why there is an object.
set(header_objects "${CMAKE_CURRENT_BINARY_DIR}/headers")
file(MAKE_DIRECTORY "${header_objects}")
file(GLOB public_headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/include/*.h"
     "${PROJECT_SOURCE_DIR}/platform/include/*.h")
set(public_include -I "${PROJECT_SOURCE_DIR}/include" -I "${PROJECT_SOURCE_DIR}/platform/include")
set(strict -Wall -Wextra -Wpedantic -Werror -c)
foreach(header ${public_headers})
  get_filename_component(name "${header}" NAME)
  set(object "${header_objects}/${name}")
  add_test(NAME header.${name}.compiles_alone_as_C99 COMMAND ${CMAKE_C_COMPILER_LAUNCHER} "${CMAKE_C_COMPILER}" ${c_flags}
                                                             -std=c99 ${strict} ${public_include} -include "${header}" -x c
                                                             /dev/null -o "${object}.c99.o")
  add_test(NAME header.${name}.compiles_alone_as_C++20
           COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} "${CMAKE_CXX_COMPILER}" ${cxx_flags} -std=c++20 ${strict}
                   ${public_include} -include "${header}" -x c++ /dev/null -o "${object}.c++20.o")
  add_test(NAME header.${name}.may_be_included_twice
           COMMAND ${CMAKE_C_COMPILER_LAUNCHER} "${CMAKE_C_COMPILER}" ${c_flags} -std=c99 ${strict} ${public_include}
                   -include "${header}" -include "${header}" -x c /dev/null -o "${object}.twice.o")
endforeach()

# So does every internal one.
file(
  GLOB_RECURSE internal_headers
  CONFIGURE_DEPENDS
  RELATIVE "${PROJECT_SOURCE_DIR}"
  "${PROJECT_SOURCE_DIR}/lib/*.h" "${PROJECT_SOURCE_DIR}/utils/*.h")
foreach(header ${internal_headers})
  string(REPLACE "/" "." object "${header}")
  add_test(NAME header.${header}.compiles_alone
           COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} "${CMAKE_CXX_COMPILER}" ${cxx_flags} -std=c++20 ${strict} -I
                   "${PROJECT_SOURCE_DIR}" -I "${PROJECT_SOURCE_DIR}/include" -I "${PROJECT_SOURCE_DIR}/platform/include"
                   -include "${PROJECT_SOURCE_DIR}/${header}" -x c++ /dev/null -o "${header_objects}/${object}.o")
endforeach()

# The C side of the header's layouts: what lib/wire/hb_wire.h asserts in C++ holds for a C program as well.
add_library(c_layout_test OBJECT "${infra}/c_layout_test.c")
target_include_directories(c_layout_test PRIVATE "${PROJECT_SOURCE_DIR}/include"
                                                 "${PROJECT_SOURCE_DIR}/platform/include")
target_compile_options(c_layout_test PRIVATE -Wall -Wextra -Wpedantic -Werror)

hb_add_test(
  source_rules_test
  SOURCES
  "${infra}/source_rules_test.cpp"
  "${infra}/bare_numbers.cpp"
  "${infra}/layers_test.cpp"
  "${infra}/names_test.cpp"
  "${infra}/source_tree.cpp"
  "${infra}/include_graph.cpp")
target_include_directories(source_rules_test PRIVATE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(source_rules_test PRIVATE HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}")

hb_add_test(
  documentation_test
  SOURCES
  "${infra}/documentation_test.cpp"
  "${infra}/source_tree.cpp")
target_include_directories(documentation_test PRIVATE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(documentation_test PRIVATE HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}")

hb_add_test(
  operations_document_test
  SOURCES
  "${infra}/operations_document_test.cpp"
  "${infra}/log_lines.cpp"
  "${infra}/source_tree.cpp")
target_include_directories(operations_document_test PRIVATE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(operations_document_test PRIVATE HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}")

# These read the sources and run nothing that a sanitizer could check. Regular expressions are slow under one.
if(HB_SANITIZE)
  foreach(test source_rules_test documentation_test operations_document_test)
    target_compile_options(${test} PRIVATE -fno-sanitize=all -O1)
  endforeach()
endif()

hb_add_test(built_library_test SOURCES "${infra}/built_library_test.cpp" "${infra}/source_tree.cpp")
target_include_directories(built_library_test PRIVATE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(
  built_library_test PRIVATE HB_SOURCE_DIR="${PROJECT_SOURCE_DIR}" HB_NM="${CMAKE_NM}"
                             HB_READELF="${CMAKE_READELF}" HB_LIBRARY="$<TARGET_FILE:hb_client>"
                             HB_SANITIZE="${HB_SANITIZE}")
add_dependencies(built_library_test hb_client)

# The sanitizers' runtimes keep mappings of their own, so this one is for the plain builds.
if(NOT HB_SANITIZE)
  hb_add_test(library_loading_test SOURCES "${infra}/library_loading_test.cpp" LIBS ${CMAKE_DL_LIBS})
  target_compile_definitions(
    library_loading_test PRIVATE HB_LIBRARY="$<TARGET_FILE:hb_client>"
                                 HB_TRACE_LIBRARY="$<TARGET_FILE:qz_tr>")
  add_dependencies(library_loading_test hb_client)

  include("${CMAKE_CURRENT_SOURCE_DIR}/install_test/install_test.cmake")
endif()

# The fuzzers' seeds, through the same entry, in every build.
hb_add_test(fuzz_corpus_test SOURCES "${PROJECT_SOURCE_DIR}/tests/fuzz/corpus_test.cpp"
            "${PROJECT_SOURCE_DIR}/tests/fuzz/decode_record.cpp" LIBS hb_client_static)
target_compile_definitions(fuzz_corpus_test PRIVATE HB_CORPUS_DIR="${PROJECT_SOURCE_DIR}/tests/fuzz/corpus")
if(TARGET hb_cluster_description)
  hb_add_test(control_corpus_test SOURCES "${PROJECT_SOURCE_DIR}/tests/fuzz/control_corpus_test.cpp"
              "${PROJECT_SOURCE_DIR}/tests/fuzz/control_line.cpp" LIBS hb_cluster_description)
  target_compile_definitions(control_corpus_test
                             PRIVATE HB_CONTROL_CORPUS="${PROJECT_SOURCE_DIR}/tests/fuzz/control_corpus")
endif()
if(TARGET hb_engine_serf)
  hb_add_test(serf_corpus_test SOURCES "${PROJECT_SOURCE_DIR}/tests/fuzz/serf_corpus_test.cpp"
              "${PROJECT_SOURCE_DIR}/tests/fuzz/serf_message.cpp" LIBS hb_engine_serf TIMEOUT 600)
  target_compile_definitions(serf_corpus_test PRIVATE HB_SERF_CORPUS="${PROJECT_SOURCE_DIR}/tests/fuzz/serf_corpus")
endif()
