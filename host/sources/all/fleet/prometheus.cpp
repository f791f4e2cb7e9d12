// An answer in the text format of Prometheus.
#include "tell/documentfields.h"
#include "tell/gpufacts.h"
#include "tell/printable.h"
#include "tell/privacy.h"
#include "tell/words.h"
#include "utctime.h"

#include <ztutil/version.h>

#include <gpuprowler/fleet.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <map>
#include <utility>

namespace gpuprowler {

namespace {

constexpr std::size_t kListed = 32;  // of what an answer has many of
constexpr double kMB = 1024 * 1024;
constexpr double kMultiplications = 1024 * 1024 * 1024;  // that "clCompute" counts as one

using Labels = std::initializer_list<std::pair<const char*, std::string>>;

std::string Number(double number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string Flag(bool flag) { return flag ? "true" : "false"; }

// As PCI ids are written; empty where there is none.
std::string ID(std::uint32_t id) {
  if (id == 0) return "";
  char text[8];
  const std::string digits(text, std::to_chars(text, text + sizeof text, id, 16).ptr);
  return "0x" + std::string(4 - std::min<std::size_t>(4, digits.size()), '0') + digits;
}

class Metrics {
 public:
  // What follows is of this metric, "gpuprowler_NAME". One without a sample isn't mentioned.
  void Begin(const std::string& name, const std::string& help) {
    fName = "gpuprowler_" + name;
    fHead = "# HELP " + fName + " " + help + "\n# TYPE " + fName + " gauge\n";
  }

  void Put(Labels labels, double value) {
    fText += std::exchange(fHead, "") + fName;
    const char* before = "{";
    for (const auto& [label, text] : labels) {
      fText += before + std::string(label) + "=\"" + Escaped(text) + "\"";
      before = ",";
    }
    fText += (labels.size() > 0 ? "} " : " ") + Number(value) + "\n";
  }

  std::string Take() { return std::move(fText); }

 private:
  // Neither what ends a line nor what turns its direction is left in a printable text.
  static std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : Printable(text)) {
      if (c == '"' || c == '\\') escaped += '\\';
      escaped += c;
    }
    return escaped;
  }

  std::string fName, fHead, fText;
};

void PutAnswer(Metrics& metrics, const Answer& answer) {
  metrics.Begin("info", "The library that has written this.");
  metrics.Put({{"version", ztutil::kVersion}}, 1);
  metrics.Begin("verdict", "How asking the drivers has ended: 1 for that, 0 for the others.");
  for (int i = 0; i <= static_cast<int>(kLast<Verdict>); ++i) {
    const auto verdict = static_cast<Verdict>(i);
    metrics.Put({{"verdict", VerdictName(verdict)}}, verdict == answer.verdict ? 1 : 0);
  }
  metrics.Begin("answer_timestamp_seconds", "When the drivers were asked, in seconds since 1970.");
  if (const auto seconds = SecondsOf(answer.time)) metrics.Put({}, static_cast<double>(*seconds));
  metrics.Begin("answer_duration_seconds", "What asking them took.");
  metrics.Put({}, answer.seconds);
}

// Of each kind one sample, also where there is none.
void PutCounts(Metrics& metrics, const Answer& answer) {
  metrics.Begin("gpus", "GPUs that an interface reaches: cards, and software.");
  for (const Interface interface : {Interface::kOpenGL, Interface::kOpenCL})
    for (const bool software : {false, true})
      metrics.Put(
          {{"interface", NameOf(interface)}, {"software", Flag(software)}},
          static_cast<double>(std::count_if(answer.gpus.begin(), answer.gpus.end(), [&](const GPU& gpu) {
            return gpu.interface == interface && gpu.software == software;
          })));
  metrics.Begin("drivers", "Drivers that are installed, by how they behaved.");
  for (const Interface interface : {Interface::kOpenGL, Interface::kOpenCL})
    for (int i = 0; i <= static_cast<int>(kLast<Behaviour>); ++i)
      metrics.Put({{"interface", NameOf(interface)}, {"behaviour", NameOf(static_cast<Behaviour>(i))}},
                  static_cast<double>(
                      std::count_if(answer.drivers.begin(), answer.drivers.end(), [&](const Driver& driver) {
                        return driver.interface == interface && static_cast<int>(driver.behaviour) == i;
                      })));
}

// How many there are of each code. Codes of ours are shorter than what is kept of one.
std::vector<std::pair<std::string, std::size_t>> CodesOf(const Answer& answer) {
  constexpr std::size_t kCodeBytes = 64;
  std::map<std::string, std::size_t> codes;
  for (const Reason& reason : answer.reasons) ++codes[Printable(reason.code.substr(0, kCodeBytes))];
  return {codes.begin(), codes.end()};
}

// Calls back for those that are listed, each with its place.
template <class List, class Call>
void ForListed(const List& list, const Call& call) {
  for (std::size_t i = 0; i < std::min(list.size(), kListed); ++i) call(std::to_string(i), list[i]);
}

void PutReasons(Metrics& metrics, const Answer& answer) {
  metrics.Begin("reasons", "Reasons why something isn't there, by code; none on a healthy machine.");
  ForListed(CodesOf(answer), [&](const std::string&, const auto& code) {
    metrics.Put({{"code", code.first}}, static_cast<double>(code.second));
  });
}

void PutGPUs(Metrics& metrics, const Answer& answer) {
  metrics.Begin("gpu_info",
                "A GPU: its interface's version, its driver, and its card's place on the PCI bus.");
  ForListed(answer.gpus, [&](const std::string& place, const GPU& gpu) {
    const std::string prefix = PrefixOf(gpu);
    metrics.Put({{"gpu", place},
                 {"interface", NameOf(gpu.interface)},
                 {"name", ModelOf(gpu)},
                 {"software", Flag(gpu.software)},
                 {"version", TextOf(gpu, prefix == "gl" ? "glVersion" : "clDeviceVersion")},
                 {"driver", ManifestOf(gpu, answer)},
                 {"driver_version", TextOf(gpu, prefix + "DriverVersion")},
                 {"address", AddressOf(gpu, answer)}},
                1);
  });
  metrics.Begin("gpu_complete", "1 for a GPU that has answered all questions, 0 for one that has not.");
  ForListed(answer.gpus, [&](const std::string& place, const GPU& gpu) {
    metrics.Put({{"gpu", place}}, gpu.complete ? 1 : 0);
  });
  // Values that are 0 aren't known.
  const auto put = [&](const char* key, double unit) {
    ForListed(answer.gpus, [&](const std::string& place, const GPU& gpu) {
      if (const double value = NumberOf(gpu, PrefixOf(gpu) + key); value > 0)
        metrics.Put({{"gpu", place}}, value * unit);
    });
  };
  metrics.Begin("gpu_memory_bytes", "The memory that a GPU may be said to have.");
  put("MemoryMB", kMB);
  metrics.Begin("gpu_copied_bytes_per_second",
                "What OpenCL reads and writes while it copies from buffer to buffer.");
  put("Bandwidth", 1);
  metrics.Begin("gpu_multiplications_per_second", "What OpenCL multiplies in a small kernel.");
  put("Compute", kMultiplications);
}

void PutAdapters(Metrics& metrics, const Answer& answer) {
  metrics.Begin("adapter_info",
                "A graphics card as the system knows it, with the kernel's or the display driver.");
  ForListed(answer.adapters, [&](const std::string& place, const Adapter& adapter) {
    metrics.Put({{"adapter", place},
                 {"address", adapter.address},
                 {"name", adapter.name},
                 {"vendor_id", ID(adapter.vendorID)},
                 {"device_id", ID(adapter.deviceID)},
                 {"driver", adapter.driver},
                 {"driver_version", adapter.driverVersion}},
                1);
  });
  metrics.Begin("adapter_memory_bytes", "The memory that a card has of its own.");
  ForListed(answer.adapters, [&](const std::string& place, const Adapter& adapter) {
    if (adapter.memoryBytes > 0) metrics.Put({{"adapter", place}}, static_cast<double>(adapter.memoryBytes));
  });
}

void PutDrivers(Metrics& metrics, const Answer& answer) {
  metrics.Begin("driver_info",
                "A driver that is installed, how it behaved, and what it was being asked if it failed.");
  ForListed(answer.drivers, [&](const std::string& place, const Driver& driver) {
    metrics.Put({{"driver", place},
                 {"interface", NameOf(driver.interface)},
                 {"manifest", driver.manifest},
                 {"library", driver.library},
                 {"behaviour", NameOf(driver.behaviour)},
                 {"question", driver.question}},
                1);
  });
}

void PutLeftOut(Metrics& metrics, const Answer& answer) {
  metrics.Begin("left_out", "What has no metrics of its own here, there being too many.");
  for (const auto& [of, count] :
       {std::pair("gpu", answer.gpus.size()), std::pair("adapter", answer.adapters.size()),
        std::pair("driver", answer.drivers.size()), std::pair("reason", CodesOf(answer).size())})
    metrics.Put({{"of", of}}, static_cast<double>(count - std::min(count, kListed)));
}

}  // namespace

std::string AsPrometheus(const Answer& asked) {
  const Answer answer = WithoutNames(asked, GetOwnNames());
  Metrics metrics;
  PutAnswer(metrics, answer);
  PutCounts(metrics, answer);
  PutReasons(metrics, answer);
  PutGPUs(metrics, answer);
  PutAdapters(metrics, answer);
  PutDrivers(metrics, answer);
  PutLeftOut(metrics, answer);
  return metrics.Take();
}

}  // namespace gpuprowler
