#pragma once

#include "ping/zv_ping.h"

namespace zelvo::test {

// The values of a typical ping of the second view of a session.
inline ZVPing::TrackArguments typicalPingArguments() {
  ZVPing::TrackArguments a;
  a.trackAccountID = 12345;
  a.page.domain = "example.com";
  a.page.subDomain = "news.example.com";
  a.page.viewId = "/news/today";
  a.page.title = "Today";
  a.decay = 0;
  a.userToken = "QUFFQ0F3UUZCZ2NJQ1";
  a.sessionToken = "QUFFQ0F3UUZCZ2NJQ1FvTERBME9Ed19f";
  a.dwellTime = 30;
  a.contentHeight = 4000.0;
  a.contentWidth = 750.0;
  a.scrollPosition = 1200.0;
  a.maxScrollPosition = 1500;
  a.lastPath = "/news/yesterday";
  a.page.authors = std::vector<std::string>{"Jane Doe"};
  a.page.sections = std::vector<std::string>{"news", "world"};
  a.page.zones = std::vector<std::string>{};
  a.page.appReferrer = "com.example.app";
  a.page.appid = "com.example.app";
  a.page.userAgent = "Mozilla/5.0 (iPhone)";
  a.screenHeight = 1334.0f;
  a.screenWidth = 750.0f;
  a.frequency = "00001";
  a.userRead = true;
  a.engagedSeconds = 12;
  a.engagedSecondsSinceLastPing = 3;
  a.pingEndpointVersion = 1;
  a.sdkVersion = "1009";
  a.siteVisitDepth = 2;
  a.siteVisitReferrer = "";
  a.siteVisitUid = "U0lURVZJU0lUVUlEVUlEVUlEVUlEVUlE";
  a.previousSessionToken = "UFJFVklPVVNTRVNTSU9OVE9LRU5UT0tF";
  return a;
}

}  // namespace zelvo::test
