precision highp sampler2D;
precision highp sampler3D;
precision highp usampler2D;
