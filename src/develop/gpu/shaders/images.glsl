#ifdef GL_ES
precision highp image2D;
precision highp uimage2D;
#endif
