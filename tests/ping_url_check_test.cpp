#include <gtest/gtest.h>

#include "ping/url_check.h"

namespace zelvo {
namespace {

TEST(PingUrlCheckTest, AcceptsPingUrls) {
  for (const char* url : {"https://ping.zelvo-analytics.net/ping?h=a&g=1&_",
                          "https://ping.zelvo-analytics.net/ping?&_",
                          "HTTPS://127.0.0.1:8443/ping?sr=push/?id=x&p=/a%20b&u=A-_.~",
                          "https://host", "https://host/p?q#frag/?:@",
                          "https://h/!$&'()*+,;=:@"}) {
    EXPECT_TRUE(isValidPingUrl(url)) << url;
  }
}

TEST(PingUrlCheckTest, RejectsWhatAUrlParserWouldRefuse) {
  for (const char* url : {"http://host/ping?", "https:/host", "ftp://host", "", "https://",
                          "https:///ping?", "https://:80/ping?", "https://host:8x/ping?",
                          "https://ho st/ping?", "https://host/ping?u=a b&_",
                          "https://host/ping?u=\xC3\xA9&_", "https://host/ping?u=%&_",
                          "https://host/ping?u=%4&_", "https://host/ping?u=%G1&_",
                          "https://host/ping?a#b#c", "https://host/ping?u=<>&_",
                          "https://host/ping?u=a\"b", "https://host/ping?u={}|\\^`[]"}) {
    EXPECT_FALSE(isValidPingUrl(url)) << url;
  }
}

}  // namespace
}  // namespace zelvo
