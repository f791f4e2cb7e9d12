// makefleet documents COUNT: so many machines' names and documents on standard output, a line of JSON for
// each. makefleet textfiles COUNT FOLDER: so many machines' metrics in FOLDER/machine-NUMBER/gpuprowler.prom.
#include "machines.h"

#include <gpuprowler/fleet.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  const unsigned count = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 0;
  if (!(what == "documents" && argc == 3) && !(what == "textfiles" && argc == 4)) return EXIT_FAILURE;
  for (unsigned number = 0; number < count; ++number) {
    const gpuprowler::Answer answer = AnswerOfMachine(number);
    const std::string name = "machine-" + std::to_string(number);
    if (what == "documents") {
      using JSON = nlohmann::ordered_json;
      std::cout << JSON{{"machine", name}, {"answer", JSON::parse(AsJSON(answer))}}.dump() << "\n";
      continue;
    }
    const auto folder = std::filesystem::path(argv[3]) / name;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "gpuprowler.prom") << AsPrometheus(answer);
  }
  return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
