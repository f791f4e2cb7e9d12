#include "gpu/probeprogram.h"

// clang-format off

const char* const VertexProgramLines[13] = {
    "void V_Sampler(void){}",
    "void V_Trackmatte(void){}",
    "void V_Blend(void){gl_TexCoord[1] = gl_MultiTexCoord1;}",
    "void V_Texture(void){gl_TexCoord[0] = gl_MultiTexCoord0;}",
    "void V_Position(void){gl_Position = ftransform();}",
    "void main(void)",
    "{",
    "V_Sampler();",
    "V_Texture();",
    "V_Blend();",
    "V_Trackmatte();",
    "V_Position();",
    "}",
};

const char* const FragmentProgramLines[76] = {
    "uniform sampler2D layer_texture;",
    "uniform float offset_x[9];",
    "uniform float offset_y[9];",
    "uniform float weight[9];",
    "uniform float sample_scale; ",
    "void F_Sampler(out vec4 color)",
    "{",
    "vec2 tex_coord;",
    "vec2 duvdx,duvdy;",
    "float ht, wt;",
    "int i,j;",
    "float sum_wt = 0.0;",
    "color = vec4(0.0);",
    "vec2 texture_coord_2d = gl_TexCoord[0].st;",
    "duvdx = vec2(1.0, 1.0);",
    "duvdy = vec2(1.0, 1.0);",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[0] * duvdy;",
    "tex_coord += sample_scale * offset_x[0] * duvdx;",
    "color += weight[0] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[0];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[1] * duvdy;",
    "tex_coord += sample_scale * offset_x[1] * duvdx;",
    "color += weight[1] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[1];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[2] * duvdy;",
    "tex_coord += sample_scale * offset_x[2] * duvdx;",
    "color += weight[2] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[2];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[3] * duvdy;",
    "tex_coord += sample_scale * offset_x[3] * duvdx;",
    "color += weight[3] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[3];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[4] * duvdy;",
    "tex_coord += sample_scale * offset_x[4] * duvdx;",
    "color += weight[4] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[4];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[5] * duvdy;",
    "tex_coord += sample_scale * offset_x[5] * duvdx;",
    "color += weight[5] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[5];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[6] * duvdy;",
    "tex_coord += sample_scale * offset_x[6] * duvdx;",
    "color += weight[6] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[6];tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[7] * duvdy;",
    "tex_coord += sample_scale * offset_x[7] * duvdx;",
    "color += weight[7] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[7];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[8] * duvdy;",
    "tex_coord += sample_scale * offset_x[8] * duvdx;",
    "color += weight[8] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[8];",
    "color /= sum_wt;",
    "}",
    "void F_TrackMatte(inout vec4 color){}",
    "void F_PreserveAlpha(in vec4 background, inout vec4 foreground){}",
    "void F_Matte(inout vec4 color){}",
    "void F_Dematte(inout vec4 color){}",
    "uniform sampler2D background_texture;",
    "void F_Blend(inout vec4 color)",
    "{",
    "vec4 bg;",
    "bg = texture2DProj(background_texture, gl_TexCoord[1]);",
    "F_Matte(bg);",
    "color.rgb = color.rgb + (1.0 - color.a) * bg.rgb;",
    "color.a += (1.0 - color.a) * bg.a;",
    "F_Dematte(color);",
    "F_PreserveAlpha(bg, color);",
    "}",
    "void main(void)",
    "{",
    "vec4 color = vec4(0.0);",
    "F_Sampler(color);",
    "F_TrackMatte(color);",
    "F_Blend(color);",
    "gl_FragColor = color;",
    "}",
};

const char* const kComputeKernelSource =
    "__kernel void justIterate( __global float* v, unsigned int len ){\t\t\t\t\t\t\t"
    "  int gid = get_global_id(0);\t\t\t\t\t\t\t"
    "  if(gid>=len) return;\t\t\t\t\t\t\t"
    "  float data = v[gid];\t\t\t\t\t\t\t"
    "  float variant = (float)(gid % 3);\t\t\t\t\t\t\t"
    "  for ( int i = 0 ; i < 4096; i++){\t\t\t\t\t\t\t"
    "  data = data  *  1.2f * variant ;\t\t\t\t\t\t\t"
    "  }\t\t\t\t\t\t\t"
    "  v [ gid ] = data ;\t\t\t\t\t\t\t"
    "  }";

// clang-format on

const char* const kComputeKernelName = "justIterate";
