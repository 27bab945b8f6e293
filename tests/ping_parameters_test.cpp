#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "ping/ping_url.h"
#include "ping_test_support.h"
#include "zelvo/constants.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo {
namespace {

using Keys = std::vector<std::string>;

Keys keysOf(const PingParameters& p) {
  Keys keys;
  for (const auto& [key, value] : p.entries()) keys.push_back(key);
  return keys;
}

std::string valueOf(const PingParameters& p, std::string_view key) {
  const std::string* value = p.find(key);
  return value ? *value : "<absent>";
}

const Keys kEveryPingKeys = {"h", "d", "g", "j", "u", "t", "p", "c", "y", "o",
                             "x", "m", "f", "R", "W", "I", "E", "e", "Z"};

Keys concat(Keys a, const Keys& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

PingParameters build(const ZVPing::TrackArguments& a, bool full, bool referrerSent = false,
                     const LogGate* gate = nullptr) {
  return buildParameters(a, full, referrerSent, gate);
}

TEST(PingParametersTest, RegularPingHasTheNineteenKeysThenSiteVisitAndSubscriptionInOrder) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.siteVisitDepth = 0;
  EXPECT_EQ(keysOf(build(a, false)), kEveryPingKeys);

  a.siteVisitDepth = 3;
  a.siteVisitReferrer = "push/?id=a b";
  a.subscriptionState = "paid user";
  PingParameters p = build(a, false);
  EXPECT_EQ(keysOf(p), concat(kEveryPingKeys, {"sd", "sr", "sv", "_acct"}));
  EXPECT_EQ(valueOf(p, "sd"), "3");
  EXPECT_EQ(valueOf(p, "sr"), "push/?id=a b");  // deliberately not escaped
  EXPECT_EQ(valueOf(p, "sv"), "U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE");
  EXPECT_EQ(valueOf(p, "_acct"), "paid%20user");
}

TEST(PingParametersTest, SiteVisitKeysNeedBothADepthAndAnId) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.siteVisitDepth = 0;
  EXPECT_EQ(build(a, false).find("sd"), nullptr);
  a.siteVisitDepth = 3;
  a.siteVisitUid.reset();
  PingParameters p = build(a, false);
  EXPECT_EQ(p.find("sd"), nullptr);
  EXPECT_EQ(p.find("sr"), nullptr);
  EXPECT_EQ(p.find("sv"), nullptr);

  a.siteVisitUid = "uid";
  a.siteVisitReferrer.reset();
  a.siteVisitDepth = 5000000000LL;
  p = build(a, false);
  EXPECT_EQ(valueOf(p, "sr"), "");
  EXPECT_EQ(valueOf(p, "sd"), "5000000000");
}

TEST(PingParametersTest, FullPingAddsItsKeysAndTheReferrerOnlyOnce) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.siteVisitDepth = 0;
  a.idSync = Value(Value::Dictionary{{"a", Value("b")}});
  const Keys fullKeys = {"n", "i", "g0", "g1", "g2", "w", "S", "lg", "lt", "V"};

  bool referrerSent = false;
  PingParameters first = buildParameters(a, true, referrerSent, nullptr);
  EXPECT_TRUE(referrerSent);
  EXPECT_EQ(keysOf(first), concat(concat(kEveryPingKeys, fullKeys), {"r", "D", "_s"}));
  EXPECT_EQ(valueOf(first, "r"), "com.example.app");

  PingParameters later = buildParameters(a, true, referrerSent, nullptr);
  EXPECT_EQ(keysOf(later), concat(concat(kEveryPingKeys, fullKeys), {"v", "D", "_s"}));
  EXPECT_EQ(valueOf(later, "v"), "/news/yesterday");

  a.lastPath = "";
  a.previousSessionToken.reset();
  a.idSync.reset();
  EXPECT_EQ(keysOf(buildParameters(a, true, referrerSent, nullptr)), concat(kEveryPingKeys, fullKeys));

  a.appReferrer.reset();
  EXPECT_EQ(valueOf(build(a, true), "r"), "");
}

TEST(PingParametersTest, FullPingValues) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.new_ = true;
  a.title = "Hello & goodbye?";
  a.sections = std::vector<std::string>{"a b", "c,d"};
  a.authors.reset();
  a.appReferrer = "push/?id=a b";
  a.screenHeight = 1334.9f;
  a.screenWidth = -1.0f;
  PingParameters p = build(a, true);
  EXPECT_EQ(valueOf(p, "n"), "1");
  EXPECT_EQ(valueOf(p, "i"), "Hello%20%26%20goodbye%3F");
  EXPECT_EQ(valueOf(p, "g0"), "a%20b,c%2Cd");
  EXPECT_EQ(valueOf(p, "g1"), "");
  EXPECT_EQ(valueOf(p, "g2"), "");
  EXPECT_EQ(valueOf(p, "w"), "1334");
  EXPECT_EQ(valueOf(p, "S"), "0");
  EXPECT_EQ(valueOf(p, "lg"), "");
  EXPECT_EQ(valueOf(p, "lt"), "");
  EXPECT_EQ(valueOf(p, "V"), "1009");
  EXPECT_EQ(valueOf(p, "r"), "push/%3Fid%3Da%20b");  // escaped, unlike "sr"
  EXPECT_EQ(valueOf(p, "D"), "UFJFVklPVVNTRVNTSU9OVE9LRU5UT0tF");

  a.location = Location{52.52, 13.405};
  p = build(a, true);
  EXPECT_EQ(valueOf(p, "lg"), "13.405000");
  EXPECT_EQ(valueOf(p, "lt"), "52.520000");
}

TEST(PingParametersTest, NilTextsGoOutEmpty) {
  ZVPing::TrackArguments a;  // every optional missing
  PingParameters p = build(a, true);
  for (const char* key : {"h", "d", "u", "t", "p", "f", "i", "g0", "g1", "g2", "V", "r"}) {
    EXPECT_EQ(valueOf(p, key), "") << key;
  }
  for (const char* key : {"sd", "_acct", "v", "D", "_s"}) EXPECT_EQ(p.find(key), nullptr) << key;
}

TEST(PingParametersTest, DwellTimeInMinutesWithTwoDecimals) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  for (auto [seconds, text] : {std::pair{0u, "0.00"}, {15u, "0.25"}, {20u, "0.33"}, {1u, "0.02"}, {90u, "1.50"}}) {
    a.dwellTime = seconds;
    EXPECT_EQ(valueOf(build(a, false), "c"), text) << seconds;
  }
}

TEST(PingParametersTest, ExactlyOneOfReadWrittenIdle) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  struct Case { bool read, wrote; const char *r, *w, *i; };
  for (Case c : {Case{false, false, "0", "0", "1"}, Case{true, false, "1", "0", "0"},
                 Case{false, true, "0", "1", "0"}, Case{true, true, "0", "1", "0"}}) {
    a.userRead = c.read;
    a.userWrote = c.wrote;
    PingParameters p = build(a, false);
    EXPECT_EQ(valueOf(p, "R"), c.r) << c.read << c.wrote;
    EXPECT_EQ(valueOf(p, "W"), c.w) << c.read << c.wrote;
    EXPECT_EQ(valueOf(p, "I"), c.i) << c.read << c.wrote;
  }
}

TEST(PingParametersTest, UnsignedCountersPrintAsSigned32) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.trackAccountID = 2147483648u;
  a.engagedSeconds = 4294967295u;
  a.maxScrollPosition = 2147483647u;
  PingParameters p = build(a, false);
  EXPECT_EQ(valueOf(p, "g"), "-2147483648");
  EXPECT_EQ(valueOf(p, "E"), "-1");
  EXPECT_EQ(valueOf(p, "m"), "2147483647");
}

TEST(PingParametersTest, FloatingPixelsTruncateTowardZeroIntoUnsigned32) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  struct Case { double in; const char* out; };
  ZVPing::TrackArguments a = test::typicalPingArguments();
  for (Case c : {Case{1234.99, "1234"}, Case{-5.0, "0"}, Case{-0.5, "0"}, Case{nan, "0"}, Case{-inf, "0"},
                 Case{2147483648.0, "-2147483648"}, Case{4294967295.9, "-1"},
                 // beyond the range: saturates at UINT32_MAX
                 Case{4294967296.0, "-1"}, Case{1e300, "-1"}, Case{inf, "-1"}}) {
    a.scrollPosition = c.in;
    EXPECT_EQ(valueOf(build(a, false), "x"), c.out) << c.in;
  }
}

TEST(PingParametersTest, IdentitySyncIsJsonThenEscaped) {
  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.idSync = Value(Value::Dictionary{});
  EXPECT_EQ(build(a, true).find("_s"), nullptr);
  a.idSync = Value(Value::Dictionary{{"a", Value("b")}});
  EXPECT_EQ(valueOf(build(a, true), "_s"), "%7B%22a%22%3A%22b%22%7D");
  a.idSync = Value(Value::Dictionary{{"z", Value(1)}, {"a", Value(Value::Array{Value(true), Value()})}});
  EXPECT_EQ(valueOf(build(a, true), "_s"), "%7B%22a%22%3A%5Btrue%2Cnull%5D%2C%22z%22%3A1%7D");
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
    ZVPing::TrackArguments a = test::typicalPingArguments();
    a.idSync = Value(Value::Dictionary{{"k", c.bad}});
    EXPECT_EQ(valueOf(build(a, true, false, &gate), "_s"), "");
    std::vector<std::string> lines = sink.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "[ZV]:Couldn't encode JSON object: " + c.reason);
    EXPECT_EQ(lines[1].rfind("[ZV]:", 0), 0u);
    EXPECT_NE(lines[1].find("\"k\""), std::string::npos) << lines[1];
  }

  // The first line is an error line, the second a standard one.
  sink.clear();
  gate.setLogLevel(3);
  EXPECT_FALSE(ZVPing::jsonEncode(Value(Value::Dictionary{{"d", Value(Date{})}}), &gate));
  EXPECT_EQ(sink.lines().size(), 1u);
}

TEST(UrlEncodeTest, KeepsOnlyUnreservedCharactersAndSlash) {
  EXPECT_EQ(ZVPing::urlEncode(std::optional<std::string>()), "");
  EXPECT_EQ(ZVPing::urlEncode("AZaz09-_.~/"), "AZaz09-_.~/");
  EXPECT_EQ(ZVPing::urlEncode("/news/a b"), "/news/a%20b");
  EXPECT_EQ(ZVPing::urlEncode("!*'\"();:@&=+$,?%#[] "),
            "%21%2A%27%22%28%29%3B%3A%40%26%3D%2B%24%2C%3F%25%23%5B%5D%20");
  EXPECT_EQ(ZVPing::urlEncode("\xC3\xA9"), "%C3%A9");
  // Bytes that are not UTF-8 are escaped byte by byte, never dropped.
  EXPECT_EQ(ZVPing::urlEncode(std::string("a\xFF\x80\0b", 5)), "a%FF%80%00b");
}

TEST(UrlEncodeTest, ArraysJoinEscapedElementsWithBareCommas) {
  EXPECT_EQ(ZVPing::encodeAndJoinArray(std::nullopt), "");
  EXPECT_EQ(ZVPing::encodeAndJoinArray(std::vector<std::string>{}), "");
  EXPECT_EQ(ZVPing::encodeAndJoinArray(std::vector<std::string>{"a b", "c,d"}), "a%20b,c%2Cd");
  EXPECT_EQ(ZVPing::encodeAndJoinArray(std::vector<std::string>{"", "x", ""}), ",x,");
}

TEST(PingUrlTest, PairsInInsertionOrderBetweenBaseAndTrailer) {
  EXPECT_EQ(ZVPing::appendKey("k", "v", ""), "k=v");
  EXPECT_EQ(ZVPing::appendKey("k", "", "a=b"), "a=b&k=");

  PingParameters p;
  p.add("h", "x");
  p.add("g", "1");
  EXPECT_EQ(composePingUrl("https://a/ping?", p), "https://a/ping?h=x&g=1&_");
  EXPECT_EQ(composePingUrl("https://a/ping?", PingParameters{}), "https://a/ping?&_");

  ZVPing::TrackArguments a = test::typicalPingArguments();
  EXPECT_EQ(composePingUrl(kZVPingURLBase, build(a, false)),
            std::string(kZVPingURLBase) +
                "h=example.com&d=news.example.com&g=12345&j=0&u=QUFFQ0F3UUZCZ2NJQ1"
                "&t=QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f&p=/news/today&c=0.50&y=4000&o=750&x=1200&m=1500"
                "&f=00001&R=1&W=0&I=0&E=12&e=3&Z=1&sd=2&sr=&sv=U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE&_");
}

// Restores the process locale when a test ends.
class ScopedLocale {
 public:
  ScopedLocale() : saved_(std::setlocale(LC_ALL, nullptr)) {}
  ~ScopedLocale() { std::setlocale(LC_ALL, saved_.c_str()); }
  bool use(const char* name) { return std::setlocale(LC_ALL, name) != nullptr; }

 private:
  std::string saved_;
};

TEST(PingParametersTest, NumbersUseAPointUnderADecimalCommaLocale) {
  ScopedLocale locale;
  if (!locale.use("de_DE.UTF-8")) {
    GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (Debian: package 'locales', then "
                    "'localedef -i de_DE -f UTF-8 de_DE.UTF-8' or enable it in /etc/locale.gen "
                    "and run locale-gen)";
  }
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.2f", 0.25);
  ASSERT_STREQ(probe, "0,25");  // the locale really uses a decimal comma

  ZVPing::TrackArguments a = test::typicalPingArguments();
  a.dwellTime = 15;
  a.location = Location{52.52, 13.405};
  a.siteVisitDepth = 1234567;
  a.trackAccountID = 1234567;
  PingParameters p = build(a, true);
  EXPECT_EQ(valueOf(p, "c"), "0.25");
  EXPECT_EQ(valueOf(p, "lg"), "13.405000");
  EXPECT_EQ(valueOf(p, "lt"), "52.520000");
  EXPECT_EQ(valueOf(p, "g"), "1234567");
  EXPECT_EQ(valueOf(p, "sd"), "1234567");
}

}  // namespace
}  // namespace zelvo
