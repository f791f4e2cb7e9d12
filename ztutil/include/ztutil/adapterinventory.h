// What the operating system tells of the graphics adapters: the seam behind WMIData and DXGIData. A platform
// only fetches; what the values mean, and what is said of a failure, is decided above.
//
// Everything here belongs to the thread that opened the inventory. An object is gone before the one that gave
// it.
#ifndef ZTUTIL_ADAPTERINVENTORY_H_
#define ZTUTIL_ADAPTERINVENTORY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace ztutil {

// DXGI's records in plain types.

struct DXGI_ADAPTER_DESC {
  char16_t Description[128];  // all of it may be text, without a NUL
  std::uint32_t VendorId;
  std::uint32_t DeviceId;
  std::uint32_t SubSysId;
  std::uint32_t Revision;
  std::size_t DedicatedVideoMemory;  // bytes, as the next two
  std::size_t DedicatedSystemMemory;
  std::size_t SharedSystemMemory;
  std::uint64_t AdapterLuid;
};

struct DXGI_OUTPUT_DESC {
  struct Rectangle {
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
  };

  char16_t DeviceName[32];
  Rectangle DesktopCoordinates;
  std::int32_t AttachedToDesktop;  // not 0 for a display that shows a part of the desktop
  std::int32_t Rotation;
  void* Monitor;  // an opaque handle
};

// Something that an adapter can show pictures on.
class AdapterOutput {
 public:
  virtual ~AdapterOutput() = default;

  // Fills the record; false, and the record is of no use, on failure.
  virtual bool GetDesc(DXGI_OUTPUT_DESC& desc) = 0;
};

class Adapter {
 public:
  virtual ~Adapter() = default;

  // As that of an output.
  virtual bool GetDesc(DXGI_ADAPTER_DESC& desc) = 0;

  // The output at the index; null on any failure, of which an index beyond the last one is the usual.
  virtual std::unique_ptr<AdapterOutput> EnumOutputs(unsigned index) = 0;
};

class AdapterFactory {
 public:
  virtual ~AdapterFactory() = default;

  // The adapter at the index, whether it drives a display or not; null as with EnumOutputs.
  virtual std::unique_ptr<Adapter> EnumAdapters(unsigned index) = 0;
};

// A property of a row as the system answers.
struct RowProperty {
  // Types of a value, by VARIANT's numbers. There are others, which nobody here reads.
  enum : std::uint16_t { kNull = 1, kInt32 = 3, kText = 8 };

  std::int32_t status = 0;  // an HRESULT: negative where there is no answer, and the rest means nothing
  std::uint16_t type = kNull;
  std::int32_t number = 0;  // of kInt32
  std::u16string text;      // of kText
};

// A row of Win32_VideoController.
class AdapterRow {
 public:
  virtual ~AdapterRow() = default;

  // The name is plain ASCII, for example "AdapterRAM".
  virtual RowProperty Get(const char* name) = 0;
};

class AdapterRows {
 public:
  virtual ~AdapterRows() = default;

  // The next row; null behind the last one. On failure fails the requirement "pEnumerator->Next".
  virtual std::unique_ptr<AdapterRow> Next() = 0;
};

class AdapterInventory {
 public:
  virtual ~AdapterInventory() = default;

  // Access to the adapters; null on failure.
  virtual std::unique_ptr<AdapterFactory> CreateFactory() = 0;

  // Begins to read the rows, which come in the order of the factory's adapters wherever the system lets
  // choose. Null where the system answers and has nothing to read; fails the requirement of the step where it
  // doesn't answer.
  virtual std::unique_ptr<AdapterRows> QueryRows() = 0;
};

// This machine's. Nothing is asked before its operations are called, and it may be asked again.
std::unique_ptr<AdapterInventory> CreateAdapterInventory();

}  // namespace ztutil

#endif  // ZTUTIL_ADAPTERINVENTORY_H_
