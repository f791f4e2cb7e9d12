// A machine's files, as much of them as tells of its graphics adapters, made in a folder.
#ifndef SYSTEMTREE_H_
#define SYSTEMTREE_H_

#include <map>
#include <string>

class SystemTree {
 public:
  // A machine without adapters, whose kernel is "6.1.0-test" of 2023-09-29, and with a few lines of the id
  // databases.
  SystemTree();
  ~SystemTree();
  SystemTree(const SystemTree&) = delete;
  SystemTree& operator=(const SystemTree&) = delete;

  const std::string& Folder() const { return fFolder; }

  // Paths begin with the root's name: "sys/class/drm".
  std::string Path(const std::string& path) const { return fFolder + "/" + path; }
  void Write(const std::string& path, const std::string& content);
  void Link(const std::string& path, const std::string& target);

  using Files = std::map<std::string, std::string>;

  // A PCI device with files beside "vendor", "device" and "class", which are given in hexadecimal: "8086:3ea0
  // 030000". A driver is optional, and may be that of a child of it: "virtio2/virtio_gpu". Gives the path
  // that the device, or its child, has.
  std::string AddDevice(const std::string& slot, const std::string& ids, const std::string& driver,
                        const Files& files = {});

  // A DRM card of the device at that path, with its connectors' states by name, and with a render node unless
  // the number is 0. A connected one has a mode of its own: that of "DP-2" is "2920x1080".
  void AddCard(const std::string& device, int card, int renderNode, const Files& connectors = {});

 private:
  void SetDriver(const std::string& device, const std::string& name);

  const std::string fFolder;
};

#endif  // SYSTEMTREE_H_
