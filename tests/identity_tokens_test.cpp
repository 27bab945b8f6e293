#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <vector>

#include "component_fixture.h"
#include "identity/identity.h"
#include "identity/tokens.h"
#include "zelvo/constants.h"
#include "zelvo/zv_utils.h"

namespace zelvo {
namespace {

std::array<uint8_t, 16> bytes00To0F() {
  std::array<uint8_t, 16> bytes{};
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  return bytes;
}

// The token alphabet ("-" for 63, "_" for 62 and for padding), standard Base64, and tokens that
// are the token alphabet over standard Base64 text, cut to 18 characters when asked.
TEST(IdentityTokensTest, Base64InBothAlphabetsAndTokenEncoding) {
  const std::array<uint8_t, 16> uuid = bytes00To0F();
  EXPECT_EQ(ZVUtils::base64forData(uuid.data(), uuid.size()), "AAECAwQFBgcICQoLDA0ODw__");
  EXPECT_EQ(ZVUtils::base64forData(nullptr, 0), "");
  const std::pair<std::vector<uint8_t>, const char*> tokenAlphabet[] = {
      {{0xFF}, "-w__"}, {{0xFF, 0xFF}, "--8_"}, {{0xFB, 0xFF, 0xBF}, "_-_-"}, {{'a', 'b'}, "YWI_"}, {{}, ""}};
  for (const auto& [bytes, text] : tokenAlphabet) EXPECT_EQ(ZVUtils::base64forData(bytes), text) << text;
  EXPECT_EQ(toBase64String(""), "");
  EXPECT_EQ(toBase64String("ab"), "YWI=");
  EXPECT_EQ(toBase64String("\xFB\xFF\xBF"), "+/+/");
  EXPECT_EQ(encodeToken("ab", false, nullptr), "YWI");
  EXPECT_EQ(encodeToken("\xFB\xFF\xBF", false, nullptr), "-_-_");
  EXPECT_EQ(encodeToken("ab", true, nullptr), "YWI") << "a short result is kept whole";
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

// The identity component on the single fakes: the persistent user token.
class IdentityTest : public test::ComponentTest {
 protected:
  // The token a fresh identity over `over` starts with (the application restarted).
  std::optional<std::string> restoredToken(KeyValueStore* over) {
    Identity identity(over, clock, calendar, uuids, gate);
    identity.restoreUserToken();
    return identity.userToken();
  }
};

TEST_F(IdentityTest, TheUserTokenIsMadeOnceStoredAndReusedUntilUnreadable) {
  gate.setDebugMode(true);
  const std::string token = restoredToken(&store).value();
  EXPECT_EQ(store.get(kZVPersistenTokenKey), Value(token));
  EXPECT_EQ(store.synchronizeCount(), 1) << "a new token is written through at once";
  EXPECT_EQ(log.count("[ZV]:Created userToken: " + token), 1u);
  const int syncs = store.synchronizeCount();
  EXPECT_EQ(restoredToken(&store), token);
  EXPECT_EQ(log.count("[ZV]:Created userToken: " + token), 1u);
  EXPECT_EQ(store.synchronizeCount(), syncs) << "a reused token is not written again";

  store.set(kZVPersistenTokenKey, Value(42));
  const std::string fresh = restoredToken(&store).value();
  EXPECT_NE(fresh, token);
  EXPECT_EQ(store.get(kZVPersistenTokenKey), Value(fresh)) << "a token that is not text is replaced";
  EXPECT_NE(restoredToken(nullptr), restoredToken(nullptr)) << "without a store every start makes a fresh token";
}

}  // namespace
}  // namespace zelvo
