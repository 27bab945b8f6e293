#include <algorithm>

#include "ping/zv_ping.h"

namespace zelvo {

void PingParameters::set(std::string key, std::string value) {
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first == key; });
  if (it != entries_.end()) {
    it->second = std::move(value);
  } else {
    entries_.emplace_back(std::move(key), std::move(value));
  }
}

const std::string* PingParameters::find(std::string_view key) const {
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first == key; });
  return it == entries_.end() ? nullptr : &it->second;
}

}  // namespace zelvo
