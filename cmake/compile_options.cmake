# Flags that every target shares. Contraction is off so that scalar references, vector variants and both compilers give the same floats.
add_library(qx_options INTERFACE)
target_compile_options(qx_options INTERFACE -Wall -Wextra -Wshadow -Wno-missing-field-initializers -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The note that GCC 4.6 passed vectors differently concerns nothing here.
  target_compile_options(qx_options INTERFACE -Wno-psabi)
  if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12 AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 warns of overlapping copies in `"text" + std::string` where there are none (GCC bug 105651).
    target_compile_options(qx_options INTERFACE -Wno-restrict)
  endif()
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
