#include "collector/web_page.h"

namespace zelvo::collector {

bool isPagePath(std::string_view path) {
  return path == kPagePath || path == kRecordsPath || path == kDownloadPath || path == kIconPath;
}

std::string_view webPage() {
  static constexpr std::string_view kPage =
#include "web_page_html.inc"
      ;
  return kPage;
}

}  // namespace zelvo::collector
