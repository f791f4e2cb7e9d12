// The types and constants of OpenGL that this layer uses, under their names of the OpenGL registry. The
// system's GL headers aren't used: on Windows they stop at OpenGL 1.1 and bring windows.h along.
#ifndef KGX_OPENGLTYPES_H_
#define KGX_OPENGLTYPES_H_

#include <cstdint>

// The calling convention of GL functions. It makes a difference on 32-bit Windows only.
#ifdef _WIN32
#define KGX_GLAPI __stdcall
#else
#define KGX_GLAPI
#endif

namespace KGX::OGL {

using GLenum = std::uint32_t;
using GLbitfield = std::uint32_t;
using GLuint = std::uint32_t;
using GLint = std::int32_t;
using GLsizei = std::int32_t;
using GLfloat = float;
using GLchar = char;
using GLubyte = unsigned char;

inline constexpr GLenum kGL_NO_ERROR = 0;
inline constexpr GLenum kGL_TEXTURE_2D = 0x0DE1;
inline constexpr GLenum kGL_UNSIGNED_BYTE = 0x1401;
inline constexpr GLenum kGL_RGBA = 0x1908;
inline constexpr GLenum kGL_VENDOR = 0x1F00;
inline constexpr GLenum kGL_RENDERER = 0x1F01;
inline constexpr GLenum kGL_VERSION = 0x1F02;
inline constexpr GLenum kGL_EXTENSIONS = 0x1F03;
inline constexpr GLint kGL_NEAREST = 0x2600;
inline constexpr GLenum kGL_TEXTURE_MIN_FILTER = 0x2801;
inline constexpr GLbitfield kGL_COLOR_BUFFER_BIT = 0x4000;
inline constexpr GLint kGL_RGBA8 = 0x8058;
inline constexpr GLenum kGL_MAX_RECTANGLE_TEXTURE_SIZE_ARB = 0x84F8;
inline constexpr GLenum kGL_TEXTURE_FREE_MEMORY_ATI = 0x87FC;
inline constexpr GLenum kGL_FRAGMENT_PROGRAM_ARB = 0x8804;
inline constexpr GLenum kGL_FRAGMENT_SHADER = 0x8B30;
inline constexpr GLenum kGL_VERTEX_SHADER = 0x8B31;
inline constexpr GLenum kGL_COMPILE_STATUS = 0x8B81;
inline constexpr GLenum kGL_LINK_STATUS = 0x8B82;
inline constexpr GLenum kGL_INFO_LOG_LENGTH = 0x8B84;
inline constexpr GLenum kGL_FRAMEBUFFER_COMPLETE = 0x8CD5;
inline constexpr GLenum kGL_COLOR_ATTACHMENT0 = 0x8CE0;
inline constexpr GLenum kGL_FRAMEBUFFER = 0x8D40;
inline constexpr GLenum kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX = 0x9047;

}  // namespace KGX::OGL

#endif  // KGX_OPENGLTYPES_H_
