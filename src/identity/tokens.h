#pragma once

#include <string>
#include <string_view>

#include "common/log_gate.h"
#include "zelvo/platform/uuid_source.h"

// The identity tokens: a fresh UUID's bytes through base64forData and then through a standard
// Base64 made URL-safe. User tokens have 18 characters, session tokens and site-visit ids 32.
// `gate` may be null (nothing is logged). Thread: any.
namespace zelvo {

// Standard Base64 (RFC 4648: "+", "/", "=" padding, no line breaks) of the text's bytes.
std::string toBase64String(std::string_view text);
// toBase64String without "=", with "+" as "-" and "/" as "_", cut to 18 characters when
// `trunked` (a shorter result is kept whole).
std::string encodeToken(std::string_view s, bool trunked, const LogGate* gate);
// A new UUID in its upper-case 8-4-4-4-12 hexadecimal form.
std::string generateUUID(UuidSource& uuids, const LogGate* gate);
std::string generateUserToken(UuidSource& uuids, const LogGate* gate);
std::string generateSessionToken(UuidSource& uuids, const LogGate* gate);
std::string generateSiteVisitUid(UuidSource& uuids, const LogGate* gate);
// 48 characters, from the UUID's text rather than its bytes. Offered, not used by the tracker.
std::string createSessionToken(UuidSource& uuids, const LogGate* gate);

}  // namespace zelvo
