#pragma once

// The library's exported constants: store keys, endpoints, notification names, wire keys and
// protocol numbers. Their texts are part of the protocol and never change.

namespace zelvo {

// Version of the library.
extern const double ZelvoVersionNumber;
extern const unsigned char ZelvoVersionString[];

// Keys of the values kept in the application's preferences.
extern const char* const kZVPersistenTokenKey;
extern const char* const kZVUserVisitTrackingKey;
extern const char* const kZVUserFirstVisitTrackingKey;
extern const char* const kZVAppOpenDatesKey;
extern const char* const kSiteVisitUidKey;
extern const char* const kSiteVisitDepthKey;
extern const char* const kSiteVisitReferrerKey;
extern const char* const kSiteVisitRefreshTimeKey;
extern const char* const kZVEngagementWindowKey;

// Endpoints. Pings go to one of the two bases, each ending in "/ping?".
extern const char* const kZVPingURLBase;
extern const char* const kZVPongURLBase;
extern const char* const kZelvoConfigURL;
extern const char* const kZelvoConfigEngagementWindowKey;

// Notifications around each ping request, and their user-info key.
extern const char* const kZVWillSendPingRequestNotification;
extern const char* const kZVDidSendPingRequestNotification;
extern const char* const kZVDidSendPingRequestNotificationURLKey;

// Keys of a request record kept for resends.
extern const char* const kZVParams;
extern const char* const kZVNumRetries;
extern const char* const kZVUserAgent;

// The user-agent template; both placeholders take the device model name.
extern const char* const kZVIosUserAgent;

// Wire keys.
extern const char* const kZVPagePathKeyForVideo;
extern const char* const kZVPageDomainKeyForVideo;
extern const char* const kZVPageAppIdKeyForVideo;
extern const char* const kZVPageTitleKeyForVideo;
extern const char* const kZVContentEngagementKeyForVideo;
extern const char* const kZVVideoPathKeyForPage;
extern const char* const kZVVideoTitleKeyForPage;
extern const char* const kZVVideoHostKeyForPage;
extern const char* const kZVVideoTypeKey;
extern const char* const kZVVideoDurationKey;
extern const char* const kZVVideoStateKey;
extern const char* const kZVVideoThumbnailKey;
extern const char* const kZVPathKey;
extern const char* const kZVTitleKey;
extern const char* const kZVHostKey;

// Protocol numbers.
extern const int kZVMaxUUIDLength;
extern const int kSecondsToTrackSiteVisit;
extern const int kZVDefaultEngagementWindow;
extern const int kZVPingEndpointVersion;
extern const double kLockOutTime;
extern const int kZVMaxNumberOfRetries;
extern const int kDecayDelay;
extern const int kInitialPingInterval;
extern const char* const kZelvoSDKVersion;

}  // namespace zelvo
