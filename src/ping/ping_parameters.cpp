#include <algorithm>
#include <cassert>

#include "ping/zv_ping.h"

namespace zelvo {

void PingParameters::add(std::string_view key, std::string value) {
  assert(find(key) == nullptr);
  entries_.emplace_back(key, std::move(value));
}

const std::string* PingParameters::find(std::string_view key) const {
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first == key; });
  return it == entries_.end() ? nullptr : &it->second;
}

}  // namespace zelvo
