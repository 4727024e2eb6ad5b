# The libraries of the Windows build, under the names that find_package and pkg-config give them natively. Debian has no mingw builds of
# them: the compiled ones come from Debian's source packages (tools/fetch_windows_sources), the header-only ones from the native packages.
# Everything is linked statically.

set(QX_WINDOWS_SOURCES "" CACHE PATH "Folder that tools/fetch_windows_sources filled")
foreach(library libdeflate libzstd libpng1.6)
  file(GLOB found LIST_DIRECTORIES true ${QX_WINDOWS_SOURCES}/${library}-*)
  if(NOT found)
    message(FATAL_ERROR "no ${library} in \"${QX_WINDOWS_SOURCES}\": run tools/fetch_windows_sources")
  endif()
  list(GET found 0 ${library}_folder)
endforeach()

# Without the assembler's help the compiler's aligned moves of 32 and 64 bytes fault: Windows aligns stacks to 16 bytes only, and GCC spills
# wide registers as if they were aligned (GCC bug 54412). The assembler writes the unaligned forms, which cost the same on aligned addresses.
# tests/windows/check_binaries disassembles what was built.
add_compile_options(-Wa,-muse-unaligned-vector-move)
add_link_options(-static)
add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0A00)

file(GLOB deflate_sources ${libdeflate_folder}/lib/*.c ${libdeflate_folder}/lib/x86/*.c)
add_library(deflate STATIC ${deflate_sources})
target_include_directories(deflate SYSTEM PUBLIC ${libdeflate_folder})
add_library(PkgConfig::deflate ALIAS deflate)

set(zstd_folder ${libzstd_folder}/lib)
file(GLOB zstd_sources ${zstd_folder}/common/*.c ${zstd_folder}/compress/*.c ${zstd_folder}/decompress/*.c)
add_library(zstd STATIC ${zstd_sources})
target_include_directories(zstd SYSTEM PUBLIC ${zstd_folder})
target_compile_definitions(zstd PRIVATE ZSTD_DISABLE_ASM)
add_library(PkgConfig::zstd ALIAS zstd)

# libz-mingw-w64-dev; the static library, as its DLL would have to travel with the programs.
find_library(ZLIB_LIBRARY NAMES libz.a REQUIRED)
find_package(ZLIB REQUIRED)
set(png_folder ${libpng1.6_folder})
configure_file(${png_folder}/scripts/pnglibconf.h.prebuilt ${CMAKE_BINARY_DIR}/png/pnglibconf.h COPYONLY)
set(png_sources png pngerror pngget pngmem pngpread pngread pngrio pngrtran pngrutil pngset pngtrans pngwio pngwrite pngwtran pngwutil)
list(TRANSFORM png_sources PREPEND ${png_folder}/)
list(TRANSFORM png_sources APPEND .c)
add_library(png STATIC EXCLUDE_FROM_ALL ${png_sources})
target_include_directories(png SYSTEM PUBLIC ${png_folder} ${CMAKE_BINARY_DIR}/png)
target_link_libraries(png PUBLIC ZLIB::ZLIB)
add_library(PNG::PNG ALIAS png)

# The native include folder as a whole would bring the native C library's headers with it: only the wanted folders are linked into one of
# our own.
foreach(header CLI/CLI.hpp fmt/format.h nlohmann/json.hpp)
  find_path(header_folder_${header} ${header} NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  get_filename_component(name ${header} DIRECTORY)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers)
  file(CREATE_LINK ${header_folder_${header}}/${name} ${CMAKE_BINARY_DIR}/headers/${name} SYMBOLIC)
endforeach()
foreach(library CLI11::CLI11 fmt::fmt nlohmann_json::nlohmann_json)
  add_library(${library} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${library} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers)
endforeach()
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)

find_path(googletest_folder googletest/CMakeLists.txt PATHS /usr/src/googletest NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
set(BUILD_GMOCK OFF)
set(INSTALL_GTEST OFF)
add_subdirectory(${googletest_folder} googletest EXCLUDE_FROM_ALL SYSTEM)
