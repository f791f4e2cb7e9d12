// An answer as a feature file of Kubernetes' node feature discovery.
#include "tell/documentfields.h"
#include "tell/gpufacts.h"
#include "tell/privacy.h"
#include "tell/words.h"
#include "utctime.h"

#include <gpuprowler/fleet.h>

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

namespace gpuprowler {

namespace {

constexpr int kDays = 2;                 // that labels are good for
constexpr std::size_t kLabelBytes = 63;  // of a label's name, and of its value
constexpr std::size_t kReasons = 32;

bool IsAlphanumeric(char c) {
  return ('0' <= c && c <= '9') || ('A' <= c && c <= 'Z') || ('a' <= c && c <= 'z');
}

// What is left of a text as a label: anything else than letters, digits, "." and "_" becomes "-", one for
// many.
std::string LabelOf(const std::string& text) {
  std::string label;
  for (const char c : text) {
    if (label.size() == kLabelBytes) break;
    const bool isAllowed = IsAlphanumeric(c) || ((c == '.' || c == '_') && !label.empty());
    if (isAllowed)
      label += c;
    else if (!label.empty() && label.back() != '-')
      label += '-';
  }
  while (!label.empty() && !IsAlphanumeric(label.back())) label.pop_back();
  return label;
}

class Features {
 public:
  // A label without a value isn't put.
  void Put(const std::string& name, const std::string& value) {
    const std::string label = LabelOf(value);
    if (!label.empty())
      fText += "feature.node.kubernetes.io/" + LabelOf("gpuprowler-" + name) + "=" + label + "\n";
  }

  std::string Take() { return std::move(fText); }

 private:
  std::string fText;
};

const GPU* BestOf(const Answer& answer, Interface interface) {
  const auto rank = [](const GPU& gpu) {
    return std::tuple(!gpu.software, gpu.complete, NumberOf(gpu, PrefixOf(gpu) + "MemoryMB"));
  };
  const GPU* best = nullptr;
  for (const GPU& gpu : answer.gpus)
    if (gpu.interface == interface && (!best || rank(*best) < rank(gpu))) best = &gpu;
  return best;
}

// "3.0 PoCL HSTR" is "3.0", and in parts "3" and "0".
void PutVersion(Features& features, const std::string& name, const std::string& text) {
  const std::string version = text.substr(0, text.find(' '));
  const std::size_t dot = std::min(version.find('.'), version.size());
  features.Put(name + ".full", version);
  features.Put(name + ".major", version.substr(0, dot));
  features.Put(name + ".minor", version.substr(std::min(dot + 1, version.size())));
}

void PutInterface(Features& features, const Answer& answer, Interface interface, const std::string& name) {
  const auto count = [&](bool software) {
    return std::count_if(answer.gpus.begin(), answer.gpus.end(), [&](const GPU& gpu) {
      return gpu.interface == interface && gpu.software == software;
    });
  };
  features.Put(name + ".gpus", std::to_string(count(false)));
  features.Put(name + ".software", std::to_string(count(true)));
  const GPU* const best = BestOf(answer, interface);
  if (!best) return;
  const std::string prefix = PrefixOf(*best);
  features.Put(name + ".name", ModelOf(*best));
  features.Put(name + ".complete", best->complete ? "true" : "false");
  PutVersion(features, name + ".version", TextOf(*best, prefix == "gl" ? "glVersion" : "clDeviceVersion"));
  features.Put(name + ".driver-version", TextOf(*best, prefix + "DriverVersion"));
  constexpr double kMost = 1e15;  // that is whole for certain
  const double memory = NumberOf(*best, prefix + "MemoryMB");
  if (memory >= 1 && memory <= kMost)
    features.Put(name + ".memory-mb", std::to_string(static_cast<std::uint64_t>(memory)));
}

}  // namespace

std::string AsNFD(const Answer& asked) {
  const Answer answer = WithoutNames(asked, GetOwnNames());
  Features features;
  features.Put("verdict", VerdictName(answer.verdict));
  PutInterface(features, answer, Interface::kOpenGL, "opengl");
  PutInterface(features, answer, Interface::kOpenCL, "opencl");
  std::set<std::string> codes;
  for (const Reason& reason : answer.reasons)
    if (codes.size() < kReasons) codes.insert(LabelOf(reason.code));
  codes.erase("");
  for (const std::string& code : codes) features.Put("reason." + code, "true");
  return "# +expiry-time=" + Later(answer.time, kDays).value_or("1970-01-01T00:00:00Z") + "\n" +
         features.Take();
}

}  // namespace gpuprowler
