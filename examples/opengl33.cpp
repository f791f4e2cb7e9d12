// May this application use OpenGL 3.3 with GLSL here, and if not, what does it tell the user?
#include <gpuprowler/answer.h>

#include <iostream>

namespace {

bool IsFit(const gpuprowler::GPU& gpu) {
  const gpuprowler::Value* const version = gpu.Find("glVersion");
  const gpuprowler::Value* const compiles = gpu.Find("canCompileProgramGLSL");
  return gpu.complete && version && std::get<std::string>(version->value) >= "3.3" && compiles &&
         std::get<bool>(compiles->value);
}

}  // namespace

int main() {
  gpuprowler::Request request;
  request.seconds = 15;
  request.measure = false;
  const gpuprowler::Answer answer = gpuprowler::Ask(request);

  for (const gpuprowler::GPU& gpu : answer.gpus) {
    if (!IsFit(gpu)) continue;
    std::cout << "Yes, on " << std::get<std::string>(gpu.Find("glRenderer")->value) << ".\n";
    return 0;
  }
  std::cout << "No GPU with OpenGL 3.3 and GLSL. " << answer.text << ".\n";
  for (const gpuprowler::Reason& reason : answer.reasons) std::cout << "- " << reason.text << "\n";
  return 1;
}
