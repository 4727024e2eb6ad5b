#ifdef GL_ES  // desktop GLSL 4.30 has no precision of samplers and images: strict compilers may refuse these lines
precision highp sampler2D;
precision highp sampler3D;
precision highp usampler2D;
#endif
