#include <kgx/exception.h>
#include <kgx/extensionmanager.h>
#include <kgx/openglinterceptor.h>
#include <kgx/program.h>

#include <algorithm>
#include <string>

namespace KGX::OGL {

namespace {

GLuint CreateProgram() {
  const ExtensionManager* const manager = ExtensionManager::Instance();
  if (manager == nullptr) throw LogicalException("OpenGL isn't initialized");
  if (!manager->isSupported(OPENGL_2_0)) throw LogicalException("no GLSL programs");
  const GLuint name = OpenGLInterceptor::Instance()->glCreateProgram(KGX_HERE);
  if (name == 0) throw LogicalException("glCreateProgram failed");
  return name;
}

using GetParameter = void (OpenGLInterceptor::*)(const char*, int, GLuint, GLenum, GLint*);
using GetInfoLog = void (OpenGLInterceptor::*)(const char*, int, GLuint, GLsizei, GLsizei*, GLchar*);

// Throws with the driver's log if the shader or program hasn't the status. `what` names it.
void RequireStatus(const char* what, GLuint object, GLenum status, GetParameter getParameter,
                   GetInfoLog getInfoLog) {
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  GLint ok = 0;
  (gl->*getParameter)(KGX_HERE, object, status, &ok);
  if (ok != 0) return;

  constexpr GLint kMaxLog = 65536;
  GLint size = 0;
  (gl->*getParameter)(KGX_HERE, object, kGL_INFO_LOG_LENGTH, &size);
  size = std::clamp(size, 0, kMaxLog);
  std::string log(static_cast<std::size_t>(size), '\0');
  if (size > 0) (gl->*getInfoLog)(KGX_HERE, object, size, nullptr, log.data());
  std::replace_if(
      log.begin(), log.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  const char* const words = log.c_str();
  throw LogicalException(std::string(what) + " refused" + (*words == '\0' ? "" : ": ") + words);
}

}  // namespace

Program::Program() : fName(CreateProgram()) {}

Program::~Program() {
  try {
    ReleaseShaders();
    OpenGLInterceptor::Instance()->glDeleteProgram(KGX_HERE, fName);
  } catch (...) {  // the driver hasn't the function: the context takes the objects along
  }
}

void Program::loadVertexShader(unsigned count, const char* const* strings, const GLint* lengths) {
  LoadShader(kGL_VERTEX_SHADER, count, strings, lengths);
}

void Program::loadFragmentShader(unsigned count, const char* const* strings, const GLint* lengths) {
  LoadShader(kGL_FRAGMENT_SHADER, count, strings, lengths);
}

void Program::LoadShader(GLenum type, unsigned count, const char* const* strings, const GLint* lengths) {
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  const char* const stage = type == kGL_VERTEX_SHADER ? "vertex shader" : "fragment shader";
  const GLuint shader = gl->glCreateShader(KGX_HERE, type);
  if (shader == 0) throw LogicalException(std::string(stage) + " refused: glCreateShader failed");
  fShaders.push_back(shader);
  gl->glShaderSource(KGX_HERE, shader, static_cast<GLsizei>(count), strings, lengths);
  gl->glCompileShader(KGX_HERE, shader);
  RequireStatus(stage, shader, kGL_COMPILE_STATUS, &OpenGLInterceptor::glGetShaderiv,
                &OpenGLInterceptor::glGetShaderInfoLog);
  gl->glAttachShader(KGX_HERE, fName, shader);
}

void Program::link(bool releaseShaders) {
  OpenGLInterceptor::Instance()->glLinkProgram(KGX_HERE, fName);
  RequireStatus("program", fName, kGL_LINK_STATUS, &OpenGLInterceptor::glGetProgramiv,
                &OpenGLInterceptor::glGetProgramInfoLog);
  if (releaseShaders) ReleaseShaders();
}

void Program::ReleaseShaders() {
  for (const GLuint shader : fShaders) OpenGLInterceptor::Instance()->glDeleteShader(KGX_HERE, shader);
  fShaders.clear();
}

}  // namespace KGX::OGL
