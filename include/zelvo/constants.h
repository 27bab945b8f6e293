#pragma once

#include "zelvo/export.h"

// The library's exported constants: store keys, endpoints, notification names, wire keys and
// protocol numbers. Their texts are part of the protocol and never change.

namespace zelvo {

// Version of the library.
ZELVO_EXPORT extern const double ZelvoVersionNumber;
ZELVO_EXPORT extern const unsigned char ZelvoVersionString[];

// Keys of the values kept in the application's preferences.
ZELVO_EXPORT extern const char* const kZVPersistenTokenKey;
ZELVO_EXPORT extern const char* const kZVUserVisitTrackingKey;
ZELVO_EXPORT extern const char* const kZVUserFirstVisitTrackingKey;
ZELVO_EXPORT extern const char* const kZVAppOpenDatesKey;
ZELVO_EXPORT extern const char* const kSiteVisitUidKey;
ZELVO_EXPORT extern const char* const kSiteVisitDepthKey;
ZELVO_EXPORT extern const char* const kSiteVisitReferrerKey;
ZELVO_EXPORT extern const char* const kSiteVisitRefreshTimeKey;
ZELVO_EXPORT extern const char* const kZVEngagementWindowKey;

// Endpoints. Pings go to one of the two bases, each ending in "/ping?".
ZELVO_EXPORT extern const char* const kZVPingURLBase;
ZELVO_EXPORT extern const char* const kZVPongURLBase;
ZELVO_EXPORT extern const char* const kZelvoConfigURL;
ZELVO_EXPORT extern const char* const kZelvoConfigEngagementWindowKey;

// Notifications around each ping request, and their user-info key.
ZELVO_EXPORT extern const char* const kZVWillSendPingRequestNotification;
ZELVO_EXPORT extern const char* const kZVDidSendPingRequestNotification;
ZELVO_EXPORT extern const char* const kZVDidSendPingRequestNotificationURLKey;

// Keys of a request record kept for resends.
ZELVO_EXPORT extern const char* const kZVParams;
ZELVO_EXPORT extern const char* const kZVNumRetries;
ZELVO_EXPORT extern const char* const kZVUserAgent;

// The user-agent template; both placeholders take the device model name.
ZELVO_EXPORT extern const char* const kZVIosUserAgent;

// Wire keys.
ZELVO_EXPORT extern const char* const kZVPagePathKeyForVideo;
ZELVO_EXPORT extern const char* const kZVPageDomainKeyForVideo;
ZELVO_EXPORT extern const char* const kZVPageAppIdKeyForVideo;
ZELVO_EXPORT extern const char* const kZVPageTitleKeyForVideo;
ZELVO_EXPORT extern const char* const kZVContentEngagementKeyForVideo;
ZELVO_EXPORT extern const char* const kZVVideoPathKeyForPage;
ZELVO_EXPORT extern const char* const kZVVideoTitleKeyForPage;
ZELVO_EXPORT extern const char* const kZVVideoHostKeyForPage;
ZELVO_EXPORT extern const char* const kZVVideoTypeKey;
ZELVO_EXPORT extern const char* const kZVVideoDurationKey;
ZELVO_EXPORT extern const char* const kZVVideoStateKey;
ZELVO_EXPORT extern const char* const kZVVideoThumbnailKey;
ZELVO_EXPORT extern const char* const kZVPathKey;
ZELVO_EXPORT extern const char* const kZVTitleKey;
ZELVO_EXPORT extern const char* const kZVHostKey;

// Protocol numbers.
ZELVO_EXPORT extern const int kZVMaxUUIDLength;
ZELVO_EXPORT extern const int kSecondsToTrackSiteVisit;
ZELVO_EXPORT extern const int kZVDefaultEngagementWindow;
ZELVO_EXPORT extern const int kZVPingEndpointVersion;
ZELVO_EXPORT extern const double kLockOutTime;
ZELVO_EXPORT extern const int kZVMaxNumberOfRetries;
ZELVO_EXPORT extern const int kDecayDelay;
ZELVO_EXPORT extern const int kInitialPingInterval;
ZELVO_EXPORT extern const char* const kZelvoSDKVersion;

}  // namespace zelvo
