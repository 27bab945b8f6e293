#include <gtest/gtest.h>

#include "platform/common/url_characters.h"
#include "platform/linux/url_acceptance.h"

namespace zelvo::linux_platform {
namespace {

TEST(PingUrlCheckTest, AcceptsPingUrls) {
  for (const char* url : {"https://ping.zelvo-analytics.net/ping?h=a&g=1&_",
                          "https://ping.zelvo-analytics.net/ping?&_",
                          "HTTPS://127.0.0.1:8443/ping?sr=push/?id=x&p=/a%20b&u=A-_.~",
                          "https://host", "https://host/p?q#frag/?:@", "https://[::1]:8443/ping?_",
                          "https://h/!$&'()*+,;=:@"}) {
    EXPECT_TRUE(acceptsHttpsUrl(url)) << url;
    EXPECT_EQ(isPlainHttpsUrl(url), url[8] != '[' && url[8] != '1') << url;  // the testing check: names only
  }
}

TEST(PingUrlCheckTest, RefusesWhatCurlWouldSendDifferentlyOrNotAtAll) {
  // The base of the bad queries below was just accepted: that lets no bad query through.
  ASSERT_TRUE(acceptsHttpsUrl("https://host/ping?_"));
  for (const char* url : {"http://host/ping?", "https:/host", "ftp://host", "", "https://",
                          "https:///ping?", "https://:80/ping?", "https://host:8x/ping?",
                          "https://ho st/ping?", "https://host/ping?u=a b&_",
                          "https://host/ping?u=\xC3\xA9&_", "https://host/ping?u=%&_",
                          "https://host/ping?u=%4&_", "https://host/ping?u=%G1&_",
                          "https://host/ping?a#b#c", "https://host/ping?u=<>&_",
                          "https://host/ping?u=a\"b", "https://host/ping?u={}|\\^`[]",
                          // A port past 65535, "=" in the host, a number that curl reads as
                          // the IPv4 address 0.0.0.6.
                          "https://host:444441/ping?_", "https://ho=st/ping?_", "https://6/ping?_",
                          // Rewritten by curl: another address, a leading zero, dot segments,
                          // an IDN host; a user name.
                          "https://1.2.3/ping?_", "https://host:0443/ping?_", "https://host/a/../ping?_",
                          "https://h\xC3\xA9st/ping?_", "https://user@host/ping?_"}) {
    EXPECT_FALSE(acceptsHttpsUrl(url)) << url;
    EXPECT_FALSE(isPlainHttpsUrl(url)) << url;  // never looser than curl's
  }
  // A NUL would end the string curl reads, and the rest go unchecked.
  EXPECT_FALSE(acceptsHttpsUrl(std::string_view("https://host/ping?u=a\0b", 23)));
}

}  // namespace
}  // namespace zelvo::linux_platform
