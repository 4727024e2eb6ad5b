precision highp image2D;
precision highp uimage2D;
