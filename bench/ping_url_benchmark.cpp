// The cost of turning one ping's values into its URL, against one snprintf that writes a URL
// of the same text. Read the figure as the ratio of the two times of the same run.
#include "baseline_ratio.h"

#include <cstdio>
#include <string>

#include "ping/ping_url.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

ZVPing::TrackArguments typicalArguments() {
  ZVPing::TrackArguments a;
  a.trackAccountID = 12345;
  a.domain = "example.com";
  a.subDomain = "news.example.com";
  a.path = "/news/2026/03/budget talks";
  a.title = "Budget talks: what changes & when";
  a.userToken = "QUFFQ0F3UUZCZ2NJQ1";
  a.sessionToken = "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f";
  a.dwellTime = 45;
  a.contentHeight = 8123.5;
  a.contentWidth = 750.0;
  a.scrollPosition = 2400.25;
  a.maxScrollPosition = 3100;
  a.lastPath = "/news";
  a.authors = std::vector<std::string>{"Jane Doe"};
  a.sections = std::vector<std::string>{"news", "politics"};
  a.zones = std::vector<std::string>{};
  a.appReferrer = "com.example.app";
  a.userAgent = "Mozilla/5.0 (iPhone)";
  a.screenHeight = 1334.0f;
  a.screenWidth = 750.0f;
  a.location = Location{52.520008, 13.404954};
  a.frequency = "0001f";
  a.userRead = true;
  a.engagedSeconds = 21;
  a.engagedSecondsSinceLastPing = 6;
  a.pingEndpointVersion = 1;
  a.sdkVersion = "1009";
  a.siteVisitDepth = 3;
  a.siteVisitReferrer = "";
  a.siteVisitUid = "U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE";
  a.previousSessionToken = "UFJFVklPVVNTRVNTSU9OVE9LRU5UT0tF";
  return a;
}

std::string buildUrl(const ZVPing::TrackArguments& arguments, bool full) {
  bool referrerSent = false;
  return composePingUrl(kZVPingURLBase, buildParameters(arguments, full, referrerSent, nullptr));
}

constexpr const char* kRegularFormat =
    "%sh=%s&d=%s&g=%d&j=%d&u=%s&t=%s&p=%s&c=%.2f&y=%d&o=%d&x=%d&m=%d&f=%s&R=%d&W=%d&I=%d&E=%d&e=%d&Z=%d"
    "&sd=%lld&sr=%s&sv=%s";
constexpr const char* kFullFormat = "&n=%d&i=%s&g0=%s,%s&g1=%s&g2=&w=%d&S=%d&lg=%f&lt=%f&V=%s&r=%s&D=%s";

// The same URL as buildUrl() of typicalArguments(), written by one snprintf from values that
// are already numbers and escaped text.
std::string snprintfUrl(bool full) {
  const std::string format = std::string(kRegularFormat) + (full ? kFullFormat : "") + "&_";
  char buffer[1024];
  int length = std::snprintf(
      buffer, sizeof buffer, format.c_str(), kZVPingURLBase, "example.com", "news.example.com", 12345, 0,
      "QUFFQ0F3UUZCZ2NJQ1", "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f", "/news/2026/03/budget%20talks",
      static_cast<double>(45.0f / 60.0f), 8123, 750, 2400, 3100, "0001f", 1, 0, 0, 21, 6, 1, 3LL, "",
      "U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE", 0, "Budget%20talks%3A%20what%20changes%20%26%20when", "news",
      "politics", "Jane%20Doe", 1334, 750, 13.404954, 52.520008, "1009", "com.example.app", "UFJFVklPVVNTRVNTSU9OVE9LRU5UT0tF");
  return std::string(buffer, static_cast<std::size_t>(length));
}

void checkSameUrl(benchmark::State& state, bool full) {
  std::string ours = buildUrl(typicalArguments(), full);
  if (ours != snprintfUrl(full)) state.SkipWithError(("baseline differs from " + ours).c_str());
  state.counters["url_bytes"] = static_cast<double>(ours.size());
}

void PingUrl(benchmark::State& state, bool full) {
  checkSameUrl(state, full);
  const ZVPing::TrackArguments arguments = typicalArguments();
  for (auto _ : state) {
    std::string url = buildUrl(arguments, full);
    benchmark::DoNotOptimize(url);
  }
}

void BaselineSnprintfUrl(benchmark::State& state, bool full) {
  checkSameUrl(state, full);
  for (auto _ : state) {
    std::string url = snprintfUrl(full);
    benchmark::DoNotOptimize(url);
  }
}

BENCHMARK_CAPTURE(BaselineSnprintfUrl, regular, false);
BENCHMARK_CAPTURE(PingUrl, regular, false);
BENCHMARK_CAPTURE(BaselineSnprintfUrl, full, true);
BENCHMARK_CAPTURE(PingUrl, full, true);

}  // namespace
}  // namespace zelvo

ZELVO_BENCHMARK_MAIN()
