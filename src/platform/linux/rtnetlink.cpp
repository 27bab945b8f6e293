#include "platform/linux/rtnetlink.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace zelvo::linux_platform {

namespace {

constexpr std::size_t align(std::size_t length) {
  return (length + NLMSG_ALIGNTO - 1) & ~std::size_t{NLMSG_ALIGNTO - 1};
}

// Netlink route attributes share the rtattr layout: 16-bit length, 16-bit type.
struct AttributeHeader {
  uint16_t length;
  uint16_t type;
};

// Dumps arrive in datagrams of up to a few pages; this holds any of them.
constexpr std::size_t kReceiveBufferSize = 64 * 1024;
// No kernel answer takes this long; a socket that stays silent is given up on.
constexpr timeval kReceiveTimeout{2, 0};

}  // namespace

std::vector<NetlinkMessage> splitNetlinkMessages(std::span<const uint8_t> datagram) {
  std::vector<NetlinkMessage> messages;
  std::size_t offset = 0;
  while (datagram.size() - offset >= sizeof(nlmsghdr)) {
    const auto header = *readNetlinkStruct<nlmsghdr>(datagram.subspan(offset));
    if (header.nlmsg_len < sizeof(nlmsghdr) || header.nlmsg_len > datagram.size() - offset) break;
    messages.push_back({header.nlmsg_type, header.nlmsg_flags, header.nlmsg_seq,
                        datagram.subspan(offset + sizeof(nlmsghdr), header.nlmsg_len - sizeof(nlmsghdr))});
    offset += std::min(align(header.nlmsg_len), datagram.size() - offset);
  }
  return messages;
}

std::vector<NetlinkAttribute> netlinkAttributes(std::span<const uint8_t> payload, std::size_t headerSize) {
  std::vector<NetlinkAttribute> attributes;
  std::size_t offset = align(headerSize);
  while (offset < payload.size() && payload.size() - offset >= sizeof(AttributeHeader)) {
    const auto header = *readNetlinkStruct<AttributeHeader>(payload.subspan(offset));
    if (header.length < sizeof(AttributeHeader) || header.length > payload.size() - offset) break;
    attributes.push_back({header.type, payload.subspan(offset + sizeof(AttributeHeader),
                                                       header.length - sizeof(AttributeHeader))});
    offset += align(header.length);
  }
  return attributes;
}

void appendNetlinkAttribute(std::vector<uint8_t>& out, uint16_t type, std::span<const uint8_t> data) {
  const AttributeHeader header{static_cast<uint16_t>(sizeof(AttributeHeader) + data.size()), type};
  const auto headerBytes = netlinkBytesOf(header);
  out.insert(out.end(), headerBytes.begin(), headerBytes.end());
  out.insert(out.end(), data.begin(), data.end());
  out.resize(align(out.size()), 0);
}

std::optional<RtnetlinkSocket> RtnetlinkSocket::open() {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return std::nullopt;
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  if (::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof(kReceiveTimeout)) != 0 ||
      ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
    ::close(fd);
    return std::nullopt;
  }
  return RtnetlinkSocket(fd);
}

RtnetlinkSocket::RtnetlinkSocket(RtnetlinkSocket&& other) noexcept
    : fd_(other.fd_), sequence_(other.sequence_) {
  other.fd_ = -1;
}

RtnetlinkSocket::~RtnetlinkSocket() {
  if (fd_ >= 0) ::close(fd_);
}

std::optional<int> RtnetlinkSocket::exchange(uint16_t type, uint16_t flags, std::span<const uint8_t> header,
                                             std::span<const uint8_t> attributes,
                                             const std::function<void(const NetlinkMessage&)>& onMessage) {
  const uint32_t sequence = ++sequence_;
  std::vector<uint8_t> request(align(sizeof(nlmsghdr)));
  request.insert(request.end(), header.begin(), header.end());
  request.resize(align(request.size()), 0);
  request.insert(request.end(), attributes.begin(), attributes.end());
  nlmsghdr top{};
  top.nlmsg_len = static_cast<uint32_t>(request.size());
  top.nlmsg_type = type;
  top.nlmsg_flags = static_cast<uint16_t>(flags | NLM_F_REQUEST);
  top.nlmsg_seq = sequence;
  std::memcpy(request.data(), &top, sizeof(top));

  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  if (::sendto(fd_, request.data(), request.size(), 0, reinterpret_cast<const sockaddr*>(&kernel),
               sizeof(kernel)) != static_cast<ssize_t>(request.size())) {
    return std::nullopt;
  }

  std::vector<uint8_t> buffer(kReceiveBufferSize);
  while (true) {
    sockaddr_nl from{};
    iovec part{buffer.data(), buffer.size()};
    msghdr received{};
    received.msg_name = &from;
    received.msg_namelen = sizeof(from);
    received.msg_iov = &part;
    received.msg_iovlen = 1;
    const ssize_t length = ::recvmsg(fd_, &received, 0);
    if (length < 0 && errno == EINTR) continue;
    if (length <= 0 || (received.msg_flags & MSG_TRUNC) != 0) return std::nullopt;
    if (from.nl_pid != 0) continue;  // only the kernel answers requests
    for (const NetlinkMessage& message : splitNetlinkMessages({buffer.data(), static_cast<std::size_t>(length)})) {
      if (message.sequence != sequence) continue;
      if (message.type == NLMSG_DONE) return 0;
      if (message.type == NLMSG_ERROR) {
        const auto error = readNetlinkStruct<nlmsgerr>(message.payload);
        if (!error) return std::nullopt;
        return -error->error;
      }
      onMessage(message);
      if ((message.flags & NLM_F_MULTI) == 0) return 0;
    }
  }
}

}  // namespace zelvo::linux_platform
