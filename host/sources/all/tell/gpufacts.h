// What is known of a GPU, whichever interface it is of.
#ifndef GPUPROWLER_GPUFACTS_H_
#define GPUPROWLER_GPUFACTS_H_

#include <gpuprowler/answer.h>

#include <cstddef>
#include <string>

namespace gpuprowler {

// A value by its plain key; empty, or 0, where there is none of that type.
std::string TextOf(const GPU& gpu, const std::string& key);
double NumberOf(const GPU& gpu, const std::string& key);

// "gl" or "cl", with which its plain keys begin.
std::string PrefixOf(const GPU& gpu);

// Many GPUs can have one card and one driver, so that of their names no more than this is told.
constexpr std::size_t kNameBytes = 256;

// Where its card is on the PCI bus, and which driver is behind it; empty where that isn't known.
std::string AddressOf(const GPU& gpu, const Answer& answer);
std::string ManifestOf(const GPU& gpu, const Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_GPUFACTS_H_
