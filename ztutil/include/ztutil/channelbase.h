// The root of the binary streams: something that is open and can be closed, and the exception of a transfer
// that stopped half-way.
#ifndef ZTUTIL_CHANNELBASE_H_
#define ZTUTIL_CHANNELBASE_H_

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace ztutil {

// A transfer failed after some of it had gone through: how many bytes did, and a copy of them. The copy is
// missing where the thrower had none to give or there was no memory for it.
class XUnderrun : public std::runtime_error {
 public:
  // Copies `count` bytes of `data`, or none when that is null. The text is "I/O underrun, actual count=" and
  // the count, or the caller's.
  XUnderrun(std::size_t count, const void* data);
  XUnderrun(const std::string& text, std::size_t count, const void* data);

  bool fHasData = false;
  std::size_t fCount;
  std::vector<std::uint8_t> fData;
};

// What all roles of a stream share. A role (Reader, Writer, Seeker, RandomAccess) either does its work
// itself, in the Do... operations of a subclass, or is made on another object of its kind and forwards
// everything to that one, its delegate. An operation that is neither overridden nor forwarded throws
// std::runtime_error with "ztutil binio function override required".
//
// One thread at a time uses an object, and its delegate with it.
class Channel {
 public:
  Channel() = default;
  Channel(Channel* delegate, bool own);
  virtual ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Closes whatever is behind the channel. True if it was open.
  virtual bool Close();
  virtual bool IsOpen() const;

  // Throws std::runtime_error with "ztutil::Channel not open". All operations of the roles begin with it.
  void RequireOpen() const;

  bool CloseIfOpen();

  // Replaces the delegate, null meaning none. One that was owned is destroyed, unless it is the new one and
  // owned again. From the call on, whether it succeeds or not, an owned delegate is this object's; one that
  // isn't owned must outlive it. The roles of this object that went to the former delegate lose theirs.
  void SetChannel(Channel* delegate, bool own);

 protected:
  virtual bool DoClose();
  virtual bool DoIsOpen() const;

  // What one role forwards to.
  template <class Role>
  class Delegate {
   public:
    void Set(Role* role) {
      fRole = role;
      fRoot = role;
    }

    // The object to forward to. It counts only while the whole channel delegates to it, too.
    Role& Of(const Channel& channel) const {
      if (fRole == nullptr || fRoot != channel.fChannel) ThrowOverrideRequired();
      return *fRole;
    }

   private:
    Role* fRole = nullptr;
    // The channel of fRole, kept because that object may be gone when it is compared.
    const Channel* fRoot = nullptr;
  };

 private:
  [[noreturn]] static void ThrowOverrideRequired();

  Channel* fChannel = nullptr;
  boost::shared_ptr<Channel> fOwned;
};

}  // namespace ztutil

#endif  // ZTUTIL_CHANNELBASE_H_
