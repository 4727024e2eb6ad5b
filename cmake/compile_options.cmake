# Flags that every target shares. Contraction is off so that scalar references, vector variants and both compilers give the same floats.
add_library(qx_options INTERFACE)
target_compile_options(qx_options INTERFACE -Wall -Wextra -Wshadow -Wno-missing-field-initializers -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Release builds: -O3 is what the hot kernels are measured with.
  target_compile_options(qx_options INTERFACE -Wno-psabi)
endif()

if(QX_SANITIZE)
  add_compile_options(-fsanitize=${QX_SANITIZE} -fno-omit-frame-pointer -g1 -O1)
  add_link_options(-fsanitize=${QX_SANITIZE})
  if(QX_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
if(QX_LIBFUZZER)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
