#include "capi/arguments.h"

#include "common/utf8.h"

namespace zelvo::capi {

zelvo_error readRequiredText(const char* text, std::string& out) {
  if (!text) return ZELVO_ERROR_NULL_ARGUMENT;
  std::string value(text);
  if (!isWellFormedUtf8(value)) return ZELVO_ERROR_INVALID_UTF8;
  out = std::move(value);
  return ZELVO_OK;
}

zelvo_error readText(const char* text, std::optional<std::string>& out) {
  if (!text) {
    out.reset();
    return ZELVO_OK;
  }
  std::string value;
  if (const zelvo_error error = readRequiredText(text, value); error != ZELVO_OK) return error;
  out = std::move(value);
  return ZELVO_OK;
}

zelvo_error readList(const char* const* items, size_t count, std::optional<std::vector<std::string>>& out) {
  if (!items) {
    if (count != 0) return ZELVO_ERROR_NULL_ARGUMENT;
    out.reset();
    return ZELVO_OK;
  }
  std::vector<std::string> list(count);
  for (size_t i = 0; i < count; ++i) {
    if (const zelvo_error error = readRequiredText(items[i], list[i]); error != ZELVO_OK) return error;
  }
  out = std::move(list);
  return ZELVO_OK;
}

}  // namespace zelvo::capi
