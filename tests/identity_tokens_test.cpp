#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <vector>

#include "common/log_gate.h"
#include "identity/identity.h"
#include "identity/tokens.h"
#include "zelvo/constants.h"
#include "zelvo/testing/testing_platform.h"
#include "zelvo/zv_utils.h"

namespace zelvo {
namespace {

std::array<uint8_t, 16> bytes00To0F() {
  std::array<uint8_t, 16> bytes{};
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  return bytes;
}

std::string base64forBytes(std::vector<uint8_t> bytes) { return ZVUtils::base64forData(bytes); }

TEST(IdentityTokensTest, Base64forDataUsesTheTokenAlphabetAndUnderscorePadding) {
  std::array<uint8_t, 16> uuid = bytes00To0F();
  EXPECT_EQ(ZVUtils::base64forData(uuid.data(), uuid.size()), "AAECAwQFBgcICQoLDA0ODw__");
  EXPECT_EQ(base64forBytes({0xFF}), "-w__");
  EXPECT_EQ(base64forBytes({0xFF, 0xFF}), "--8_");
  EXPECT_EQ(base64forBytes({0xFB, 0xFF, 0xBF}), "_-_-");  // 62 is "_", 63 is "-"
  EXPECT_EQ(base64forBytes({'a', 'b'}), "YWI_");
  EXPECT_EQ(base64forBytes({}), "");
  EXPECT_EQ(ZVUtils::base64forData(nullptr, 0), "");
}

TEST(IdentityTokensTest, StandardBase64AndTokenEncoding) {
  EXPECT_EQ(toBase64String(""), "");
  EXPECT_EQ(toBase64String("ab"), "YWI=");
  EXPECT_EQ(toBase64String("\xFB\xFF\xBF"), "+/+/");
  EXPECT_EQ(encodeToken("ab", false, nullptr), "YWI");
  EXPECT_EQ(encodeToken("\xFB\xFF\xBF", false, nullptr), "-_-_");
  // A short result is kept whole when truncation is asked for.
  EXPECT_EQ(encodeToken("ab", true, nullptr), "YWI");
  EXPECT_EQ(encodeToken("AAECAwQFBgcICQoLDA0ODw__", true, nullptr), "QUFFQ0F3UUZCZ2NJQ1");
}

TEST(IdentityTokensTest, TokensFromUuidBytes) {
  testing::SeededUuidSource uuids;
  for (int i = 0; i < 4; ++i) uuids.enqueue(bytes00To0F());
  EXPECT_EQ(generateSessionToken(uuids, nullptr), "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f");
  EXPECT_EQ(generateSiteVisitUid(uuids, nullptr), "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f");
  EXPECT_EQ(generateUserToken(uuids, nullptr), "QUFFQ0F3UUZCZ2NJQ1");
  EXPECT_EQ(generateUUID(uuids, nullptr), "00010203-0405-0607-0809-0A0B0C0D0E0F");

  uuids.enqueue(bytes00To0F());
  EXPECT_EQ(createSessionToken(uuids, nullptr), "MDAwMTAyMDMtMDQwNS0wNjA3LTA4MDktMEEwQjBDMEQwRTBG");

  std::array<uint8_t, 16> high{};
  high.fill(0xAB);
  uuids.enqueue(high);
  EXPECT_EQ(generateUUID(uuids, nullptr), "ABABABAB-ABAB-ABAB-ABAB-ABABABABABAB");
}

TEST(IdentityTokensTest, RandomTokensHaveTheirLengthsAndDiffer) {
  testing::SeededUuidSource uuids(42);
  std::string a = generateSessionToken(uuids, nullptr);
  std::string b = generateSessionToken(uuids, nullptr);
  EXPECT_EQ(a.size(), 32u);
  EXPECT_NE(a, b);
  EXPECT_EQ(generateUserToken(uuids, nullptr).size(), 18u);
  EXPECT_EQ(createSessionToken(uuids, nullptr).size(), 48u);
  EXPECT_EQ(a.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"), std::string::npos);
}

TEST(IdentityTokensTest, LogsUnderTheStandardGate) {
  testing::CapturingLogSink sink;
  LogGate gate(sink);
  testing::SeededUuidSource uuids;
  uuids.enqueue(bytes00To0F());
  generateUserToken(uuids, &gate);
  EXPECT_TRUE(sink.lines().empty());  // debug mode off

  gate.setDebugMode(true);
  uuids.enqueue(bytes00To0F());
  createSessionToken(uuids, &gate);
  EXPECT_EQ(sink.lines(), (std::vector<std::string>{
                              "[ZV]:generated uuid: 00010203-0405-0607-0809-0A0B0C0D0E0F",
                              "[ZV]:encoded token length 48, encoded MDAwMTAyMDMtMDQwNS0wNjA3LTA4MDktMEEwQjBDMEQwRTBG"}));

  sink.clear();
  gate.setLogLevel(1);
  encodeToken("ab", false, &gate);
  EXPECT_TRUE(sink.lines().empty());
}

// The identity component: the persistent user token and the session tokens.
class IdentityTest : public ::testing::Test {
 protected:
  // The token a fresh identity over the same store starts with (the application restarted).
  std::optional<std::string> restoredToken() {
    Identity identity(platform, gate);
    identity.restoreUserToken();
    return identity.userToken();
  }
  testing::TestingPlatform platform;
  LogGate gate{platform.logSink()};
};

TEST_F(IdentityTest, TheUserTokenIsMadeOnceStoredAndReusedUntilUnreadable) {
  gate.setDebugMode(true);
  const std::string token = restoredToken().value();
  EXPECT_EQ(platform.memoryStore().get(kZVPersistenTokenKey), Value(token));
  EXPECT_EQ(platform.log().count("[ZV]:Created userToken: " + token), 1u);
  const int syncs = platform.memoryStore().synchronizeCount();
  EXPECT_EQ(restoredToken(), token);
  EXPECT_EQ(platform.log().count("[ZV]:Created userToken: " + token), 1u);
  EXPECT_EQ(platform.memoryStore().synchronizeCount(), syncs) << "a reused token is not written again";

  platform.memoryStore().set(kZVPersistenTokenKey, Value(42));
  const std::string fresh = restoredToken().value();
  EXPECT_NE(fresh, token);
  EXPECT_EQ(platform.memoryStore().get(kZVPersistenTokenKey), Value(fresh)) << "a token that is not text is replaced";

  platform.memoryStore().remove(kZVPersistenTokenKey);
  platform.setStoreEnabled(false);
  EXPECT_NE(restoredToken(), restoredToken()) << "without a store every start makes a fresh token";
  EXPECT_EQ(platform.memoryStore().snapshot().count(kZVPersistenTokenKey), 0u);
}

}  // namespace
}  // namespace zelvo
