#include <gtest/gtest.h>

#include <string>

#include "collector/http_head.h"

namespace zelvo::collector {
namespace {

TEST(HttpHeadTest, ReadsTheRequestLineAndFieldsAsSent) {
  const auto head = parseRequestHead(
      "GET /ping?sr=push/?id=x&p=/a%20b&_ HTTP/1.1\r\nHost: ping.zelvo-analytics.net\r\n"
      "User-Agent:  Zelvo (iPhone) \r\nAccept: */*");
  ASSERT_TRUE(head.has_value());
  EXPECT_EQ(head->method, "GET");
  EXPECT_EQ(head->target, "/ping?sr=push/?id=x&p=/a%20b&_");
  EXPECT_EQ(head->header("host"), "ping.zelvo-analytics.net");
  EXPECT_EQ(head->header("user-agent"), "Zelvo (iPhone)");
  EXPECT_EQ(head->header("referer"), "");
}

TEST(HttpHeadTest, RefusesWhatIsNotAnHttp1RequestHead) {
  for (const char* text : {"", "GET", "GET /ping", "GET /ping HTTP/2", "GET  HTTP/1.1", "G(T / HTTP/1.1",
                           "GET /a b HTTP/1.1", "GET /\x01 HTTP/1.1", "GET / HTTP/1.1\r\nno colon",
                           "GET / HTTP/1.1\r\n: empty name", "GET / HTTP/1.1\r\nbad name: x"}) {
    EXPECT_FALSE(parseRequestHead(text).has_value()) << text;
  }
}

TEST(HttpHeadTest, ResponsesCloseTheConnectionAndCountTheirBody) {
  EXPECT_EQ(responseText(503, "", ""),
            "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(responseText(200, "application/json", "{}"),
            "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}");
}

}  // namespace
}  // namespace zelvo::collector
