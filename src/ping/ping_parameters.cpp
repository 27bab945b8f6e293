#include <algorithm>
#include <cassert>
#include <utility>

#include "common/number_text.h"
#include "ping/ping_url.h"

namespace zelvo {

PingParameters& PingParameters::operator=(const PingParameters& other) {
  if (this == &other) return *this;
  // Pair by pair into a new text: copies are rare (a resend), and this keeps the views right
  // without a second way of moving them.
  PingParameters copy;
  copy.reserve(other.size_, other.entries_.size());
  for (const auto& [key, value] : other.entries_) copy.add(key, value);
  return *this = std::move(copy);
}

PingParameters& PingParameters::operator=(PingParameters&& other) noexcept {
  if (this == &other) return *this;
  text_ = std::move(other.text_);
  size_ = std::exchange(other.size_, 0);
  capacity_ = std::exchange(other.capacity_, 0);
  entries_ = std::move(other.entries_);
  other.entries_.clear();
  return *this;
}

[[gnu::noinline]] void PingParameters::moveText(std::size_t capacity) {
  auto larger = std::make_unique_for_overwrite<char[]>(capacity);
  std::copy_n(text_.get(), size_, larger.get());
  // The views follow the text.
  auto moved = [&](std::string_view view) {
    return std::string_view(larger.get() + (view.data() - text_.get()), view.size());
  };
  for (Entry& entry : entries_) entry = {moved(entry.first), moved(entry.second)};
  text_ = std::move(larger);
  capacity_ = capacity;
}

void PingParameters::reserve(std::size_t bytes, std::size_t keys) {
  entries_.reserve(keys);
  if (bytes > capacity_) moveText(bytes);
}

char* PingParameters::beginValue(std::string_view key, std::size_t valueSize) {
  assert(find(key) == nullptr);
  const std::size_t separator = entries_.empty() ? 0 : 1;
  const std::size_t end = size_ + separator + key.size() + 1 + valueSize;
  if (end > capacity_) moveText(std::max(end, 2 * capacity_));
  char* cursor = text_.get() + size_;
  if (separator != 0) *cursor++ = '&';
  const char* const keyText = cursor;
  for (char c : key) *cursor++ = c;  // a few bytes: no call to memmove
  *cursor++ = '=';
  entries_.emplace_back(std::string_view(keyText, key.size()), std::string_view(cursor, 0));
  return cursor;
}

void PingParameters::endValue(const char* end) {
  std::string_view& value = entries_.back().second;
  value = std::string_view(value.data(), static_cast<std::size_t>(end - value.data()));
  size_ = static_cast<std::size_t>(end - text_.get());
}

void PingParameters::add(std::string_view key, std::string_view value) {
  endValue(std::copy(value.begin(), value.end(), beginValue(key, value.size())));
}

void PingParameters::addEncoded(std::string_view key, std::string_view text) {
  endValue(percentEncode(text, beginValue(key, 3 * text.size())));
}

void PingParameters::addInteger(std::string_view key, int64_t value) {
  endValue(writeIntegerText(beginValue(key, kIntegerTextSize), value));
}

const std::string_view* PingParameters::find(std::string_view key) const {
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.first == key; });
  return it == entries_.end() ? nullptr : &it->second;
}

}  // namespace zelvo
