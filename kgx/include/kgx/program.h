// GLSL programs. A GL context must be current for every operation, the destructor included.
#ifndef KGX_PROGRAM_H_
#define KGX_PROGRAM_H_

#include <kgx/opengltypes.h>

#include <vector>

namespace KGX::OGL {

// Each operation throws LogicalException if the driver refuses, with what it refuses and its own log, which
// may be empty, on one line: "fragment shader refused: 0:1(1): error". It throws InternalException if the
// driver lacks the function that it takes. The constructor throws LogicalException below OpenGL 2.0.
class Program {
 public:
  Program();
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Compiles a stage from `count` strings, which the driver joins with nothing in between. `lengths` has one
  // length each, or is null where the strings end in NUL.
  void loadVertexShader(unsigned count, const char* const* strings, const GLint* lengths);
  void loadFragmentShader(unsigned count, const char* const* strings, const GLint* lengths);

  // Links the stages. `releaseShaders` gives up the shader objects, which a linked program needs no longer.
  void link(bool releaseShaders);

 private:
  void LoadShader(GLenum type, unsigned count, const char* const* strings, const GLint* lengths);
  void ReleaseShaders();

  const GLuint fName;
  std::vector<GLuint> fShaders;
};

}  // namespace KGX::OGL

#endif  // KGX_PROGRAM_H_
