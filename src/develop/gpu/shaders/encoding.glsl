// Output encodings: scene-linear Rec.709 to code values (ITU-R BT.709 with a highlight knee, `.cube` LUTs, log curves, linear).
//   uProfile   0 Rec.709 or LUT, 3 the log and linear kinds
//   uTone      1: highlight knee, which maps uWhite to 1
//   uLog       profile 3: 1 DaVinci Intermediate, 2 S-Log3, 4 linear
//   uGamut     linear Rec.709 to the target primaries
//   uLutMode   bit 0: uLut1 is there, bit 1: uLut3
//   uLutN      sizes of both; uLut1Min … uLut3Max their domains
//   uLut1      entry i at (i mod 1024, i / 1024);   uLut3   entry (r, g, b) at that texel
uniform int uProfile, uTone, uLog, uLutMode;
uniform float uWhite;
uniform mat3 uGamut;
uniform vec4 uLutN, uLut1Min, uLut1Max, uLut3Min, uLut3Max;
uniform sampler2D uLut1;
uniform sampler3D uLut3;

// Also turns what is not a number into 0.
float notNegative(float x) {
  return x > 0.0 ? x : 0.0;
}

float knee(float x, float k, float w) {
  if (x <= k) return x;
  if (w <= 1.0) return min(x, 1.0);
  float t = (x - k) / (w - k);
  return t >= 1.0 ? 1.0 : k + (1.0 - k) * (1.0 - pow(1.0 - t, (w - k) / (1.0 - k)));
}

float oetf709(float x) {
  x = min(notNegative(x), 1.0);
  return x < 0.018 ? 4.5 * x : 1.099 * pow(x, 0.45) - 0.099;
}

float enc709(float x) {
  return oetf709(uTone != 0 ? knee(x, 0.8, uWhite) : min(x, 1.0));
}

float daVinciIntermediate(float x) {
  return x <= 0.00262409 ? x * 10.44426855 : (log2(x + 0.0075) + 7.0) * 0.07329248;
}

float sLog3(float x) {
  const float kLog10Of2 = 0.30102999566;
  if (x >= 0.01125) return (420.0 + log2((x + 0.01) / 0.19) * kLog10Of2 * 261.5) / 1023.0;
  return (x * (171.2102946929 - 95.0) / 0.01125 + 95.0) / 1023.0;
}

vec3 tablePosition(vec3 c, vec3 low, vec3 high, float size) {
  vec3 t = (c - low) / (high - low) * (size - 1.0);
  return vec3(notNegative(min(t.r, size - 1.0)), notNegative(min(t.g, size - 1.0)), notNegative(min(t.b, size - 1.0)));
}

vec3 table1D(int i) {
  return texelFetch(uLut1, ivec2(i & 1023, i >> 10), 0).rgb;
}

vec3 apply1D(vec3 c) {
  vec3 t = tablePosition(c, uLut1Min.rgb, uLut1Max.rgb, uLutN.x);
  for (int k = 0; k < 3; ++k) {
    int i = min(int(t[k]), int(uLutN.x) - 2);
    float low = table1D(i)[k];
    c[k] = low + (table1D(i + 1)[k] - low) * (t[k] - float(i));
  }
  return c;
}

vec3 table3D(ivec3 at) {
  return texelFetch(uLut3, at, 0).rgb;
}

// Tetrahedral interpolation between the ends of the cell's diagonal and two more corners. Ties fall to the later cases.
vec3 apply3D(vec3 c) {
  vec3 t = tablePosition(c, uLut3Min.rgb, uLut3Max.rgb, uLutN.y);
  ivec3 i = min(ivec3(t), ivec3(int(uLutN.y) - 2));
  vec3 f = t - vec3(i);
  ivec3 a, b;
  vec4 w;
  if (f.r > f.g) {
    if (f.g > f.b) {
      a = ivec3(1, 0, 0), b = ivec3(1, 1, 0), w = vec4(1.0 - f.r, f.r - f.g, f.g - f.b, f.b);
    } else if (f.r > f.b) {
      a = ivec3(1, 0, 0), b = ivec3(1, 0, 1), w = vec4(1.0 - f.r, f.r - f.b, f.b - f.g, f.g);
    } else {
      a = ivec3(0, 0, 1), b = ivec3(1, 0, 1), w = vec4(1.0 - f.b, f.b - f.r, f.r - f.g, f.g);
    }
  } else if (f.b > f.g) {
    a = ivec3(0, 0, 1), b = ivec3(0, 1, 1), w = vec4(1.0 - f.b, f.b - f.g, f.g - f.r, f.r);
  } else if (f.b > f.r) {
    a = ivec3(0, 1, 0), b = ivec3(0, 1, 1), w = vec4(1.0 - f.g, f.g - f.b, f.b - f.r, f.r);
  } else {
    a = ivec3(0, 1, 0), b = ivec3(1, 1, 0), w = vec4(1.0 - f.g, f.g - f.r, f.r - f.b, f.b);
  }
  return table3D(i) * w.x + table3D(i + a) * w.y + table3D(i + b) * w.z + table3D(i + 1) * w.w;
}

vec3 lutApply(vec3 c) {
  if ((uLutMode & 1) != 0) c = apply1D(c);
  if ((uLutMode & 2) != 0) c = apply3D(c);
  return clamp(c, 0.0, 1.0);
}

vec3 rpEncode(vec3 d) {
  vec3 encoded = vec3(enc709(d.r), enc709(d.g), enc709(d.b));
  return uLutMode != 0 ? lutApply(encoded) : encoded;
}

vec3 pcOut(vec3 d) {
  if (uProfile == 0) return rpEncode(d);
  d = vec3(notNegative(d.r), notNegative(d.g), notNegative(d.b));
  vec3 g = uGamut[0] * d.r + uGamut[1] * d.g + uGamut[2] * d.b;
  if (uLog == 4) return g;
  vec3 v = uLog == 1 ? vec3(daVinciIntermediate(g.r), daVinciIntermediate(g.g), daVinciIntermediate(g.b))
                     : vec3(sLog3(g.r), sLog3(g.g), sLog3(g.b));
  return clamp(v, 0.0, 1.0);
}
