// The adapters of a Windows machine. None are read yet: every GPU is the one of the matching's fallback.
#include "adapterinventory.h"

namespace ztutil {

namespace {

class NoAdapters : public AdapterFactory {
 public:
  std::unique_ptr<Adapter> EnumAdapters(unsigned) override { return nullptr; }
};

class NoInventory : public AdapterInventory {
 public:
  std::unique_ptr<AdapterFactory> CreateFactory() override { return std::make_unique<NoAdapters>(); }
  std::unique_ptr<AdapterRows> QueryRows() override { return nullptr; }
};

}  // namespace

std::unique_ptr<AdapterInventory> CreateAdapterInventory() { return std::make_unique<NoInventory>(); }

}  // namespace ztutil
