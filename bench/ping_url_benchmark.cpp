// The cost of turning one ping's values into its URL, against one snprintf that writes a URL
// of the same text. Read the figure as the ratio of the two times of the same run.
#include "baseline_ratio.h"
#include "snprintf_url.h"

#include <cstdio>
#include <string>

#include "ping/ping_url.h"
#include "zelvo/constants.h"

namespace zelvo {
namespace {

ZVPing::TrackArguments typicalArguments() {
  ZVPing::TrackArguments a;
  a.trackAccountID = 12345;
  a.page.domain = "example.com";
  a.page.subDomain = "news.example.com";
  a.page.viewId = "/news/2026/03/budget talks";
  a.page.title = "Budget talks: what changes & when";
  a.userToken = "QUFFQ0F3UUZCZ2NJQ1";
  a.sessionToken = "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f";
  a.dwellTime = 45;
  a.contentHeight = 8123.5;
  a.contentWidth = 750.0;
  a.scrollPosition = 2400.25;
  a.maxScrollPosition = 3100;
  a.lastPath = "/news";
  a.page.authors = std::vector<std::string>{"Jane Doe"};
  a.page.sections = std::vector<std::string>{"news", "politics"};
  a.page.zones = std::vector<std::string>{};
  a.page.appReferrer = "com.example.app";
  a.page.userAgent = "Mozilla/5.0 (iPhone)";
  a.screenHeight = 1334.0f;
  a.screenWidth = 750.0f;
  a.page.location = Location{52.520008, 13.404954};
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

void checkSameUrl(benchmark::State& state, bool full) {
  std::string ours = buildUrl(typicalArguments(), full);
  if (ours != bench::snprintfUrl(full)) state.SkipWithError(("baseline differs from " + ours).c_str());
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
    std::string url = bench::snprintfUrl(full);
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
