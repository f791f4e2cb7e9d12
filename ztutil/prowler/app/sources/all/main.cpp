// The prober: asks this machine's graphics drivers, one question at a time, and writes each answer before the
// next.
#include "gpuprowlerapp.h"

#include <ztutil/prepareprocess.h>

#include <list>
#include <string>

int main(int argc, char** argv) {
  ztutil::platform::PrepareProberProcess();
  try {
    std::list<std::string> args(argv, argv + argc);
    return ZentaraProwler::Get().Run(args);
  } catch (...) {
    return 4;
  }
}
