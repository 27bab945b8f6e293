#include "common/format.h"

#include <clocale>
#include <cstdio>
#include <locale.h>

namespace zelvo {
namespace {

// The "C" locale object, made once; uselocale() switches only the calling thread.
locale_t posixLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

}  // namespace

std::string formatPosix(const char* format, ...) {
  locale_t previous = uselocale(posixLocale());
  char stack[256];
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int needed = std::vsnprintf(stack, sizeof stack, format, args);
  va_end(args);
  std::string out;
  if (needed < 0) {
    out.clear();
  } else if (static_cast<size_t>(needed) < sizeof stack) {
    out.assign(stack, static_cast<size_t>(needed));
  } else {
    out.resize(static_cast<size_t>(needed));
    std::vsnprintf(out.data(), out.size() + 1, format, again);
  }
  va_end(again);
  uselocale(previous);
  return out;
}

}  // namespace zelvo
