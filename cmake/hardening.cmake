# SPDX-License-Identifier: Apache-2.0
# The flags that distributions build their packages with, for every target of a directory that is installed.
# Sanitizer builds do without them: sanitizers check more, and the fortified functions need an optimizer.
if(NOT HB_SANITIZE)
  add_compile_options(-fstack-protector-strong -fcf-protection
                      "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  add_link_options("LINKER:-z,relro,-z,now")
endif()
