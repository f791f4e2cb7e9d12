// A stream of this process, written on a thread of its own.
#ifndef PROWL_OUTLET_H_
#define PROWL_OUTLET_H_

#include <ztutil/channel.h>
#include <ztutil/managedthread.h>

#include <boost/shared_ptr.hpp>

#include <cstddef>

namespace prowl {

// Whoever reads the stream, a terminal that is stopped or a slow program, holds up that thread alone. Any
// thread may call anything.
class Outlet {
 public:
  // The writer has to stay as long as the process.
  explicit Outlet(ztutil::Writer& writer);

  // Gives up on what isn't written yet.
  ~Outlet();

  Outlet(const Outlet&) = delete;
  Outlet& operator=(const Outlet&) = delete;

  // Takes bytes to be written. Waits while much is under way, unless Widen was called. Once something
  // couldn't be written, nothing more is.
  void Put(const char* bytes, std::size_t count);

  // Lets Put take much more without waiting.
  void Widen();

  // Whether Put wouldn't wait.
  bool HasRoom() const;

  // Waits at most that many seconds, not at all for 0, until all is written or can't be.
  bool Drain(double seconds);

  bool HasFailed() const;

 private:
  class Writing;

  const boost::shared_ptr<Writing> fWriting;
  ztutil::ManagedThread fThread{"Outlet"};
};

}  // namespace prowl

#endif  // PROWL_OUTLET_H_
