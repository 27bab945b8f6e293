#include "platform/linux/rtnetlink.h"

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace zelvo::linux_platform {
namespace {

// A netlink message of `type` whose payload is an rtmsg followed by `attributes`.
std::vector<uint8_t> routeMessage(uint16_t type, uint32_t sequence, const std::vector<uint8_t>& attributes) {
  // The header's room, an all-zero rtmsg, the attributes. Sized once: growing the vector makes
  // GCC 12 at -O3 warn of a copy out of bounds that cannot happen (-Warray-bounds).
  std::vector<uint8_t> message(NLMSG_HDRLEN + sizeof(rtmsg) + attributes.size());
  std::copy(attributes.begin(), attributes.end(), message.begin() + NLMSG_HDRLEN + sizeof(rtmsg));
  nlmsghdr header{};
  header.nlmsg_len = static_cast<uint32_t>(message.size());
  header.nlmsg_type = type;
  header.nlmsg_flags = NLM_F_MULTI;
  header.nlmsg_seq = sequence;
  std::memcpy(message.data(), &header, sizeof(header));
  return message;
}

std::string text(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

TEST(RtnetlinkParse, EncodedAttributesAndMessagesReadBack) {
  const uint32_t seven = 7;
  std::vector<uint8_t> nested;
  appendNetlinkAttribute(nested, 1, netlinkBytesOf(seven));
  std::vector<uint8_t> attributes;
  const std::string odd = "abcde";  // not a multiple of the alignment: padding follows
  appendNetlinkAttribute(attributes, RTA_DST, {reinterpret_cast<const uint8_t*>(odd.data()), odd.size()});
  appendNetlinkAttribute(attributes, RTA_MULTIPATH | NLA_F_NESTED, nested);  // the flag is not the type
  std::vector<uint8_t> datagram = routeMessage(RTM_NEWROUTE, 5, attributes);
  const std::vector<uint8_t> done = routeMessage(NLMSG_DONE, 5, {});
  datagram.insert(datagram.end(), done.begin(), done.end());

  const auto messages = splitNetlinkMessages(datagram);
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].type, RTM_NEWROUTE);
  EXPECT_EQ(messages[0].sequence, 5u);
  EXPECT_EQ(messages[0].flags, NLM_F_MULTI);
  EXPECT_EQ(messages[1].type, NLMSG_DONE);
  const auto read = netlinkAttributes(messages[0].payload, sizeof(rtmsg));
  ASSERT_EQ(read.size(), 2u);
  EXPECT_EQ(read[0].type, RTA_DST);
  EXPECT_EQ(text(read[0].data), odd);
  EXPECT_EQ(read[1].type, RTA_MULTIPATH);
  const auto inner = netlinkAttributes(read[1].data, 0);
  ASSERT_EQ(inner.size(), 1u);
  EXPECT_EQ(readNetlinkStruct<uint32_t>(inner[0].data), 7u);
  EXPECT_EQ(readNetlinkStruct<uint64_t>(inner[0].data), std::nullopt);
}

TEST(RtnetlinkParse, TruncatedOrLyingInputYieldsOnlyWholeParts) {
  const uint32_t interfaceIndex = 3;
  std::vector<uint8_t> attributes;
  appendNetlinkAttribute(attributes, RTA_OIF, netlinkBytesOf(interfaceIndex));
  const std::vector<uint8_t> message = routeMessage(RTM_NEWROUTE, 1, attributes);
  // Every cut of the datagram: the message is there whole or not at all.
  for (std::size_t length = 0; length < message.size(); ++length) {
    EXPECT_TRUE(splitNetlinkMessages(std::span(message).first(length)).empty()) << length;
  }
  // A message that claims to be shorter than its own header, or longer than the datagram (also
  // by 4 GiB less 16 bytes, negative as a signed int).
  for (const uint32_t claimed : {uint32_t{4}, static_cast<uint32_t>(message.size() + 4), uint32_t{0xFFFFFFF0}}) {
    std::vector<uint8_t> lying = message;
    std::memcpy(lying.data(), &claimed, sizeof(claimed));
    EXPECT_TRUE(splitNetlinkMessages(lying).empty()) << claimed;
  }
  // An attribute whose length runs past its message is dropped, as is one shorter than its header.
  const auto payload = splitNetlinkMessages(message)[0].payload;
  for (const uint16_t claimed : {uint16_t{2}, uint16_t{64}}) {
    std::vector<uint8_t> bytes(payload.begin(), payload.end());
    std::memcpy(bytes.data() + NLMSG_ALIGN(sizeof(rtmsg)), &claimed, sizeof(claimed));
    EXPECT_TRUE(netlinkAttributes(bytes, sizeof(rtmsg)).empty()) << claimed;
  }
}

}  // namespace
}  // namespace zelvo::linux_platform
