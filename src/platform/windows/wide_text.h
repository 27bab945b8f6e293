#pragma once

#include <string>
#include <string_view>

namespace zelvo::windows_platform {

// UTF-8 to the UTF-16 of the Windows API and back; invalid sequences become U+FFFD.
std::wstring toWide(std::string_view text);
std::string toUtf8(std::wstring_view text);

// `text` with A-Z as a-z (host names compare so).
std::string asciiLowercase(std::string text);

// The system's text for an error code (GetLastError()), in UTF-8, without the trailing newline.
std::string errorText(unsigned long code);

}  // namespace zelvo::windows_platform
