# SPDX-License-Identifier: Apache-2.0
# HB_OF_TESTS is set for every target under tests/.
define_property(TARGET PROPERTY HB_OF_TESTS INITIALIZE_FROM_VARIABLE HB_OF_TESTS)

# hb_options: the language warnings, all of them errors, and the sanitizers. Every target of this project
# links it privately.
add_library(hb_options INTERFACE)
target_compile_options(
  hb_options
  INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Wundef -Wcast-align -Werror
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>)
# At -O3, GCC 12 reports these warnings falsely inside std::string and std::vector. Builds with -O2 keep them.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(
    hb_options INTERFACE "$<$<CONFIG:Release>:-Wno-restrict;-Wno-array-bounds;-Wno-stringop-overflow;-Wno-stringop-overread>")
endif()
if(HB_SANITIZE)
  target_compile_options(hb_options INTERFACE -fsanitize=${HB_SANITIZE} -fno-sanitize-recover=all
                                              -fno-omit-frame-pointer)
  # A C program loads what the library needs of C++.
  target_link_options(hb_options INTERFACE -fsanitize=${HB_SANITIZE}
                      "$<$<LINK_LANG_AND_ID:C,Clang>:-fsanitize-link-c++-runtime;-lstdc++>")
  # Each compiler says so with a macro of its own.
  foreach(sanitizer address thread)
    if(HB_SANITIZE MATCHES ${sanitizer})
      string(TOUPPER ${sanitizer} sanitizer)
      target_compile_definitions(hb_options INTERFACE HB_${sanitizer}_SANITIZER)
    endif()
  endforeach()
  # In the tests' own code these checks find nothing that the address sanitizer does not, and they take a third of the
  # time that it compiles. What is tested keeps them.
  if(HB_SANITIZE MATCHES "undefined")
    target_compile_options(
      hb_options
      INTERFACE
        "$<$<BOOL:$<TARGET_PROPERTY:HB_OF_TESTS>>:-fno-sanitize=null,alignment,object-size,vptr,nonnull-attribute,returns-nonnull-attribute>"
    )
  endif()
endif()
