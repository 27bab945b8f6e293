#include <cctype>

#include "sim/line_parsers.h"
#include "zelvo/testing/testing_platform.h"

namespace zelvo::sim {
namespace {

using nlohmann::json;
using testing::ZoneCalendar;


std::array<uint8_t, 16> uuidBytes(const json& value, const std::string& field) {
  const std::string text = asString(value, field);
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
  };
  std::array<uint8_t, 16> bytes{};
  bool ok = text.size() == 32;
  for (std::size_t i = 0; ok && i < bytes.size(); ++i) {
    const int high = nibble(text[2 * i]);
    const int low = nibble(text[2 * i + 1]);
    ok = high >= 0 && low >= 0;
    bytes[i] = static_cast<uint8_t>(ok ? high * 16 + low : 0);
  }
  if (!ok) throw FieldError{field, "must be 32 hexadecimal digits"};
  return bytes;
}

// Local midnight of a day in `zone`, in seconds since 2001: the start of the local day that
// holds the day's local noon, which lies inside the day whatever the zone's offset.
double localMidnight(const ZoneCalendar& zone, int64_t daysSince2001) {
  const double utcNoon = static_cast<double>(daysSince2001) * 86400.0 + 43200.0;
  const double localNoon = utcNoon - zone.utcOffsetAt(utcNoon);
  return zone.startOfDay(localNoon);
}

Date dateValue(const json& value, const std::string& field, const ZoneCalendar& zone) {
  if (value.is_number()) return Date{value.get<double>()};
  if (value.is_string()) {
    const std::string text = value.get<std::string>();
    if (auto millis = millisSince2001FromIso(text)) return Date{static_cast<double>(*millis) / 1000.0};
    if (auto days = daysSince2001FromDay(text)) return Date{localMidnight(zone, *days)};
  }
  throw FieldError{field, "must be an ISO instant with offset, a day (YYYY-MM-DD) or seconds since 2001"};
}

// {"string":..}, {"int":..}, {"double":..}, {"bool":..}, {"date":..}, {"array":[..]}, {"dict":{..}}
Value typedValue(const json& value, const std::string& field, const ZoneCalendar& zone) {
  if (!value.is_object() || value.size() != 1) {
    throw FieldError{field, "must be a typed value: an object with one of string, int, double, bool, date, array, dict"};
  }
  const std::string type = value.begin().key();
  const json& inner = value.begin().value();
  const std::string innerField = field + "." + type;
  if (type == "string") return Value(asString(inner, innerField));
  if (type == "int") return Value(static_cast<long long>(asSigned(inner, innerField)));
  if (type == "double") return Value(asNumber(inner, innerField));
  if (type == "bool") return Value(asBool(inner, innerField));
  if (type == "date") return Value(dateValue(inner, innerField, zone));
  if (type == "array") {
    Value::Array array;
    for (std::size_t i = 0; i < asArray(inner, innerField).size(); ++i) {
      array.push_back(typedValue(inner[i], innerField + "[" + std::to_string(i) + "]", zone));
    }
    return Value(std::move(array));
  }
  if (type == "dict") {
    Value::Dictionary dictionary;
    for (const auto& [key, element] : asObject(inner, innerField).items()) {
      dictionary.emplace(key, typedValue(element, innerField + "." + key, zone));
    }
    return Value(std::move(dictionary));
  }
  throw FieldError{field, "unknown type \"" + type + "\""};
}

ScreenMetrics screenMetrics(const json& value, const std::string& field) {
  FieldReader screen(asObject(value, field), field + ".");
  ScreenMetrics metrics;
  metrics.width = asNumber(screen.require("w"), screen.path("w"));
  metrics.height = asNumber(screen.require("h"), screen.path("h"));
  metrics.scale = asNumber(screen.require("scale"), screen.path("scale"));
  screen.rejectUnknown();
  return metrics;
}

}  // namespace

World parseWorld(FieldReader& fields) {
  World world;
  const auto start = millisSince2001FromIso(asString(fields.require("start"), "start"));
  if (!start) throw FieldError{"start", "must be an ISO-8601 instant with offset, to the millisecond"};
  world.start = *start;

  if (const json* tz = fields.find("tz")) world.tz = asString(*tz, "tz");
  const ZoneCalendar zone(world.tz);
  if (!zone.ok()) throw FieldError{"tz", "unknown time zone \"" + world.tz + "\""};

  if (const json* seed = fields.find("seed")) world.seed = asUnsigned(*seed, "seed", UINT64_MAX);
  if (const json* uuids = fields.find("uuids")) {
    for (std::size_t i = 0; i < asArray(*uuids, "uuids").size(); ++i) {
      world.uuids.push_back(uuidBytes((*uuids)[i], "uuids[" + std::to_string(i) + "]"));
    }
  }
  if (const json* model = fields.find("model")) world.model = asString(*model, "model");
  if (const json* bundle = fields.find("bundle")) world.bundle = asOptionalString(bundle, "bundle");
  if (const json* screen = fields.find("screen")) {
    world.screen = screen->is_null() ? std::nullopt : std::optional(screenMetrics(*screen, "screen"));
  }
  if (const json* flags = fields.find("flags")) {
    world.flags = flags->is_null() ? std::nullopt
                                   : std::optional(static_cast<uint32_t>(asUnsigned(*flags, "flags", UINT32_MAX)));
  }
  if (const json* store = fields.find("store")) {
    for (const auto& [key, value] : asObject(*store, "store").items()) {
      world.store.emplace(key, typedValue(value, "store." + key, zone));
    }
  }
  if (const json* required = fields.find("consentRequired")) world.consentRequired = asBool(*required, "consentRequired");
  return world;
}

}  // namespace zelvo::sim
