#include "zelvo/constants.h"

namespace zelvo {

const double ZelvoVersionNumber = 1.0;
const unsigned char ZelvoVersionString[] = "1.0";

const char* const kZVPersistenTokenKey = "__zv_userToken";
const char* const kZVUserVisitTrackingKey = "__zv__UserVisitTrackingKey";
const char* const kZVUserFirstVisitTrackingKey = "__zv__UserFirstVisitTrackingKey";
const char* const kZVAppOpenDatesKey = "__zv__AppOpenDatesKey";
const char* const kSiteVisitUidKey = "__zv__SiteVisitUidKey";
const char* const kSiteVisitDepthKey = "__zv__SiteVisitDepthKey";
const char* const kSiteVisitReferrerKey = "__zv__SiteVisitReferrerKey";
const char* const kSiteVisitRefreshTimeKey = "__zv__SiteVisitRefreshTimeKey";
const char* const kZVEngagementWindowKey = "__zv__EngagementWindowKey";

const char* const kZVPingURLBase = "https://ping.zelvo-analytics.net/ping?";
const char* const kZVPongURLBase = "https://pong.zelvo-analytics.net/ping?";
const char* const kZelvoConfigURL = "https://config.zelvo-analytics.net/data/config.json";
const char* const kZelvoConfigEngagementWindowKey = "engagement_window";

const char* const kZVWillSendPingRequestNotification = "kZVWillSendPingRequestNotification";
const char* const kZVDidSendPingRequestNotification = "kZVDidSendPingRequestNotification";
const char* const kZVDidSendPingRequestNotificationURLKey = "URL";

const char* const kZVParams = "params";
const char* const kZVNumRetries = "numRetries";
const char* const kZVUserAgent = "userAgent";

const char* const kZVIosUserAgent =
    "Mozilla/5.0 (%@; CPU %@ OS 10_1_1 like Mac OS X) AppleWebKit/602.2.14 (KHTML, like Gecko) "
    "Version/10.0 Mobile/14B100 Safari/602.1/zvua/App";

const char* const kZVPagePathKeyForVideo = "_vp";
const char* const kZVPageDomainKeyForVideo = "_vh";
const char* const kZVPageAppIdKeyForVideo = "_vdd";
const char* const kZVPageTitleKeyForVideo = "_vi";
const char* const kZVContentEngagementKeyForVideo = "_vce";
const char* const kZVVideoPathKeyForPage = "_vp";
const char* const kZVVideoTitleKeyForPage = "_vi";
const char* const kZVVideoHostKeyForPage = "_vdd";
const char* const kZVVideoTypeKey = "_vt";
const char* const kZVVideoDurationKey = "_vd";
const char* const kZVVideoStateKey = "_vs";
const char* const kZVVideoThumbnailKey = "_vtn";
const char* const kZVPathKey = "p";
const char* const kZVTitleKey = "i";
const char* const kZVHostKey = "h";

const int kZVMaxUUIDLength = 18;
const int kSecondsToTrackSiteVisit = 1800;
const int kZVDefaultEngagementWindow = 4;
const int kZVPingEndpointVersion = 1;
const double kLockOutTime = 600.0;
const int kZVMaxNumberOfRetries = 3;
const int kDecayDelay = 15;
const int kInitialPingInterval = 15;
const char* const kZelvoSDKVersion = "1009";

}  // namespace zelvo
