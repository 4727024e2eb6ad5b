// The shader files of shaders/, without their version lines, with their includes resolved. The build generates their definitions.
#pragma once

namespace qx::shaders {

extern const char* const unpack_comp;
extern const char* const debayer_5x5_comp;
extern const char* const debayer_bilinear_comp;
extern const char* const ahd_green_comp;
extern const char* const ahd_homogeneity_comp;
extern const char* const ahd_select_comp;
extern const char* const median_chroma_comp;
extern const char* const median_green_comp;
extern const char* const merge_comp;
extern const char* const render_vert;
extern const char* const render_frag;
extern const char* const output_pass_comp;

}  // namespace qx::shaders
