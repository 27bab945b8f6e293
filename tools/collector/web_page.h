#pragma once

#include <string_view>

namespace zelvo::collector {

// The collector's own paths: the page itself, the records it polls ("?after=N": those after
// sequence N, as JSON), all records kept as JSON Lines for download, and the icon.
inline constexpr std::string_view kPagePath = "/";
inline constexpr std::string_view kRecordsPath = "/records";
inline constexpr std::string_view kDownloadPath = "/records.jsonl";
// Browsers ask for it unbidden; it is answered 204 rather than taken for a stray request.
inline constexpr std::string_view kIconPath = "/favicon.ico";

bool isPagePath(std::string_view path);

// The live page (page/index.html, built in): markup, style and script in one document that
// fetches nothing from elsewhere. Thread: any; a static string.
std::string_view webPage();

}  // namespace zelvo::collector
