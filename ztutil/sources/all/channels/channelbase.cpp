#include <ztutil/channelbase.h>

namespace ztutil {

XUnderrun::XUnderrun(std::size_t count, const void* data)
    : XUnderrun("I/O underrun, actual count=" + std::to_string(count), count, data) {}

XUnderrun::XUnderrun(const std::string& text, std::size_t count, const void* data)
    : std::runtime_error(text), fCount(count) {
  if (data == nullptr) return;
  try {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    fData.assign(bytes, bytes + count);
    fHasData = true;
  } catch (...) {
  }
}

Channel::Channel(Channel* delegate, bool own) { SetChannel(delegate, own); }

Channel::~Channel() = default;

bool Channel::Close() { return DoClose(); }

bool Channel::IsOpen() const { return DoIsOpen(); }

void Channel::RequireOpen() const {
  if (!IsOpen()) throw std::runtime_error("ztutil::Channel not open");
}

bool Channel::CloseIfOpen() { return IsOpen() && Close(); }

void Channel::SetChannel(Channel* delegate, bool own) {
  boost::shared_ptr<Channel> owned;
  if (own && delegate != nullptr) {
    owned = delegate == fOwned.get() ? fOwned : boost::shared_ptr<Channel>(delegate);
  }
  fChannel = delegate;
  fOwned.swap(owned);
}

bool Channel::DoClose() {
  if (fChannel == nullptr) ThrowOverrideRequired();
  return fChannel->CloseIfOpen();
}

bool Channel::DoIsOpen() const {
  if (fChannel == nullptr) ThrowOverrideRequired();
  return fChannel->IsOpen();
}

void Channel::ThrowOverrideRequired() { throw std::runtime_error("ztutil binio function override required"); }

}  // namespace ztutil
