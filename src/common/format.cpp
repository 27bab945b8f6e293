#include "common/format.h"

#include <clocale>
#include <cstdio>
#include <locale.h>

namespace zelvo {
namespace {

#ifdef _WIN32
// The C runtime of Windows has no uselocale(): the calling thread is given a locale of its own
// for the call, so other threads keep the host's.
class PosixNumbersOnThisThread {
 public:
  PosixNumbersOnThisThread() : previousMode_(_configthreadlocale(_ENABLE_PER_THREAD_LOCALE)) {
    if (const char* current = std::setlocale(LC_NUMERIC, nullptr)) previous_ = current;
    std::setlocale(LC_NUMERIC, "C");
  }
  ~PosixNumbersOnThisThread() {
    std::setlocale(LC_NUMERIC, previous_.c_str());
    _configthreadlocale(previousMode_);
  }

 private:
  int previousMode_;
  std::string previous_ = "C";
};
#else
// The "C" locale object, made once; uselocale() switches only the calling thread.
class PosixNumbersOnThisThread {
 public:
  PosixNumbersOnThisThread() : previous_(uselocale(posixLocale())) {}
  ~PosixNumbersOnThisThread() { uselocale(previous_); }

 private:
  static locale_t posixLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return locale;
  }
  locale_t previous_;
};
#endif

}  // namespace

std::string formatPosix(const char* format, ...) {
  const PosixNumbersOnThisThread posixNumbers;
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
  return out;
}

}  // namespace zelvo
