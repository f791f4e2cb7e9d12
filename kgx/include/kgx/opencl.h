// OpenCL's platforms, devices, contexts and queues. Library::Initialize must have succeeded. Whatever a
// driver refuses throws LogicalException with the call and its status, "clCreateContext failed: -6". One
// thread at a time.
#ifndef KGX_OPENCL_H_
#define KGX_OPENCL_H_

#include <kgx/exception.h>
#include <kgx/opencltable.h>

#include <string>
#include <typeinfo>
#include <vector>

namespace KGX::OCL {

class Device;

// A handle; the platform itself belongs to the driver.
class Platform {
 public:
  explicit Platform(cl_platform_id id) : fID(id) {}

  cl_platform_id id() const { return fID; }

  // CL_PLATFORM_VERSION, with all the bytes that the driver counts but the last NUL.
  std::string version() const;

  // The platform's devices of that type, in its order; empty where it has none.
  std::vector<Device> devices(cl_device_type type) const;

 private:
  cl_platform_id fID;
};

// All platforms, in the loader's order; empty where no driver is installed.
std::vector<Platform> platforms();

class Enum {
 public:
  // The name of the type of a device property, as typeid(T).name() gives it; an empty text for a property
  // that this layer doesn't know.
  static const char* GetPropertyTypeName(cl_device_info property);
};

// A handle; the device itself belongs to the driver. Of a null device only id and handle may be asked.
class Device {
 public:
  explicit Device(cl_device_id id) : fID(id) {}

  cl_device_id id() const { return fID; }
  cl_device_id handle() const { return fID; }

  // CL_DEVICE_NAME and CL_DEVICE_VENDOR, with all the bytes that the driver counts but the last NUL.
  std::string name() const;
  std::string vendor() const;

  Platform platform() const;

  // A property whose type is T; 0 where the driver accepts the call and writes nothing. Throws
  // InternalException when the property has another type.
  template <class T>
  T GetInfo(cl_device_info property) const {
    if (std::string(Enum::GetPropertyTypeName(property)) != typeid(T).name()) {
      throw InternalException("property_typename == type_name", "kgx/source/kgx/kgx_ocl/device", 122);
    }
    T value{};
    getInfoImpl(property, sizeof(T), &value, nullptr);
    return value;
  }

  // clGetDeviceInfo as it stands.
  void getInfoImpl(cl_device_info property, std::size_t size, void* out, std::size_t* sizeOut) const;

 private:
  cl_device_id fID;
};

// What a context is made with: the platform that it belongs to.
class ContextProperties {
 public:
  explicit ContextProperties(const Platform& platform)
      : fList{CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(platform.id()), 0} {}

  const cl_context_properties* list() const { return fList; }

 private:
  cl_context_properties fList[3];
};

class Context {
 public:
  // Called by the driver, on any thread, when it has an error to tell; a null function means nobody listens.
  struct NotifyCallback {
    void(CL_CALLBACK* function)(const char* text, const void* data, std::size_t size,
                                void* userData) = nullptr;
    void* userData = nullptr;
  };

  Context(const ContextProperties& properties, const Device& device, const NotifyCallback& notify);
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  cl_context handle() const { return fHandle; }

 private:
  cl_context fHandle;
};

class CommandQueue {
 public:
  CommandQueue(const Context& context, const Device& device, bool outOfOrder, bool profiling);
  ~CommandQueue();
  CommandQueue(const CommandQueue&) = delete;
  CommandQueue& operator=(const CommandQueue&) = delete;

  cl_command_queue handle() const { return fHandle; }

 private:
  cl_command_queue fHandle;
};

}  // namespace KGX::OCL

#endif  // KGX_OPENCL_H_
