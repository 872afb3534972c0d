# SPDX-License-Identifier: Apache-2.0

# qeltemplate_warnings(target): the warnings that all of our code is clean under.
function(qeltemplate_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                         -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
                         -Wcast-align -Wformat=2)
  if(QELTEMPLATE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
