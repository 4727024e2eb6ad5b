#include "develop/gpu/gl_functions.h"

namespace qx {

static_assert(sizeof(GlFunctions) == 80 * sizeof(GlFunction));

GlFunctions gl;

int LoadGlFunctions(const GlLookup& lookup, Message message) {
#define QX_GL_LOAD(name, type)                          \
  gl.name = LookUpGlFunction<type>(lookup, "gl" #name); \
  if (gl.name == nullptr) return message.Fail("missing function %s", "gl" #name);
  QX_GL_FUNCTIONS(QX_GL_LOAD)
#undef QX_GL_LOAD
  return 0;
}

}  // namespace qx
