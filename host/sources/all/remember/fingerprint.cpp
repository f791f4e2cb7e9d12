#include "fingerprint.h"

#include "memoryfile.h"

#include <ztutil/version.h>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <cmath>
#include <set>
#include <type_traits>
#include <utility>

namespace gpuprowler {

namespace {

// Takes one fact after the other. The name-based UUID that they make is short, is the same on each platform,
// and has bits enough that no two machines of a user meet.
class Facts {
 public:
  Facts& operator<<(const std::string& text) {
    fText += std::to_string(text.size()) + ':' + text;  // so that no two lists of texts make the same
    return *this;
  }

  template <class Number, class = std::enable_if_t<std::is_arithmetic_v<Number>>>
  Facts& operator<<(Number number) {
    return *this << std::to_string(number);
  }

  std::string Fingerprint() const {
    return to_string(boost::uuids::name_generator_sha1(boost::uuids::ns::x500dn())(fText));
  }

 private:
  std::string fText;
};

void Add(Facts& facts, const Driver& driver) {
  facts << static_cast<int>(driver.interface) << driver.manifest << driver.library << driver.path
        << driver.bytes << driver.modified;
}

void Add(Facts& facts, const Adapter& adapter) {
  facts << adapter.address << adapter.vendorID << adapter.deviceID << adapter.subsystemID << adapter.revision
        << adapter.driver << adapter.driverVersion << adapter.driverDate << adapter.memoryBytes
        << adapter.renderNode << adapter.mayOpen << adapter.group;
}

void Add(Facts& facts, const Request& request) {
  const auto size = [](double seconds) { return std::ilogb(seconds); };
  facts << request.measure << request.isolate << size(request.seconds) << size(request.questionSeconds)
        << request.arguments.size();
  for (const std::string& argument : request.arguments) facts << argument;
}

}  // namespace

std::string FingerprintOf(const Machine& machine, const Request& request, const std::string& prober) {
  const platform::FileFacts file = platform::FactsOfProgram(prober);
  Facts facts;
  facts << std::string(ztutil::kVersion) << file.path << file.bytes << file.modified << machine.system;
  Add(facts, request);
  facts << machine.adapters.size();
  for (const Adapter& adapter : machine.adapters) Add(facts, adapter);
  facts << machine.drivers.size();
  for (const Driver& driver : machine.drivers) Add(facts, driver);
  // A loader that isn't there shows in the reasons alone.
  facts << machine.reasons.size();
  for (const Reason& reason : machine.reasons) facts << reason.code;
  for (const auto& [name, value] : machine.variables) facts << name << value;
  return facts.Fingerprint();
}

std::string FingerprintOf(const Machine& machine, const Driver& driver) {
  std::set<std::pair<std::string, std::string>> modules;
  for (const Adapter& adapter : machine.adapters) modules.emplace(adapter.driver, adapter.driverVersion);
  Facts facts;
  facts << machine.system;
  Add(facts, driver);
  for (const auto& [name, version] : modules) facts << name << version;
  return facts.Fingerprint();
}

}  // namespace gpuprowler
