#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace zelvo::linux_platform {

// One netlink message out of a datagram; `payload` points into the datagram.
struct NetlinkMessage {
  uint16_t type = 0;
  uint16_t flags = 0;
  uint32_t sequence = 0;
  std::span<const uint8_t> payload;
};

// One route attribute; `data` points into the message.
struct NetlinkAttribute {
  uint16_t type = 0;  // without the nested and byte-order flag bits
  std::span<const uint8_t> data;
};

// The messages of a datagram, in order; a malformed tail is dropped. The datagram must start
// 4-byte aligned, as any buffer from new or malloc does; read through libmnl.
std::vector<NetlinkMessage> splitNetlinkMessages(std::span<const uint8_t> datagram);
// The attributes that follow a fixed header of `headerSize` bytes (rounded up to the netlink
// alignment) in `payload`; a malformed tail is dropped. Nested attributes: headerSize 0. The
// payload of a message or attribute read by these functions is aligned as they need.
std::vector<NetlinkAttribute> netlinkAttributes(std::span<const uint8_t> payload, std::size_t headerSize);
// Appends one attribute to an encoded attribute list.
void appendNetlinkAttribute(std::vector<uint8_t>& out, uint16_t type, std::span<const uint8_t> data);

// A copy of the struct at the start of `bytes` (messages need not be aligned for T), or
// nothing when `bytes` is too short.
template <typename T>
std::optional<T> readNetlinkStruct(std::span<const uint8_t> bytes) {
  if (bytes.size() < sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, bytes.data(), sizeof(T));
  return value;
}

// The bytes of `value`, which must outlive the span (hence no temporaries).
template <typename T>
std::span<const uint8_t> netlinkBytesOf(const T& value) {
  return {reinterpret_cast<const uint8_t*>(&value), sizeof(T)};
}
template <typename T>
std::span<const uint8_t> netlinkBytesOf(const T&& value) = delete;

// A NETLINK_ROUTE socket for one request at a time, with bounded waits. Not thread-safe:
// open one per question.
class RtnetlinkSocket {
 public:
  // A socket, or nothing when netlink cannot be opened here.
  static std::optional<RtnetlinkSocket> open();
  RtnetlinkSocket(RtnetlinkSocket&& other) noexcept;
  RtnetlinkSocket& operator=(RtnetlinkSocket&&) = delete;
  ~RtnetlinkSocket();

  // Sends a request of `type` (`header` is the struct after the netlink header, `attributes`
  // already encoded) and hands every answering message to `onMessage` until the answer is
  // complete: the end of a dump, an error or acknowledgement, or a single answer. Answers
  // the kernel's error number (0: success), or nothing when the exchange itself failed.
  std::optional<int> exchange(uint16_t type, uint16_t flags, std::span<const uint8_t> header,
                              std::span<const uint8_t> attributes,
                              const std::function<void(const NetlinkMessage&)>& onMessage);

 private:
  explicit RtnetlinkSocket(int fd) : fd_(fd) {}
  int fd_;
  uint32_t sequence_ = 0;
};

}  // namespace zelvo::linux_platform
