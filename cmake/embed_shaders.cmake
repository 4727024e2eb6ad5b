# Turns shader files into one C++ source. In script mode: cmake -DSHADERS=... -DINCLUDE_DIR=... -DOUTPUT=... -P embed_shaders.cmake
#   SHADERS      files, one constant each: output_pass.comp becomes qx::shaders::output_pass_comp
#   INCLUDE_DIR  where lines of the form  #include "name.glsl"  find their file; OpenGL itself knows no includes
function(read_shader file result)
  file(READ "${file}" text)
  string(REGEX MATCHALL "#include \"[^\"]+\"\n" lines "${text}")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "#include \"([^\"]+)\"\n" "\\1" name "${line}")
    read_shader("${INCLUDE_DIR}/${name}" included)
    string(REPLACE "${line}" "${included}" text "${text}")
  endforeach()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

set(source "#include \"develop/gpu/shader_sources.h\"\n\nnamespace qx::shaders {\n\n")
foreach(file IN LISTS SHADERS)
  get_filename_component(name "${file}" NAME)
  string(REPLACE "." "_" name "${name}")
  read_shader("${file}" text)
  string(APPEND source "const char* const ${name} = R\"glsl(${text})glsl\";\n\n")
endforeach()
string(APPEND source "}  // namespace qx::shaders\n")
file(WRITE "${OUTPUT}" "${source}")
