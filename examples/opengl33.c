/* May this application use OpenGL 3.3 with GLSL here, and if not, what does it tell the user? */
#include <gpuprowler/gpuprowler.h>
#include <stdio.h>

static int is_fit(const gpuprowler_answer* answer, size_t gpu) {
  double version = 0;
  int compiles = 0, complete = 0;
  gpuprowler_gpu_real(answer, gpu, "glVersion", &version);
  gpuprowler_gpu_flag(answer, gpu, "canCompileProgramGLSL", &compiles);
  gpuprowler_gpu_flag(answer, gpu, "complete", &complete);
  return version >= 3.3 && compiles && complete;
}

int main(void) {
  gpuprowler_request* request = gpuprowler_request_new();
  gpuprowler_set_options(request, GPUPROWLER_NO_MEASURE);
  gpuprowler_set_seconds(request, 15);
  gpuprowler_answer* answer = gpuprowler_ask(request);
  gpuprowler_request_free(request);

  size_t gpu = 0;
  while (gpu < gpuprowler_gpu_count(answer) && !is_fit(answer, gpu)) ++gpu;
  const int found = gpu < gpuprowler_gpu_count(answer);
  const char *name = "", *text = "";
  if (found) {
    gpuprowler_gpu_text(answer, gpu, "glRenderer", &name);
    printf("Yes, on %s.\n", name);
  } else {
    printf("No GPU with OpenGL 3.3 and GLSL. %s.\n", gpuprowler_sentence(answer));
    for (size_t i = 0; gpuprowler_reason(answer, i, NULL, &text); ++i) printf("- %s\n", text);
  }
  gpuprowler_answer_free(answer);
  return found ? 0 : 1;
}
