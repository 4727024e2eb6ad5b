// The OpenGL entry points that development uses, in one table.
#pragma once

#include <GL/glcorearb.h>

#include <functional>

#include "base/message.h"

#undef MemoryBarrier  // a macro of <windows.h>, which OpenGL's header includes on Windows

/// X(name without "gl", type): every function that must exist, in the order in which they are looked up.
#define QX_GL_FUNCTIONS(X)                                     \
  X(CreateShader, PFNGLCREATESHADERPROC)                       \
  X(ShaderSource, PFNGLSHADERSOURCEPROC)                       \
  X(CompileShader, PFNGLCOMPILESHADERPROC)                     \
  X(GetShaderiv, PFNGLGETSHADERIVPROC)                         \
  X(GetShaderInfoLog, PFNGLGETSHADERINFOLOGPROC)               \
  X(DeleteShader, PFNGLDELETESHADERPROC)                       \
  X(CreateProgram, PFNGLCREATEPROGRAMPROC)                     \
  X(AttachShader, PFNGLATTACHSHADERPROC)                       \
  X(LinkProgram, PFNGLLINKPROGRAMPROC)                         \
  X(GetProgramiv, PFNGLGETPROGRAMIVPROC)                       \
  X(GetProgramInfoLog, PFNGLGETPROGRAMINFOLOGPROC)             \
  X(DeleteProgram, PFNGLDELETEPROGRAMPROC)                     \
  X(UseProgram, PFNGLUSEPROGRAMPROC)                           \
  X(GetUniformLocation, PFNGLGETUNIFORMLOCATIONPROC)           \
  X(Uniform1i, PFNGLUNIFORM1IPROC)                             \
  X(Uniform1ui, PFNGLUNIFORM1UIPROC)                           \
  X(Uniform2i, PFNGLUNIFORM2IPROC)                             \
  X(Uniform1iv, PFNGLUNIFORM1IVPROC)                           \
  X(Uniform1f, PFNGLUNIFORM1FPROC)                             \
  X(Uniform3fv, PFNGLUNIFORM3FVPROC)                           \
  X(Uniform4fv, PFNGLUNIFORM4FVPROC)                           \
  X(Uniform4f, PFNGLUNIFORM4FPROC)                             \
  X(Uniform4iv, PFNGLUNIFORM4IVPROC)                           \
  X(TexSubImage2D, PFNGLTEXSUBIMAGE2DPROC)                     \
  X(UniformMatrix3fv, PFNGLUNIFORMMATRIX3FVPROC)               \
  X(GenBuffers, PFNGLGENBUFFERSPROC)                           \
  X(DeleteBuffers, PFNGLDELETEBUFFERSPROC)                     \
  X(BindBuffer, PFNGLBINDBUFFERPROC)                           \
  X(BufferData, PFNGLBUFFERDATAPROC)                           \
  X(BufferSubData, PFNGLBUFFERSUBDATAPROC)                     \
  X(BindBufferBase, PFNGLBINDBUFFERBASEPROC)                   \
  X(TexStorage2D, PFNGLTEXSTORAGE2DPROC)                       \
  X(TexStorage3D, PFNGLTEXSTORAGE3DPROC)                       \
  X(TexSubImage3D, PFNGLTEXSUBIMAGE3DPROC)                     \
  X(BindImageTexture, PFNGLBINDIMAGETEXTUREPROC)               \
  X(DispatchCompute, PFNGLDISPATCHCOMPUTEPROC)                 \
  X(MemoryBarrier, PFNGLMEMORYBARRIERPROC)                     \
  X(GenVertexArrays, PFNGLGENVERTEXARRAYSPROC)                 \
  X(BindVertexArray, PFNGLBINDVERTEXARRAYPROC)                 \
  X(DeleteVertexArrays, PFNGLDELETEVERTEXARRAYSPROC)           \
  X(VertexAttribPointer, PFNGLVERTEXATTRIBPOINTERPROC)         \
  X(EnableVertexAttribArray, PFNGLENABLEVERTEXATTRIBARRAYPROC) \
  X(ActiveTexture, PFNGLACTIVETEXTUREPROC)                     \
  X(GenFramebuffers, PFNGLGENFRAMEBUFFERSPROC)                 \
  X(BindFramebuffer, PFNGLBINDFRAMEBUFFERPROC)                 \
  X(FramebufferTexture2D, PFNGLFRAMEBUFFERTEXTURE2DPROC)       \
  X(CheckFramebufferStatus, PFNGLCHECKFRAMEBUFFERSTATUSPROC)   \
  X(DeleteFramebuffers, PFNGLDELETEFRAMEBUFFERSPROC)           \
  X(GenQueries, PFNGLGENQUERIESPROC)                           \
  X(BeginQuery, PFNGLBEGINQUERYPROC)                           \
  X(EndQuery, PFNGLENDQUERYPROC)                               \
  X(GetQueryObjectui64v, PFNGLGETQUERYOBJECTUI64VPROC)         \
  X(GetString, PFNGLGETSTRINGPROC)                             \
  X(GetError, PFNGLGETERRORPROC)                               \
  X(Finish, PFNGLFINISHPROC)                                   \
  X(Viewport, PFNGLVIEWPORTPROC)                               \
  X(ClearColor, PFNGLCLEARCOLORPROC)                           \
  X(Clear, PFNGLCLEARPROC)                                     \
  X(ReadPixels, PFNGLREADPIXELSPROC)                           \
  X(PixelStorei, PFNGLPIXELSTOREIPROC)                         \
  X(GenTextures, PFNGLGENTEXTURESPROC)                         \
  X(DeleteTextures, PFNGLDELETETEXTURESPROC)                   \
  X(BindTexture, PFNGLBINDTEXTUREPROC)                         \
  X(TexParameteri, PFNGLTEXPARAMETERIPROC)                     \
  X(DrawArrays, PFNGLDRAWARRAYSPROC)                           \
  X(GetIntegerv, PFNGLGETINTEGERVPROC)                         \
  X(GetIntegeri_v, PFNGLGETINTEGERI_VPROC)                     \
  X(MapBufferRange, PFNGLMAPBUFFERRANGEPROC)                   \
  X(UnmapBuffer, PFNGLUNMAPBUFFERPROC)                         \
  X(FenceSync, PFNGLFENCESYNCPROC)                             \
  X(ClientWaitSync, PFNGLCLIENTWAITSYNCPROC)                   \
  X(DeleteSync, PFNGLDELETESYNCPROC)                           \
  X(CopyBufferSubData, PFNGLCOPYBUFFERSUBDATAPROC)             \
  X(Flush, PFNGLFLUSHPROC)                                     \
  X(Uniform1uiv, PFNGLUNIFORM1UIVPROC)                         \
  X(DeleteQueries, PFNGLDELETEQUERIESPROC)                     \
  X(QueryCounter, PFNGLQUERYCOUNTERPROC)                       \
  X(GetInteger64v, PFNGLGETINTEGER64VPROC)                     \
  X(WaitSync, PFNGLWAITSYNCPROC)                               \
  X(BlitFramebuffer, PFNGLBLITFRAMEBUFFERPROC)

namespace qx {

/// Any function, before it is turned into its own type.
using GlFunction = void (*)();
/// The driver's function of that name ("glFlush"); null when it has none.
using GlLookup = std::function<GlFunction(const char* name)>;

struct GlFunctions {
#define QX_GL_MEMBER(name, type) type name = nullptr;
  QX_GL_FUNCTIONS(QX_GL_MEMBER)
#undef QX_GL_MEMBER
};

/// The functions of the process's one OpenGL context. Written by LoadGlFunctions before any development, read on the GPU thread only.
extern GlFunctions gl;

/// Fills `gl`. 0, or -1 with "missing function %s"; the table is then incomplete.
[[nodiscard]] int LoadGlFunctions(const GlLookup& lookup, Message message);

/// One function on its own, for those that development can do without; null when the driver has none.
template <typename Function>
Function LookUpGlFunction(const GlLookup& lookup, const char* name) {
  return reinterpret_cast<Function>(lookup(name));
}

}  // namespace qx
