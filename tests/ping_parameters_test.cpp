// The ping's query, pair by pair: which keys, in which order, and the exact text of each value
// at the edges (whole sessions are pinned byte for byte by the scenario files).
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "common/format.h"
#include "common/utf8.h"
#include "ping/ping_url.h"
#include "ping_test_support.h"
#include "zelvo/constants.h"
#include "zelvo/testing/capturing_log_sink.h"

namespace zelvo {
namespace {

using Keys = std::vector<std::string>;
using Arguments = ZVPing::TrackArguments;

Keys keysOf(const PingParameters& p) {
  Keys keys;
  for (const auto& [key, value] : p.entries()) keys.emplace_back(key);
  return keys;
}

std::string valueOf(const PingParameters& p, std::string_view key) {
  const std::string_view* value = p.find(key);
  return value ? std::string(*value) : "<absent>";
}

Keys operator+(Keys a, const Keys& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

PingParameters build(const Arguments& a, bool full, const LogGate* gate = nullptr) {
  bool referrerSent = false;
  return buildParameters(a, full, referrerSent, gate);
}

const Keys kEveryPing = {"h", "d", "g", "j", "u", "t", "p", "c", "y", "o", "x", "m", "f", "R", "W", "I", "E", "e", "Z"};
const Keys kFullPing = {"n", "i", "g0", "g1", "g2", "w", "S", "lg", "lt", "V"};

TEST(PingParametersTest, KeysAndTheirOrder) {
  Arguments a = test::typicalPingArguments();
  a.siteVisitDepth = 0;  // no visit keys without a depth
  a.page.idSync = Value(Value::Dictionary{{"a", Value("b")}});
  EXPECT_EQ(keysOf(build(a, false)), kEveryPing);

  // The app referrer goes out once, on the first full ping; later full pings carry the last path.
  bool referrerSent = false;
  EXPECT_EQ(keysOf(buildParameters(a, true, referrerSent, nullptr)), kEveryPing + kFullPing + Keys({"r", "D", "_s"}));
  EXPECT_TRUE(referrerSent);
  EXPECT_EQ(keysOf(buildParameters(a, true, referrerSent, nullptr)), kEveryPing + kFullPing + Keys({"v", "D", "_s"}));
  a.lastPath = "";
  a.previousSessionToken.reset();
  a.page.idSync = Value(Value::Dictionary{});  // an empty dictionary sends nothing
  EXPECT_EQ(keysOf(buildParameters(a, true, referrerSent, nullptr)), kEveryPing + kFullPing);

  a.siteVisitDepth = 5000000000LL;
  a.siteVisitReferrer.reset();
  a.page.subscriptionState = "paid user";
  PingParameters p = build(a, false);
  EXPECT_EQ(keysOf(p), kEveryPing + Keys({"sd", "sr", "sv", "_acct"}));
  EXPECT_EQ(valueOf(p, "sd"), "5000000000");
  EXPECT_EQ(valueOf(p, "sr"), "");
  EXPECT_EQ(valueOf(p, "_acct"), "paid%20user");
  a.siteVisitUid.reset();  // nor without an id
  EXPECT_EQ(keysOf(build(a, false)), kEveryPing + Keys({"_acct"}));

  // Every optional missing: texts go out empty, numbers as zero, optional keys stay away.
  p = build(Arguments{}, true);
  for (const char* key : {"h", "d", "u", "t", "p", "f", "i", "g0", "g1", "g2", "V", "r"}) EXPECT_EQ(valueOf(p, key), "") << key;
  for (const char* key : {"sd", "_acct", "v", "D", "_s"}) EXPECT_EQ(p.find(key), nullptr) << key;
  for (const char* key : {"g", "j", "y", "o", "x", "m", "E", "e", "Z", "w", "S"}) EXPECT_EQ(valueOf(p, key), "0") << key;
  EXPECT_EQ(valueOf(p, "R") + valueOf(p, "W") + valueOf(p, "I"), "001") << "neither read nor written: idle";
}

TEST(PingParametersTest, ValuesAtTheEdges) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  struct Case { std::function<void(Arguments&)> set; const char* key; const char* text; };
  const Case cases[] = {
      // Dwell seconds in minutes with two decimals.
      {[](Arguments& a) { a.dwellTime = 0; }, "c", "0.00"}, {[](Arguments& a) { a.dwellTime = 1; }, "c", "0.02"},
      {[](Arguments& a) { a.dwellTime = 20; }, "c", "0.33"}, {[](Arguments& a) { a.dwellTime = 90; }, "c", "1.50"},
      // Exactly one of read, written, idle; writing wins over reading.
      {[](Arguments& a) { a.userRead = false; }, "I", "1"}, {[](Arguments& a) { a.userWrote = true; }, "R", "0"},
      {[](Arguments& a) { a.userWrote = true; }, "W", "1"}, {[](Arguments& a) { a.userWrote = true; }, "I", "0"},
      // Unsigned counters print as signed 32-bit numbers.
      {[](Arguments& a) { a.trackAccountID = 2147483648u; }, "g", "-2147483648"},
      {[](Arguments& a) { a.engagedSeconds = 4294967295u; }, "E", "-1"},
      {[](Arguments& a) { a.maxScrollPosition = 2147483647u; }, "m", "2147483647"},
      // Pixels truncate toward zero into unsigned 32 bits, saturating.
      {[](Arguments& a) { a.scrollPosition = 1234.99; }, "x", "1234"}, {[](Arguments& a) { a.scrollPosition = -0.5; }, "x", "0"},
      {[&](Arguments& a) { a.scrollPosition = nan; }, "x", "0"}, {[&](Arguments& a) { a.scrollPosition = -inf; }, "x", "0"},
      {[](Arguments& a) { a.scrollPosition = 2147483648.0; }, "x", "-2147483648"},
      {[](Arguments& a) { a.scrollPosition = 4294967296.0; }, "x", "-1"}, {[&](Arguments& a) { a.scrollPosition = inf; }, "x", "-1"},
      {[](Arguments& a) { a.screenHeight = 1334.9f; }, "w", "1334"}, {[](Arguments& a) { a.screenWidth = -1.0f; }, "S", "0"},
      // Texts are escaped, lists joined with bare commas; the visit's referrer deliberately not.
      {[](Arguments& a) { a.page.title = "Hello & goodbye?"; }, "i", "Hello%20%26%20goodbye%3F"},
      {[](Arguments& a) { a.page.sections = std::vector<std::string>{"a b", "c,d"}; }, "g0", "a%20b,c%2Cd"},
      {[](Arguments& a) { a.page.authors = std::vector<std::string>{"", "x", ""}; }, "g1", ",x,"},
      {[](Arguments& a) { a.page.authors.reset(); }, "g1", ""},
      {[](Arguments& a) { a.page.appReferrer = "push/?id=a b"; }, "r", "push/%3Fid%3Da%20b"},
      {[](Arguments& a) { a.siteVisitReferrer = "push/?id=a b"; }, "sr", "push/?id=a b"},
      {[](Arguments& a) { a.page.location = Location{52.52, 13.405}; }, "lg", "13.405000"},
      {[](Arguments& a) { a.page.location = Location{52.52, 13.405}; }, "lt", "52.520000"},
      {[](Arguments& a) { a.new_ = true; }, "n", "1"},
  };
  for (const Case& c : cases) {
    Arguments a = test::typicalPingArguments();
    c.set(a);
    EXPECT_EQ(valueOf(build(a, true), c.key), c.text) << c.key;
  }
}

TEST(PingParametersTest, IdentitySyncIsJsonThenEscaped) {
  Arguments a = test::typicalPingArguments();
  a.page.idSync = Value(Value::Dictionary{{"z", Value(1)}, {"a", Value(Value::Array{Value(true), Value()})}});
  EXPECT_EQ(valueOf(build(a, true), "_s"), "%7B%22a%22%3A%5Btrue%2Cnull%5D%2C%22z%22%3A1%7D");
}

// Strings must be well-formed UTF-8 as Unicode defines it, up to U+10FFFF and no further; the
// log names the reason.
TEST(PingParametersTest, JsonTakesWellFormedUtf8Only) {
  testing::CapturingLogSink sink;
  LogGate gate(sink);
  gate.setDebugMode(true);
  for (const char* good : {"\xE0\xA0\x80", "\xED\x9F\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(ZVPing::jsonEncode(Value(std::string(good)), &gate)) << good;
    EXPECT_TRUE(isWellFormedUtf8(good)) << good;  // the C API's check of every string too
  }
  EXPECT_TRUE(sink.lines().empty()) << "what encodes is not logged";
  for (const char* bad : {"\xC0\x80", "\xC3\x28", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82", "\xE2\x82\x28", "\x80"}) {
    sink.clear();
    EXPECT_FALSE(ZVPing::jsonEncode(Value(std::string(bad)), &gate)) << bad;
    EXPECT_FALSE(isWellFormedUtf8(bad)) << bad;
    EXPECT_EQ(sink.count("[ZV]:Couldn't encode JSON object: a string is not valid UTF-8"), 1u) << bad;
  }
  sink.clear();
  EXPECT_FALSE(ZVPing::jsonEncode(Value(Value::Dictionary{{"\xC3\x28", Value(1)}}), &gate));
  EXPECT_EQ(sink.count("[ZV]:Couldn't encode JSON object: a key is not valid UTF-8"), 1u);
}

// Arrays nest as deep as the limit allows, and no deeper; what is wrong deep inside one is named
// for what it is, not taken for too much nesting.
TEST(PingParametersTest, JsonTakesArraysNestedToTheLimit) {
  testing::CapturingLogSink sink;
  LogGate gate(sink);
  gate.setDebugMode(true);
  Value nested(1);
  Value nan(std::nan(""));
  for (int i = 0; i < Value::kMaxNesting; ++i) {
    nested = Value(Value::Array{std::move(nested)});
    if (i + 1 < Value::kMaxNesting) nan = Value(Value::Array{std::move(nan)});
  }
  EXPECT_TRUE(ZVPing::jsonEncode(nested, &gate));
  EXPECT_FALSE(ZVPing::jsonEncode(Value(Value::Array{nested}), &gate));
  sink.clear();
  EXPECT_FALSE(ZVPing::jsonEncode(nan, &gate));
  EXPECT_EQ(sink.count("[ZV]:Couldn't encode JSON object: a NaN or infinite number has no JSON form"), 1u);
}

TEST(PingParametersTest, IdentitySyncThatIsNotJsonSendsEmptyAndLogsTwoLines) {
  testing::CapturingLogSink sink;
  LogGate gate(sink);
  gate.setDebugMode(true);
  struct Case { Value bad; std::string reason; };
  for (const Case& c : {Case{Value(Date{5.0}), "a date has no JSON form"},
                        Case{Value(std::nan("")), "a NaN or infinite number has no JSON form"},
                        Case{Value(std::string("\xC3\x28")), "a string is not valid UTF-8"}}) {
    sink.clear();
    Arguments a = test::typicalPingArguments();
    const Value sync(Value::Dictionary{{"k", Value(Value::Array{c.bad})}});
    a.page.idSync = sync;
    EXPECT_EQ(valueOf(build(a, true, &gate), "_s"), "");
    std::vector<std::string> lines = sink.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "[ZV]:Couldn't encode JSON object: " + c.reason);
    EXPECT_NE(lines[1].find("\"k\""), std::string::npos) << lines[1];
  }
  // The first line is an error line, the second a standard one.
  sink.clear();
  gate.setLogLevel(3);
  EXPECT_FALSE(ZVPing::jsonEncode(Value(Value::Dictionary{{"d", Value(Date{})}}), &gate));
  EXPECT_EQ(sink.lines().size(), 1u);
}

TEST(PingParametersTest, UrlEncodingKeepsOnlyUnreservedCharactersAndSlash) {
  EXPECT_EQ(ZVPing::urlEncode(std::optional<std::string>()), "");
  EXPECT_EQ(ZVPing::urlEncode("AZaz09-_.~/"), "AZaz09-_.~/");
  EXPECT_EQ(ZVPing::urlEncode("!*'\"();:@&=+$,?%#[] "), "%21%2A%27%22%28%29%3B%3A%40%26%3D%2B%24%2C%3F%25%23%5B%5D%20");
  // Bytes that are not UTF-8 are escaped byte by byte, never dropped.
  EXPECT_EQ(ZVPing::urlEncode(std::string("\xC3\xA9\xFF\x80\0b", 6)), "%C3%A9%FF%80%00b");
}

TEST(PingParametersTest, TheWholeUrl) {
  EXPECT_EQ(composePingUrl("https://a/ping?", PingParameters{}), "https://a/ping?&_");
  EXPECT_EQ(composePingUrl(kZVPingURLBase, build(test::typicalPingArguments(), false)),
            std::string(kZVPingURLBase) +
                "h=example.com&d=news.example.com&g=12345&j=0&u=QUFFQ0F3UUZCZ2NJQ1"
                "&t=QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f&p=/news/today&c=0.50&y=4000&o=750&x=1200&m=1500"
                "&f=00001&R=1&W=0&I=0&E=12&e=3&Z=1&sd=2&sr=&sv=U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE&_");
}

// The keys and values are views into the parameters' own query text: they follow it when it
// grows past the room reserved, and into copies and moved-to parameters.
TEST(PingParametersTest, ViewsFollowTheTextWhenItGrowsIsCopiedOrMoved) {
  Arguments a = test::typicalPingArguments();
  a.page.title = std::string(1000, ' ');  // 3000 bytes escaped: more than a ping reserves
  PingParameters copy, moved;
  {
    const PingParameters built = build(a, true);
    copy = built;
    PingParameters temporary(built);
    moved = std::move(temporary);
  }
  std::string spaces;
  for (int i = 0; i < 1000; ++i) spaces += "%20";
  for (const PingParameters* p : {&copy, &moved}) {
    EXPECT_EQ(keysOf(*p), kEveryPing + Keys({"sd", "sr", "sv"}) + kFullPing + Keys({"r", "D"}));
    EXPECT_EQ(valueOf(*p, "i"), spaces);
    EXPECT_EQ(valueOf(*p, "V"), "1009");
    const std::string_view text = p->query();
    for (const auto& [key, value] : p->entries()) {
      EXPECT_TRUE(std::less_equal<>{}(text.data(), key.data()) && std::less_equal<>{}(value.end(), text.end())) << key;
    }
  }
}

TEST(PingParametersTest, NumbersUseAPointUnderADecimalCommaLocale) {
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) {
    GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (Debian: package 'locales', then "
                    "'localedef -i de_DE -f UTF-8 de_DE.UTF-8')";
  }
  Arguments a = test::typicalPingArguments();
  a.dwellTime = 15;
  a.page.location = Location{52.52, 13.405};
  a.trackAccountID = 1234567;
  PingParameters p = build(a, true);
  const std::string own = formatPosix("%.1f", 0.5);
  char host[8];
  std::snprintf(host, sizeof host, "%.1f", 0.5);
  std::setlocale(LC_ALL, saved.c_str());
  EXPECT_EQ(own, "0.5");
  EXPECT_STREQ(host, "0,5") << "the host's locale is as it was";
  EXPECT_EQ(valueOf(p, "c"), "0.25");
  EXPECT_EQ(valueOf(p, "lg"), "13.405000");
  EXPECT_EQ(valueOf(p, "g"), "1234567");
}

}  // namespace
}  // namespace zelvo
