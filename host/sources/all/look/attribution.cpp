#include "attribution.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace gpuprowler {

namespace {

std::string TextOf(const GPU& gpu, const char* key) {
  const Value* const value = gpu.Find(key);
  const auto* const text = value ? std::get_if<std::string>(&value->value) : nullptr;
  return text ? *text : "";
}

std::uint64_t NumberOf(const GPU& gpu, const char* key) {
  const Value* const value = gpu.Find(key);
  const auto* const number = value ? std::get_if<std::int64_t>(&value->value) : nullptr;
  return number && *number > 0 ? static_cast<std::uint64_t>(*number) : 0;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// By what renderers on the processor call themselves, others' names for them in front: Mesa's, Google's,
// Microsoft's; PoCL's devices; Oclgrind.
bool IsSoftwareName(const std::string& name) {
  constexpr std::string_view kNames[] = {
      "llvmpipe",       "softpipe",    "swrast",      "software rasterizer",
      "mesa offscreen", "swiftshader", "gdi generic", "microsoft basic render",
      "pthread",        "cpu-",        "oclgrind"};
  const std::string lower = Lower(name);
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [&](std::string_view part) { return lower.find(part) != std::string::npos; });
}

// The only one that fits, by an answer's numbers of its adapters.
template <class Fits>
std::optional<std::size_t> OnlyOne(const std::vector<std::size_t>& candidates, Fits fits) {
  std::optional<std::size_t> one;
  for (const std::size_t candidate : candidates) {
    if (!fits(candidate)) continue;
    if (one) return std::nullopt;
    one = candidate;
  }
  return one;
}

// The adapters that the GPU's ids leave. OpenCL tells its vendor's alone, and where that is none of PCI's, as
// some drivers' is 0, all are left.
std::vector<std::size_t> AdaptersOf(const GPU& gpu, const std::vector<Adapter>& adapters) {
  const bool isOpenGL = gpu.interface == Interface::kOpenGL;
  const std::uint64_t vendor = NumberOf(gpu, isOpenGL ? "glVendorID" : "clVendorID");
  const std::uint64_t device = NumberOf(gpu, "glRendererID");
  const bool isOfPCI = vendor != 0 && vendor <= 0xFFFF;
  std::vector<std::size_t> left;
  for (std::size_t i = 0; i < adapters.size(); ++i) {
    const bool fits = isOpenGL
                          ? vendor != 0 && vendor == adapters[i].vendorID && device == adapters[i].deviceID
                          : !isOfPCI || vendor == adapters[i].vendorID;
    if (fits) left.push_back(i);
  }
  return left;
}

std::optional<std::size_t> AdapterOf(const GPU& gpu, const std::vector<Adapter>& adapters) {
  const std::vector<std::size_t> candidates = AdaptersOf(gpu, adapters);
  const bool isOpenGL = gpu.interface == Interface::kOpenGL;
  const bool hasVendor = isOpenGL || NumberOf(gpu, "clVendorID") != 0;
  if (candidates.size() == 1 && hasVendor) return candidates[0];
  const std::string name = Lower(TextOf(gpu, isOpenGL ? "glName" : "clName"));
  return OnlyOne(candidates, [&](std::size_t candidate) {
    const std::string& adapter = adapters[candidate].name;
    return !adapter.empty() && name.find(Lower(adapter)) != std::string::npos;
  });
}

// The only driver of the GPU's interface that its run can have loaded.
std::optional<std::size_t> DriverOf(const GPU& gpu, const Answer& answer) {
  return OnlyOne(answer.runs.at(gpu.run).drivers, [&](std::size_t candidate) {
    const Driver& driver = answer.drivers[candidate];
    return driver.interface == gpu.interface && !driver.path.empty();
  });
}

}  // namespace

void Attribute(Answer& answer) {
  for (GPU& gpu : answer.gpus) {
    const std::string name = TextOf(gpu, gpu.interface == Interface::kOpenGL ? "glRenderer" : "clName");
    gpu.software = IsSoftwareName(name) || answer.adapters.empty();
    if (!gpu.software) gpu.adapter = AdapterOf(gpu, answer.adapters);
    gpu.driver = DriverOf(gpu, answer);
  }
}

}  // namespace gpuprowler
