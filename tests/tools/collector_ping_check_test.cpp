#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "collector/ping_check.h"
#include "collector/ping_summary.h"
#include "zelvo/constants.h"

namespace zelvo::collector {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;

std::string describe(const std::vector<Violation>& violations) {
  std::string text;
  for (const Violation& violation : violations) text += "\n  " + violation.key + ": " + violation.message;
  return text;
}

// Every ping in the expected output of the scenario files (tests/scenarios/, examples/scenarios/)
// passes the checker. Those sessions cover what the checker tells apart: first pings, full pings
// after an error and after a pause, regular ones, the referrer and the last path, the pong
// endpoint and every optional value a host can set, a session token of the host's included.
TEST(LibraryPingsTest, EveryPingOfTheScenarioFilesPasses) {
  int full = 0, regular = 0, withLastPath = 0, withReferrer = 0;
  for (const char* folder : {"tests/scenarios", "examples/scenarios"}) {
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      if (file.path().extension() != ".out") continue;
      std::ifstream in(file.path());
      for (std::string line; std::getline(in, line);) {
        const nlohmann::json request = nlohmann::json::parse(line);
        if (!request.contains("url")) continue;  // an event or a log line
        CheckedPing ping = checkPingUrl(request["url"].get<std::string>());
        EXPECT_TRUE(ping.violations.empty()) << file.path() << ": " << line << describe(ping.violations);
        (ping.full ? full : regular) += 1;
        withLastPath += static_cast<int>(ping.params.count("v"));
        withReferrer += static_cast<int>(ping.params.count("r"));
      }
    }
  }
  EXPECT_GE(full, 10);
  EXPECT_GE(regular, 10);
  EXPECT_GE(withReferrer, 5);
  EXPECT_GE(withLastPath, 5);
}

// Valid pings written out, and each rule broken once.
const std::string kRegular =
    "h=news&d=news&g=1234&j=30&u=AbCdEfGhIjKlMnOpQr&t=AbCdEfGhIjKlMnOpQrStUvWxYz012345"
    "&p=/news/a%20b&c=0.25&y=2000&o=750&x=600&m=1200&f=3000b&R=1&W=0&I=0&E=4&e=3&Z=1"
    "&sd=2&sr=push/?id=x&sv=Z9Y8X7W6V5U4T3S2R1Q0P9O8N7M6L5K4&_";
const std::string kFullGroup =
    "&n=1&i=Hello%20%26%20goodbye%3F&g0=a%20b,c%2Cd&g1=&g2=&w=1334&S=750&lg=-13.400000"
    "&lt=52.520000&V=1009&r=&D=AbCdEfGhIjKlMnOpQrStUvWxYz012345&_s=%7B%22a%22%3A%22b%22%7D";
const std::string kFull = kRegular.substr(0, kRegular.size() - 2) + kFullGroup + "&_";

std::string replaced(std::string query, const std::string& from, const std::string& to) {
  const size_t at = query.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) query.replace(at, from.size(), to);
  return query;
}

TEST(PingCheckTest, WrittenOutPingsPass) {
  EXPECT_THAT(checkPingQuery(kRegular).violations, ::testing::IsEmpty());
  EXPECT_FALSE(checkPingQuery(kRegular).full);
  EXPECT_THAT(checkPingQuery(kFull).violations, ::testing::IsEmpty());
  EXPECT_TRUE(checkPingQuery(kFull).full);
  EXPECT_EQ(checkPingQuery(kFull).params.at("p"), "/news/a%20b");
  const std::string noLocation = replaced(replaced(kFull, "lg=-13.400000", "lg="), "lt=52.520000", "lt=");
  EXPECT_THAT(checkPingQuery(noLocation).violations, ::testing::IsEmpty());
  const std::string hostToken = replaced(kRegular, "t=AbCdEfGhIjKlMnOpQrStUvWxYz012345", "t=user%2042");
  EXPECT_THAT(checkPingQuery(hostToken).violations, ::testing::IsEmpty());
}

struct BrokenRule {
  const char* rule;
  std::string query;
  const char* key;  // the key of the one violation expected
};

TEST(PingCheckTest, EachBrokenRuleIsReportedOnceAgainstItsKey) {
  const std::vector<BrokenRule> cases = {
      {"a key every ping carries is missing", replaced(kRegular, "h=news&", ""), "h"},
      {"a key is sent twice", replaced(kRegular, "g=1234&", "g=1234&g=1234&"), "g"},
      {"an unknown key", replaced(kRegular, "j=30&", "j=30&zz=1&"), "zz"},
      {"no trailing &_", kRegular.substr(0, kRegular.size() - 2), "_"},
      {"\"_\" before the end", replaced(kRegular, "j=30&", "j=30&_&"), "_"},
      {"a key without \"=\"", replaced(kRegular, "h=news&", "h&"), "h"},
      {"an integer that is not one", replaced(kRegular, "g=1234", "g=12a"), "g"},
      {"an integer beyond 32 bits", replaced(kRegular, "y=2000", "y=2147483648"), "y"},
      {"an integer with a leading zero", replaced(kRegular, "m=1200", "m=01200"), "m"},
      {"minus zero", replaced(kRegular, "x=600", "x=-0"), "x"},
      {"dwell minutes with three decimals", replaced(kRegular, "c=0.25", "c=0.250"), "c"},
      {"dwell minutes without a leading digit", replaced(kRegular, "c=0.25", "c=.25"), "c"},
      {"negative dwell minutes", replaced(kRegular, "c=0.25", "c=-0.25"), "c"},
      {"a frequency without today's bit", replaced(kRegular, "f=3000b", "f=3000a"), "f"},
      {"an upper-case frequency", replaced(kRegular, "f=3000b", "f=3000B"), "f"},
      {"a frequency of four digits", replaced(kRegular, "f=3000b", "f=000b"), "f"},
      {"a user token of 17 characters", replaced(kRegular, "u=AbCdEfGhIjKlMnOpQr", "u=AbCdEfGhIjKlMnOpQ"), "u"},
      {"a user token with '+'", replaced(kRegular, "u=AbCdEfGhIjKlMnOpQr", "u=AbCdEfGhIjKlMnOp+r"), "u"},
      {"a bare ':' in a host's session token", replaced(kRegular, "t=AbCdEfGhIjKlMnOpQrStUvWxYz012345", "t=my:token"), "t"},
      {"reading and writing at once", replaced(kRegular, "W=0", "W=1"), "R"},
      {"neither reading, writing nor idle", replaced(kRegular, "R=1", "R=0"), "R"},
      {"a flag that is not 0 or 1", replaced(kRegular, "I=0", "I=2"), "I"},
      {"another endpoint version", replaced(kRegular, "Z=1", "Z=2"), "Z"},
      {"a bare '?' in an escaped value", replaced(kRegular, "p=/news/a%20b", "p=/news/a?b"), "p"},
      {"a malformed escape", replaced(kRegular, "p=/news/a%20b", "p=/news/a%2"), "p"},
      {"a lower-case escape", replaced(kRegular, "h=news", "h=news%2c"), "h"},
      {"a visit depth of 0", replaced(kRegular, "sd=2", "sd=0"), "sd"},
      {"a site visit without its depth", replaced(kRegular, "&sd=2", ""), "sd"},
      {"a site-visit id of 31 characters", replaced(kRegular, "K4&", "K&"), "sv"},
      {"a bare ':' in the subscription state", replaced(kRegular, "&_", "&_acct=a:b&_"), "_acct"},
      {"a referrer on a regular ping", replaced(kRegular, "&_", "&r=&_"), "r"},
      {"a previous session token on a regular ping", replaced(kRegular, "&_", "&D=AbCdEfGhIjKlMnOpQrStUvWxYz012345&_"), "D"},
      {"a full ping without its version", replaced(kFull, "&V=1009", ""), "V"},
      {"another SDK version", replaced(kFull, "V=1009", "V=1008"), "V"},
      {"a new-user flag of 2", replaced(kFull, "n=1", "n=2"), "n"},
      {"a coordinate not printed by \"%f\"", replaced(kFull, "lg=-13.400000", "lg=-13.4"), "lg"},
      {"a longitude without a latitude", replaced(kFull, "lg=-13.400000", "lg="), "lg"},
      {"a screen height with decimals", replaced(kFull, "w=1334", "w=1334.5"), "w"},
      {"a bare ';' in a list", replaced(kFull, "g0=a%20b,c%2Cd", "g0=a;b"), "g0"},
      {"a last path and a referrer together", replaced(kFull, "&_s", "&v=/a&_s"), "v"},
      {"an empty last path", replaced(kFull, "&r=", "&v="), "v"},
      {"a malformed escape in the previous session token", replaced(kFull, "345&_s", "3%4&_s"), "D"},
      {"identity sync that is not JSON", replaced(kFull, "_s=%7B%22a%22%3A%22b%22%7D", "_s=%7Ba"), "_s"},
      {"identity sync that is empty", replaced(kFull, "_s=%7B%22a%22%3A%22b%22%7D", "_s=%7B%7D"), "_s"},
  };
  for (const BrokenRule& broken : cases) {
    const CheckedPing ping = checkPingQuery(broken.query);
    EXPECT_THAT(ping.violations, ElementsAre(Field(&Violation::key, broken.key)))
        << broken.rule << ": " << broken.query << describe(ping.violations);
  }
}

TEST(PingCheckTest, OneFullPingKeyAloneReportsEveryMissingOne) {
  const CheckedPing ping = checkPingQuery(replaced(kRegular, "&_", "&V=1009&_"));
  EXPECT_TRUE(ping.full);
  EXPECT_EQ(ping.violations.size(), 9u) << describe(ping.violations);
}

TEST(PingCheckTest, UrlsMustStartWithAPingEndpoint) {
  EXPECT_THAT(checkPingUrl(std::string(kZVPingURLBase) + kRegular).violations, ::testing::IsEmpty());
  EXPECT_THAT(checkPingUrl(std::string(kZVPongURLBase) + kFull).violations, ::testing::IsEmpty());
  const CheckedPing elsewhere = checkPingUrl("https://example.com/ping?" + kRegular);
  EXPECT_THAT(elsewhere.violations, ElementsAre(Field(&Violation::key, "")));
}

TEST(PingSummaryTest, ReadsWhatThePingSays) {
  const PingSummary regular = summarize(checkPingQuery(kRegular));
  EXPECT_EQ(regular.path, "/news/a b");
  EXPECT_EQ(regular.dwellSeconds, 15);
  EXPECT_EQ(regular.engagedSeconds, 4);
  EXPECT_EQ(regular.engagedSinceLastPing, 3);
  EXPECT_EQ(regular.maxScroll, 1200);
  EXPECT_EQ(regular.activity, "reading");
  EXPECT_EQ(regular.visitDepth, 2);
  EXPECT_FALSE(regular.full);

  // 20 seconds go out as 0.33 minutes; writing wins over reading.
  const PingSummary full = summarize(checkPingQuery(
      replaced(replaced(replaced(kFull, "c=0.25", "c=0.33"), "W=0", "W=1"), "&sd=2&sr=push/?id=x", "")));
  EXPECT_EQ(full.dwellSeconds, 20);
  EXPECT_EQ(full.activity, "writing");
  EXPECT_EQ(full.visitDepth, std::nullopt);
  EXPECT_TRUE(full.full);
}

}  // namespace
}  // namespace zelvo::collector
