#pragma once

#include <string_view>

namespace zelvo {

// Whether `text` (a URL's path, query or fragment) holds only the characters a URL may hold
// there, every "%" followed by two hexadecimal digits. curl passes those bytes on untouched, so
// a raw blank or non-ASCII byte from a stored value would reach the server as something it
// reads differently. Thread: any.
bool holdsOnlyUrlCharacters(std::string_view text);

// The testing platform's URL check, for hosts that have no curl: "https://", a host name of
// letters, digits, "-" and "." with at least one letter (so never an address curl would read
// from a bare number), an optional port up to 65535, then a path, query and fragment as above.
// Stricter than the curl client's check, never looser. Thread: any.
bool isPlainHttpsUrl(std::string_view url);

}  // namespace zelvo
