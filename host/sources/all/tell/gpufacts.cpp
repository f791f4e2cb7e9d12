#include "gpufacts.h"

namespace gpuprowler {

std::string TextOf(const GPU& gpu, const std::string& key) {
  const Value* const value = gpu.Find(key);
  const auto* const text = value ? std::get_if<std::string>(&value->value) : nullptr;
  return text ? *text : "";
}

double NumberOf(const GPU& gpu, const std::string& key) {
  const Value* const value = gpu.Find(key);
  if (!value) return 0;
  if (const auto* const whole = std::get_if<std::int64_t>(&value->value)) return static_cast<double>(*whole);
  const auto* const number = std::get_if<double>(&value->value);
  return number ? *number : 0;
}

std::string PrefixOf(const GPU& gpu) { return gpu.interface == Interface::kOpenGL ? "gl" : "cl"; }

std::string AddressOf(const GPU& gpu, const Answer& answer) {
  return gpu.adapter ? answer.adapters[*gpu.adapter].address.substr(0, kNameBytes) : "";
}

std::string ManifestOf(const GPU& gpu, const Answer& answer) {
  return gpu.driver ? answer.drivers[*gpu.driver].manifest.substr(0, kNameBytes) : "";
}

}  // namespace gpuprowler
