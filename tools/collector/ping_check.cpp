#include "collector/ping_check.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cstdint>

#include "collector/query_string.h"
#include "zelvo/constants.h"

namespace zelvo::collector {
namespace {

// Each check returns what is wrong with a value, or the empty string.
using ValueCheck = std::string (*)(std::string_view value);

std::string inQuotes(std::string_view value) {
  // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) on "literal" + string.
  std::string text(1, '"');
  text += value;
  text += '"';
  return text;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Decimal digits without a superfluous leading zero, as printf writes them.
bool isPlainDigits(std::string_view digits) {
  if (digits.empty()) return false;
  for (char c : digits) {
    if (!isDigit(c)) return false;
  }
  return digits.size() == 1 || digits[0] != '0';
}

template <typename Integer>
bool parsesAs(std::string_view text, Integer& value) {
  const char* end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && at == end;
}

// "%d" of a 32-bit value: an optional minus (never on zero) and plain digits, in range.
std::string int32Text(std::string_view value) {
  const std::string_view digits = value.starts_with('-') ? value.substr(1) : value;
  int32_t parsed = 0;
  if (!isPlainDigits(digits) || value == "-0" || !parsesAs(value, parsed)) {
    return inQuotes(value) + " is not a signed 32-bit integer as \"%d\" prints it";
  }
  return {};
}

std::string positiveInt64Text(std::string_view value) {
  int64_t parsed = 0;
  if (!isPlainDigits(value) || !parsesAs(value, parsed) || parsed <= 0) {
    return inQuotes(value) + " is not a positive integer";
  }
  return {};
}

// Plain digits, ".", then exactly `decimals` digits: "%.2f" or "%f" of a value.
bool isFixedPoint(std::string_view value, size_t decimals) {
  const std::string_view unsignedPart = value.starts_with('-') ? value.substr(1) : value;
  const size_t point = unsignedPart.find('.');
  if (point == std::string_view::npos || !isPlainDigits(unsignedPart.substr(0, point))) return false;
  const std::string_view fraction = unsignedPart.substr(point + 1);
  if (fraction.size() != decimals) return false;
  for (char c : fraction) {
    if (!isDigit(c)) return false;
  }
  return true;
}

std::string dwellMinutesText(std::string_view value) {
  if (value.starts_with('-') || !isFixedPoint(value, 2)) {
    return inQuotes(value) + " is not the dwell minutes as \"%.2f\" prints them";
  }
  return {};
}

std::string coordinateText(std::string_view value) {
  if (!value.empty() && !isFixedPoint(value, 6)) {
    return inQuotes(value) + " is neither empty nor a coordinate as \"%f\" prints it";
  }
  return {};
}

std::string frequencyText(std::string_view value) {
  bool hex = value.size() == 5;
  for (char c : value) hex = hex && (isDigit(c) || (c >= 'a' && c <= 'f'));
  if (!hex) return inQuotes(value) + " is not five lower-case hexadecimal digits";
  // Today is always among the days the application was opened.
  const char last = value.back();
  const int lastDigit = isDigit(last) ? last - '0' : last - 'a' + 10;
  if (lastDigit % 2 == 0) return inQuotes(value) + " does not have today's bit (bit 0) set";
  return {};
}

bool isTokenCharacter(char c) {
  return isDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_';
}

template <size_t kLength>
std::string tokenText(std::string_view value) {
  bool ok = value.size() == kLength;
  for (char c : value) ok = ok && isTokenCharacter(c);
  if (!ok) {
    return inQuotes(value) + " is not " + std::to_string(kLength) + " characters of [A-Za-z0-9_-]";
  }
  return {};
}

std::string flagText(std::string_view value) {
  return value == "0" || value == "1" ? std::string() : inQuotes(value) + " is neither \"0\" nor \"1\"";
}

std::string endpointVersionText(std::string_view value) {
  return value == "1" ? std::string() : inQuotes(value) + " is not the ping endpoint version \"1\"";
}

std::string sdkVersionText(std::string_view value) {
  return value == kZelvoSDKVersion ? std::string()
                                   : inQuotes(value) + " is not the SDK version \"" + kZelvoSDKVersion + "\"";
}

// What the library's percent-encoder leaves bare, plus `extra`; every escape upper-case.
std::string escapedText(std::string_view value, std::string_view extra) {
  for (size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (c == '%') {
      for (size_t k = i + 1; k <= i + 2 && k < value.size(); ++k) {
        if (value[k] >= 'a' && value[k] <= 'f') {
          return "escape " + inQuotes(value.substr(i, 3)) + " is not upper-case";
        }
      }
      i += 2;
    } else if (!isTokenCharacter(c) && c != '.' && c != '~' && c != '/' && extra.find(c) == std::string_view::npos) {
      return "character '" + std::string(1, c) + "' is not percent-escaped";
    }
  }
  return {};
}

std::string escapedText(std::string_view value) { return escapedText(value, ""); }

// Elements escaped one by one and joined by bare commas.
std::string escapedList(std::string_view value) { return escapedText(value, ","); }

std::string lastPathText(std::string_view value) {
  return value.empty() ? "the last path is sent only when it is not empty" : escapedText(value);
}

std::string idSyncText(std::string_view value) {
  if (std::string problem = escapedText(value); !problem.empty()) return problem;
  const nlohmann::json json = nlohmann::json::parse(percentDecode(value).value_or(""), nullptr, false);
  if (!json.is_object() || json.empty()) return "does not decode to a JSON object with an entry";
  return {};
}

std::string anyText(std::string_view) { return {}; }

enum class Group {
  kEvery,         // on every ping
  kSiteVisit,     // "sd", "sr", "sv": together, when there is a site visit
  kAccount,       // "_acct": when the host set a subscription state
  kFull,          // on every full ping, and on no other
  kFullOptional,  // on some full pings, never on another
};

struct KeyRule {
  const char* key;
  Group group;
  ValueCheck check;
};

constexpr KeyRule kRules[] = {
    {"h", Group::kEvery, escapedText},
    {"d", Group::kEvery, escapedText},
    {"g", Group::kEvery, int32Text},
    {"j", Group::kEvery, int32Text},
    {"u", Group::kEvery, tokenText<18>},
    // The session token is the library's 32 characters, or whatever the host set in its
    // place (setUserToken), escaped like any text.
    {"t", Group::kEvery, escapedText},
    {"p", Group::kEvery, escapedText},
    {"c", Group::kEvery, dwellMinutesText},
    {"y", Group::kEvery, int32Text},
    {"o", Group::kEvery, int32Text},
    {"x", Group::kEvery, int32Text},
    {"m", Group::kEvery, int32Text},
    {"f", Group::kEvery, frequencyText},
    {"R", Group::kEvery, flagText},
    {"W", Group::kEvery, flagText},
    {"I", Group::kEvery, flagText},
    {"E", Group::kEvery, int32Text},
    {"e", Group::kEvery, int32Text},
    {"Z", Group::kEvery, endpointVersionText},
    {"sd", Group::kSiteVisit, positiveInt64Text},
    // The site-visit referrer goes out unescaped ("push/?id=..."): only its escapes are checked.
    {"sr", Group::kSiteVisit, anyText},
    {"sv", Group::kSiteVisit, tokenText<32>},
    {"_acct", Group::kAccount, escapedText},
    {"n", Group::kFull, flagText},
    {"i", Group::kFull, escapedText},
    {"g0", Group::kFull, escapedList},
    {"g1", Group::kFull, escapedList},
    {"g2", Group::kFull, escapedList},
    {"w", Group::kFull, int32Text},
    {"S", Group::kFull, int32Text},
    {"lg", Group::kFull, coordinateText},
    {"lt", Group::kFull, coordinateText},
    {"V", Group::kFull, sdkVersionText},
    {"v", Group::kFullOptional, lastPathText},
    {"r", Group::kFullOptional, escapedText},
    {"D", Group::kFullOptional, escapedText},  // the session token before, either kind
    {"_s", Group::kFullOptional, idSyncText},
};

const KeyRule* ruleFor(std::string_view key) {
  for (const KeyRule& rule : kRules) {
    if (key == rule.key) return &rule;
  }
  return nullptr;
}

class Checker {
 public:
  explicit Checker(CheckedPing& ping) : ping_(ping) {}

  void run(std::string_view query) {
    readItems(query);
    checkGroups();
    checkActivity();
    checkLocation();
    if (has("v") && has("r")) report("v", "\"v\" and \"r\" are never sent together");
  }

 private:
  void report(std::string key, std::string message) {
    ping_.violations.push_back({std::move(key), std::move(message)});
  }
  bool has(const std::string& key) const { return ping_.params.count(key) != 0; }
  const std::string& value(const std::string& key) const { return ping_.params.at(key); }

  void readItems(std::string_view query) {
    std::vector<QueryItem> items = splitQuery(query);
    if (query.ends_with("&_")) {
      items.pop_back();
    } else {
      report("_", "the query does not end with \"&_\"");
    }
    for (const QueryItem& item : items) readItem(item);
  }

  void readItem(const QueryItem& item) {
    const KeyRule* rule = ruleFor(item.key);
    if (rule == nullptr) {
      report(item.key, item.key == "_" ? "\"_\" may only end the query" : "unknown key " + inQuotes(item.key));
      return;
    }
    if (!ping_.params.emplace(item.key, item.value).second) {
      report(item.key, "sent more than once");
      return;
    }
    if (!item.hasEquals) {
      report(item.key, "has no \"=\"");
      return;
    }
    if (!hasWellFormedEscapes(item.value)) {
      report(item.key, inQuotes(item.value) + " holds a malformed percent-escape");
      return;
    }
    if (std::string problem = rule->check(item.value); !problem.empty()) report(item.key, problem);
  }

  void checkGroups() {
    std::vector<std::string> missingFull;
    for (const KeyRule& rule : kRules) {
      const bool present = has(rule.key);
      if (rule.group == Group::kFull) {
        if (present) ping_.full = true;
        else missingFull.push_back(rule.key);
      }
      if (rule.group == Group::kEvery && !present) report(rule.key, "missing; every ping carries it");
    }
    if (ping_.full) {
      for (const std::string& key : missingFull) report(key, "missing from a full ping");
    } else {
      for (const KeyRule& rule : kRules) {
        if (rule.group == Group::kFullOptional && has(rule.key)) report(rule.key, "only a full ping may carry it");
      }
    }
    const int siteVisitKeys = int{has("sd")} + int{has("sr")} + int{has("sv")};
    if (siteVisitKeys != 0 && siteVisitKeys != 3) report("sd", "\"sd\", \"sr\" and \"sv\" go together");
  }

  void checkActivity() {
    int ones = 0;
    for (const char* key : {"R", "W", "I"}) {
      if (!has(key) || flagText(value(key)).size() != 0) return;  // reported already
      ones += value(key) == "1";
    }
    if (ones != 1) report("R", "exactly one of \"R\", \"W\" and \"I\" is \"1\"");
  }

  void checkLocation() {
    if (has("lg") && has("lt") && value("lg").empty() != value("lt").empty()) {
      report("lg", "\"lg\" and \"lt\" are both empty or both set");
    }
  }

  CheckedPing& ping_;
};

}  // namespace

CheckedPing checkPingQuery(std::string_view query) {
  CheckedPing ping;
  Checker(ping).run(query);
  return ping;
}

CheckedPing checkPingUrl(std::string_view url) {
  for (const char* base : {kZVPingURLBase, kZVPongURLBase}) {
    if (url.starts_with(base)) return checkPingQuery(url.substr(std::string_view(base).size()));
  }
  const size_t question = url.find('?');
  CheckedPing ping = checkPingQuery(question == std::string_view::npos ? "" : url.substr(question + 1));
  ping.violations.insert(ping.violations.begin(), {"", "the URL does not start with a ping endpoint"});
  return ping;
}

}  // namespace zelvo::collector
