# Turns a text file into a C++ source. In script mode: cmake -DINPUT=... -DHEADER=... -DNAMESPACE=... -DSYMBOL=... -DOUTPUT=... -P embed_text.cmake
#   HEADER  declares  extern const char* const SYMBOL;  in namespace NAMESPACE
file(READ "${INPUT}" text)
# In pieces: a compiler may limit a single literal to 64 KiB.
string(LENGTH "${text}" length)
set(literals "")
set(at 0)
while(at LESS length)
  string(SUBSTRING "${text}" ${at} 12000 piece)
  string(APPEND literals "\n    R\"embedded(${piece})embedded\"")
  math(EXPR at "${at} + 12000")
endwhile()
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\n\nconst char* const ${SYMBOL} =${literals};\n\n}  // namespace ${NAMESPACE}\n")
