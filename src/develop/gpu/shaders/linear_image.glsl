// The colour step: 16-bit camera RGB to scene-linear Rec.709 in the linear image. Built with the prefix that defines LINFMT.
//   uM       white-balanced camera RGB to linear Rec.709
//   uGain    exposure gain
//   image 0  the linear image
layout(LINFMT, binding = 0) writeonly uniform image2D uLinear;
uniform mat3 uM;
uniform float uGain;

void storeLinear(ivec2 p, ivec3 rgb) {
  vec3 c = vec3(rgb) * (1.0 / 65535.0);
  vec3 linear = (uM[0] * c.r + uM[1] * c.g + uM[2] * c.b) * uGain;
  imageStore(uLinear, p, vec4(max(linear, 0.0), 1.0));
}
