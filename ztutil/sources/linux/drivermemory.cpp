#include "drivermemory.h"

#include "inventory/sysfstext.h"
#include "retry.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ztutil {

namespace {

// The records of the kernel's interface for user space, of which Debian 12 has no header for xe and one in a
// package apart for the others.

struct RadeonGemInfo {
  std::uint64_t gartSize;
  std::uint64_t vramSize;
  std::uint64_t vramVisible;
};
struct NouveauGetParam {
  std::uint64_t param;
  std::uint64_t value;
};
struct I915QueryItem {
  std::uint64_t queryId;
  std::int32_t length;
  std::uint32_t flags;
  std::uint64_t data;
};
struct I915Query {
  std::uint32_t numItems;
  std::uint32_t flags;
  std::uint64_t items;
};
struct XeDeviceQuery {
  std::uint64_t extensions;
  std::uint32_t query;
  std::uint32_t size;
  std::uint64_t data;
  std::uint64_t reserved[2];
};

constexpr unsigned kFirstDriverCall = 0x40;
constexpr auto kRadeonGemInfo = _IOWR('d', kFirstDriverCall + 0x1C, RadeonGemInfo);
constexpr auto kNouveauGetParam = _IOWR('d', kFirstDriverCall + 0x00, NouveauGetParam);
constexpr auto kI915Query = _IOWR('d', kFirstDriverCall + 0x39, I915Query);
constexpr auto kXeDeviceQuery = _IOWR('d', kFirstDriverCall + 0x00, XeDeviceQuery);

constexpr std::uint64_t kNouveauFramebufferSize = 8;
constexpr std::uint64_t kI915MemoryRegions = 4;
constexpr std::uint32_t kXeMemoryRegions = 1;

// No driver has so many regions.
constexpr int kAnswerLimit = 65536;

class DeviceNode {
 public:
  explicit DeviceNode(const std::string& path)
      : fDescriptor(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK)) {}
  ~DeviceNode() {
    if (fDescriptor >= 0) close(fDescriptor);
  }
  DeviceNode(const DeviceNode&) = delete;
  DeviceNode& operator=(const DeviceNode&) = delete;

  template <class Record>
  bool Ask(unsigned long request, Record& record) const {
    return Retry([&] { return ioctl(fDescriptor, request, &record); }) >= 0;
  }

 private:
  const int fDescriptor;
};

std::uint64_t Address(void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

using Bytes = std::optional<std::uint64_t>;

Bytes RadeonMemory(const DeviceNode& node) {
  RadeonGemInfo info{};
  if (!node.Ask(kRadeonGemInfo, info)) return std::nullopt;
  return info.vramSize;
}

Bytes NouveauMemory(const DeviceNode& node) {
  NouveauGetParam get{kNouveauFramebufferSize, 0};
  if (!node.Ask(kNouveauGetParam, get)) return std::nullopt;
  return get.value;
}

// Both drivers tell first how long their answer is.

Bytes I915Memory(const DeviceNode& node) {
  I915QueryItem item{kI915MemoryRegions, 0, 0, 0};
  I915Query query{1, 0, Address(&item)};
  if (!node.Ask(kI915Query, query) || item.length <= 0 || item.length > kAnswerLimit) return std::nullopt;
  std::string answer(static_cast<std::size_t>(item.length), '\0');
  item.data = Address(answer.data());
  if (!node.Ask(kI915Query, query) || item.length <= 0) return std::nullopt;
  return SumOfDeviceRegions(answer, 16);
}

Bytes XeMemory(const DeviceNode& node) {
  XeDeviceQuery query{0, kXeMemoryRegions, 0, 0, {}};
  if (!node.Ask(kXeDeviceQuery, query) || query.size == 0 || query.size > kAnswerLimit) return std::nullopt;
  std::string answer(query.size, '\0');
  query.data = Address(answer.data());
  if (!node.Ask(kXeDeviceQuery, query)) return std::nullopt;
  return SumOfDeviceRegions(answer, 8);
}

}  // namespace

std::optional<std::uint64_t> DedicatedMemoryFromDriver(const std::string& driver, const std::string& node) {
  const struct {
    const char* driver;
    Bytes (*ask)(const DeviceNode& node);
  } drivers[] = {
      {"radeon", RadeonMemory}, {"i915", I915Memory}, {"xe", XeMemory}, {"nouveau", NouveauMemory}};
  for (const auto& known : drivers) {
    if (driver == known.driver) return known.ask(DeviceNode(node));
  }
  return std::nullopt;
}

}  // namespace ztutil
