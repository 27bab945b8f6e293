// Datagrams from a NETLINK_ROUTE socket: messages, their attributes, and attributes nested in those.
#include <linux/rtnetlink.h>

#include "platform/linux/rtnetlink.h"

using namespace zelvo::linux_platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const NetlinkMessage& message : splitNetlinkMessages({data, size})) {
    for (std::size_t header : {sizeof(rtmsg), sizeof(ifaddrmsg), sizeof(ifinfomsg)}) {
      for (const NetlinkAttribute& attribute : netlinkAttributes(message.payload, header)) {
        netlinkAttributes(attribute.data, 0);
        readNetlinkStruct<uint32_t>(attribute.data);
      }
    }
  }
  return 0;
}
