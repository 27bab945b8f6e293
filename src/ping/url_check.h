#pragma once

#include <string_view>

namespace zelvo {

// Whether `url` is a well-formed https URL: "https://", a non-empty host with an optional
// numeric port, then an optional path, query and fragment made only of the characters a URL
// may hold, every "%" followed by two hexadecimal digits. Raw values put into a ping (a
// stored user token with a blank or a non-ASCII byte, say) fail here, and such a ping is
// dropped rather than sent as something the server would read differently.
bool isValidPingUrl(std::string_view url);

}  // namespace zelvo
