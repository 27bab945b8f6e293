#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zelvo::collector {

// A rule of the ping protocol that a request broke. `key` is the wire key concerned, or empty
// for the query as a whole.
struct Violation {
  std::string key;
  std::string message;
  friend bool operator==(const Violation&, const Violation&) = default;
};

struct CheckedPing {
  // The parameters as sent (undecoded), without the trailing "_"; the first of a repeated key.
  std::map<std::string, std::string> params;
  // Whether the ping carries the group of keys that only a full ping sends.
  bool full = false;
  std::vector<Violation> violations;
};

// Checks a ping's query string (the text after "?", as sent) against the protocol: the keys
// every ping carries, the keys only a full ping may carry (all of that group or none), the
// text form of each value, the site-visit trio, the escaping, and the trailing "&_". Never
// throws; any text is acceptable input.
CheckedPing checkPingQuery(std::string_view query);

// Checks a whole ping URL: one of the two ping endpoints followed by the query.
CheckedPing checkPingUrl(std::string_view url);

}  // namespace zelvo::collector
