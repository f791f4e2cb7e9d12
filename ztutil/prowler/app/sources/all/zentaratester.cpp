#include "zentaratester.h"

#include "gputests.h"
#include "reportlines.h"

#include <kgx/extensionmanager.h>

ZentaraTester::~ZentaraTester() = default;

void ZentaraTester::DoRunTester() {
  GPUProwlerTester::DoRunTester();
  PutText(ProwlerKey::kTester, "Zentara");
  CountStep();
}

void ZentaraTester::DoRunGLTests() {
  GPUProwlerTester::DoRunGLTests();

  const IntegervTest integervTests[] = {
      {"GL_MAX_TEXTURE_UNITS", 34018},
      {"GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS", 35661},
      {"GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS", 35660},
      {"GL_MAX_TEXTURE_IMAGE_UNITS", 34930},
      {"GL_MAX_DRAW_BUFFERS", 34852},
      {"GL_MAX_VERTEX_UNIFORM_COMPONENTS", 35658},
      {"GL_MAX_FRAGMENT_UNIFORM_COMPONENTS", 35657},
      {"GL_MAX_VARYING_FLOATS", 35659},
      {"GL_MAX_VERTEX_ATTRIBS", 34921},
  };
  const ExtensionTest extensionTests[] = {
      {"KGX::OGL::GL_ARB_VERTEX_PROGRAM", KGX::OGL::GL_ARB_VERTEX_PROGRAM},
      {"KGX::OGL::GL_ARB_FRAGMENT_PROGRAM", KGX::OGL::GL_ARB_FRAGMENT_PROGRAM},
      {"KGX::OGL::GL_ARB_VERTEX_SHADER", KGX::OGL::GL_ARB_VERTEX_SHADER},
      {"KGX::OGL::GL_ARB_FRAGMENT_SHADER", KGX::OGL::GL_ARB_FRAGMENT_SHADER},
      {"KGX::OGL::GL_EXT_FRAMEBUFFER_OBJECT", KGX::OGL::GL_EXT_FRAMEBUFFER_OBJECT},
      {"KGX::OGL::GL_ARB_TEXTURE_RECTANGLE", KGX::OGL::GL_ARB_TEXTURE_RECTANGLE},
      {"KGX::OGL::GL_ARB_TEXTURE_FLOAT", KGX::OGL::GL_ARB_TEXTURE_FLOAT},
      {"KGX::OGL::GL_ARB_OCCLUSION_QUERY", KGX::OGL::GL_ARB_OCCLUSION_QUERY},
      {"KGX::OGL::GL_ARB_VERTEX_BUFFER_OBJECT", KGX::OGL::GL_ARB_VERTEX_BUFFER_OBJECT},
      {"KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD", KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD},
  };
  RunTestsOnCopy(fGLGPUs, [&](TaggedGPUList& gpus) {
    RunTestOnGPUs(gpus, GLStringTest());
    RunTestOnGPUs(gpus, ProgramvTest());
    for (const IntegervTest& test : integervTests) RunTestOnGPUs(gpus, test);
    for (const ExtensionTest& test : extensionTests) RunTestOnGPUs(gpus, test);
  });
}

void ZentaraTester::DoRunCLTests() {
  GPUProwlerTester::DoRunCLTests();
  RunTestsOnCopy(fCLGPUs, [&](TaggedGPUList& gpus) {
    RunTestOnGPUs(gpus, TestFunc<ZentaraTester, CLGPU>(&ZentaraTester::DoRunCLCompute));
  });
}

void ZentaraTester::DoRunCLCompute(const std::string& tag, const CLGPU& gpu) {
  PutValue(tag, ProwlerKey::kCLCompute, gpu.GetCLCompute());
  CountStep();
}
