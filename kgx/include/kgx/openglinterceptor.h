// The gateway through which every GL call of the process goes: to the driver, or to what stands in for it.
#ifndef KGX_OPENGLINTERCEPTOR_H_
#define KGX_OPENGLINTERCEPTOR_H_

#include <kgx/opengltypes.h>

// The GL functions of the gateway, one row each: result, name, parameters, and the parameters once more as
// arguments. Every function takes the caller's source file and line before its GL arguments.
#define KGX_GL_CALLER const char *file, int line
#define KGX_GL_FUNCTIONS(F)                                                                                  \
  /* State and queries */                                                                                    \
  F(GLenum, glGetError, (KGX_GL_CALLER), file, line)                                                         \
  F(const GLubyte*, glGetString, (KGX_GL_CALLER, GLenum name), file, line, name)                             \
  F(void, glGetIntegerv, (KGX_GL_CALLER, GLenum name, GLint * out), file, line, name, out)                   \
  F(void, glGetProgramivARB, (KGX_GL_CALLER, GLenum target, GLenum name, GLint * out), file, line, target,   \
    name, out)                                                                                               \
  F(void, glClearColor, (KGX_GL_CALLER, GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha), file,      \
    line, red, green, blue, alpha)                                                                           \
  F(void, glClear, (KGX_GL_CALLER, GLbitfield mask), file, line, mask)                                       \
  /* Textures */                                                                                             \
  F(void, glGenTextures, (KGX_GL_CALLER, GLsizei count, GLuint * textures), file, line, count, textures)     \
  F(void, glBindTexture, (KGX_GL_CALLER, GLenum target, GLuint texture), file, line, target, texture)        \
  F(void, glTexParameteri, (KGX_GL_CALLER, GLenum target, GLenum name, GLint value), file, line, target,     \
    name, value)                                                                                             \
  F(void, glTexImage2D,                                                                                      \
    (KGX_GL_CALLER, GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,         \
     GLint border, GLenum format, GLenum type, const void* data),                                            \
    file, line, target, level, internalFormat, width, height, border, format, type, data)                    \
  F(void, glDeleteTextures, (KGX_GL_CALLER, GLsizei count, const GLuint* textures), file, line, count,       \
    textures)                                                                                                \
  /* Framebuffer objects: OpenGL 3.0 and GL_ARB_framebuffer_object, then GL_EXT_framebuffer_object */        \
  F(void, glGenFramebuffers, (KGX_GL_CALLER, GLsizei count, GLuint * framebuffers), file, line, count,       \
    framebuffers)                                                                                            \
  F(void, glBindFramebuffer, (KGX_GL_CALLER, GLenum target, GLuint framebuffer), file, line, target,         \
    framebuffer)                                                                                             \
  F(void, glFramebufferTexture2D,                                                                            \
    (KGX_GL_CALLER, GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture, GLint level),    \
    file, line, target, attachment, textureTarget, texture, level)                                           \
  F(GLenum, glCheckFramebufferStatus, (KGX_GL_CALLER, GLenum target), file, line, target)                    \
  F(void, glDeleteFramebuffers, (KGX_GL_CALLER, GLsizei count, const GLuint* framebuffers), file, line,      \
    count, framebuffers)                                                                                     \
  F(void, glGenFramebuffersEXT, (KGX_GL_CALLER, GLsizei count, GLuint * framebuffers), file, line, count,    \
    framebuffers)                                                                                            \
  F(void, glBindFramebufferEXT, (KGX_GL_CALLER, GLenum target, GLuint framebuffer), file, line, target,      \
    framebuffer)                                                                                             \
  F(void, glFramebufferTexture2DEXT,                                                                         \
    (KGX_GL_CALLER, GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture, GLint level),    \
    file, line, target, attachment, textureTarget, texture, level)                                           \
  F(GLenum, glCheckFramebufferStatusEXT, (KGX_GL_CALLER, GLenum target), file, line, target)                 \
  F(void, glDeleteFramebuffersEXT, (KGX_GL_CALLER, GLsizei count, const GLuint* framebuffers), file, line,   \
    count, framebuffers)                                                                                     \
  /* Shaders and programs */                                                                                 \
  F(GLuint, glCreateShader, (KGX_GL_CALLER, GLenum type), file, line, type)                                  \
  F(void, glShaderSource,                                                                                    \
    (KGX_GL_CALLER, GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths), file, \
    line, shader, count, strings, lengths)                                                                   \
  F(void, glCompileShader, (KGX_GL_CALLER, GLuint shader), file, line, shader)                               \
  F(void, glGetShaderiv, (KGX_GL_CALLER, GLuint shader, GLenum name, GLint * out), file, line, shader, name, \
    out)                                                                                                     \
  F(void, glGetShaderInfoLog, (KGX_GL_CALLER, GLuint shader, GLsizei size, GLsizei * length, GLchar * log),  \
    file, line, shader, size, length, log)                                                                   \
  F(void, glDeleteShader, (KGX_GL_CALLER, GLuint shader), file, line, shader)                                \
  F(GLuint, glCreateProgram, (KGX_GL_CALLER), file, line)                                                    \
  F(void, glAttachShader, (KGX_GL_CALLER, GLuint program, GLuint shader), file, line, program, shader)       \
  F(void, glLinkProgram, (KGX_GL_CALLER, GLuint program), file, line, program)                               \
  F(void, glGetProgramiv, (KGX_GL_CALLER, GLuint program, GLenum name, GLint * out), file, line, program,    \
    name, out)                                                                                               \
  F(void, glGetProgramInfoLog,                                                                               \
    (KGX_GL_CALLER, GLuint program, GLsizei size, GLsizei * length, GLchar * log), file, line, program,      \
    size, length, log)                                                                                       \
  F(void, glDeleteProgram, (KGX_GL_CALLER, GLuint program), file, line, program)

// Shorthand for the first two arguments of every function of the gateway.
#define KGX_HERE __FILE__, __LINE__

namespace KGX::OGL {

// Each function goes to the driver's function of its name, found at each call, and needs a current
// context. It throws InternalException with the caller's file and line where the driver has no such function.
// It neither reads nor clears GL's error. A subclass can stand in for a driver, or for one of its functions.
class OpenGLInterceptor {
 public:
  virtual ~OpenGLInterceptor() = default;

  // The gateway of the process: never null, not the caller's to delete.
  static OpenGLInterceptor* Instance();

  // Puts another gateway in its place, or with null the original one, and gives back the one that was in
  // force. The new one isn't owned. Not to be called while another thread makes GL calls.
  static OpenGLInterceptor* SetInstance(OpenGLInterceptor* interceptor);

#define KGX_GL_DECLARE(result, name, parameters, ...) virtual result name parameters;
  KGX_GL_FUNCTIONS(KGX_GL_DECLARE)
#undef KGX_GL_DECLARE
};

}  // namespace KGX::OGL

#endif  // KGX_OPENGLINTERCEPTOR_H_
