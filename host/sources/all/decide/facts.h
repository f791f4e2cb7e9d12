// What an answer tells of that rules ask for.
#ifndef GPUPROWLER_FACTS_H_
#define GPUPROWLER_FACTS_H_

#include "versiontest.h"

#include <gpuprowler/answer.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gpuprowler {

// A card, and what OpenGL tells of it. What isn't known is null or empty.
struct Card {
  std::optional<std::uint32_t> vendor;  // the PCI ids; 0 where no card stands behind what renders
  std::optional<std::uint32_t> device;
  std::uint32_t revision = 0;
  std::string driverVendor;  // of OpenGL's driver: "Mesa", "NVIDIA"
  std::optional<FoundVersion> driverVersion;
  std::optional<FoundVersion> driverDate;  // year, month, day
  const GPU* gpu = nullptr;                // OpenGL's, that stands for it; where there is none:
  Truth hasOpenGL = Truth::kUnknown;       // whether one may do so all the same
};

// Lives no longer than its answer.
struct Facts {
  std::string os;  // as rules name it
  std::optional<FoundVersion> osVersion;
  std::vector<Card> cards;  // the machine's first one is the primary; there is at least one
  std::size_t active = 0;   // in cards: the one that the first of OpenGL's GPUs stands for
  std::size_t count = 0;    // of real ones
};

Facts FactsOf(const Answer& answer);

// A GPU's text of that plain key; null if there is none.
const std::string* FindText(const GPU& gpu, const char* key);

// The newest OpenGL that the prober asks for stands for all that is newer.
std::optional<FoundVersion> OpenGLVersionOf(const GPU& gpu);

}  // namespace gpuprowler

#endif  // GPUPROWLER_FACTS_H_
