#include "platform/linux/rtnetlink.h"

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace zelvo::linux_platform {

namespace {

// Dumps arrive in datagrams of up to a few pages; this holds any of them.
constexpr std::size_t kReceiveBufferSize = 64 * 1024;
// No kernel answer takes this long; a socket that stays silent is given up on.
constexpr timeval kReceiveTimeout{2, 0};

// libmnl counts remaining bytes in an int; no netlink datagram comes near that.
// A negative count (past the end after the last padding) stops the walk as zero would.
int byteCount(std::ptrdiff_t size) { return static_cast<int>(std::clamp<std::ptrdiff_t>(size, -1, INT_MAX)); }

// libmnl 1.0.4 compares the length as a signed int, so it takes one of 2 GiB or more for a
// short one; the second test refuses it.
bool isWholeMessage(const nlmsghdr* header, int remaining) {
  return mnl_nlmsg_ok(header, remaining) && header->nlmsg_len <= static_cast<uint32_t>(remaining);
}

}  // namespace

std::vector<NetlinkMessage> splitNetlinkMessages(std::span<const uint8_t> datagram) {
  std::vector<NetlinkMessage> messages;
  int remaining = byteCount(static_cast<std::ptrdiff_t>(datagram.size()));
  for (auto* header = reinterpret_cast<const nlmsghdr*>(datagram.data()); isWholeMessage(header, remaining);
       header = mnl_nlmsg_next(header, &remaining)) {
    messages.push_back({header->nlmsg_type, header->nlmsg_flags, header->nlmsg_seq,
                        {static_cast<const uint8_t*>(mnl_nlmsg_get_payload(header)),
                         mnl_nlmsg_get_payload_len(header)}});
  }
  return messages;
}

std::vector<NetlinkAttribute> netlinkAttributes(std::span<const uint8_t> payload, std::size_t headerSize) {
  std::vector<NetlinkAttribute> attributes;
  const std::size_t offset = MNL_ALIGN(headerSize);
  if (offset > payload.size()) return attributes;
  const uint8_t* end = payload.data() + payload.size();
  for (auto* attribute = reinterpret_cast<const nlattr*>(payload.data() + offset);
       mnl_attr_ok(attribute, byteCount(end - reinterpret_cast<const uint8_t*>(attribute)));
       attribute = mnl_attr_next(attribute)) {
    attributes.push_back({mnl_attr_get_type(attribute),
                          {static_cast<const uint8_t*>(mnl_attr_get_payload(attribute)),
                           mnl_attr_get_payload_len(attribute)}});
  }
  return attributes;
}

void appendNetlinkAttribute(std::vector<uint8_t>& out, uint16_t type, std::span<const uint8_t> data) {
  const nlattr header{static_cast<uint16_t>(MNL_ATTR_HDRLEN + data.size()), type};
  const auto headerBytes = netlinkBytesOf(header);
  out.insert(out.end(), headerBytes.begin(), headerBytes.end());
  out.insert(out.end(), data.begin(), data.end());
  out.resize(MNL_ALIGN(out.size()), 0);
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
  std::vector<uint8_t> request(MNL_NLMSG_HDRLEN);
  request.insert(request.end(), header.begin(), header.end());
  request.resize(MNL_ALIGN(request.size()), 0);
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

  // What the answer said so far; the callbacks below fill it in.
  struct Answer {
    const std::function<void(const NetlinkMessage&)>& onMessage;
    int error = 0;
  } answer{onMessage, 0};
  const mnl_cb_t onData = [](const nlmsghdr* message, void* data) {
    auto* answer = static_cast<Answer*>(data);
    answer->onMessage({message->nlmsg_type, message->nlmsg_flags, message->nlmsg_seq,
                       {static_cast<const uint8_t*>(mnl_nlmsg_get_payload(message)),
                        mnl_nlmsg_get_payload_len(message)}});
    return (message->nlmsg_flags & NLM_F_MULTI) != 0 ? MNL_CB_OK : MNL_CB_STOP;  // a single answer ends it
  };
  // An error message ends the answer; error 0 is an acknowledgement. A truncated one fails it.
  const mnl_cb_t onError = [](const nlmsghdr* message, void* data) {
    if (mnl_nlmsg_get_payload_len(message) < sizeof(nlmsgerr)) return MNL_CB_ERROR;
    const auto error = readNetlinkStruct<nlmsgerr>(
        {static_cast<const uint8_t*>(mnl_nlmsg_get_payload(message)), sizeof(nlmsgerr)});
    static_cast<Answer*>(data)->error = -error->error;
    return MNL_CB_STOP;
  };
  // Types past the end of this table (NLMSG_DONE, NLMSG_OVERRUN) keep libmnl's handling; a
  // null entry inside it would make libmnl ignore that type.
  mnl_cb_t control[NLMSG_ERROR + 1] = {nullptr, nullptr, onError};

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
    // libmnl checks each message's sequence (one from another question fails the exchange: this
    // socket is out of step), ends on NLMSG_DONE, and fails an interrupted dump.
    const int run = mnl_cb_run2(buffer.data(), static_cast<std::size_t>(length), sequence, 0, onData, &answer,
                                control, NLMSG_ERROR + 1);
    if (run == MNL_CB_ERROR) return std::nullopt;
    if (run == MNL_CB_STOP) return answer.error;
  }
}

}  // namespace zelvo::linux_platform
