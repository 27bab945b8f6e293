#include <map>
#include <type_traits>

#include "sim/line_parsers.h"
#include "sim/sim_world.h"
#include "zelvo/application_events.h"
#include "zelvo/constants.h"
#include "zelvo/testing/tracker_probes.h"

namespace zelvo::sim {
namespace {

using nlohmann::json;
using Run = std::function<void(SimWorld&)>;
using Answer = testing::ScriptedHttpClient::Answer;

// More events than this in one line is a mistake in the file, not a reader.
constexpr uint64_t kMaxEventCount = 100000;

uint32_t account(FieldReader& fields) {
  return static_cast<uint32_t>(asUnsigned(fields.require("account"), "account", UINT32_MAX));
}

uint64_t count(FieldReader& fields) {
  const json* value = fields.find("count");
  return value ? asUnsigned(*value, "count", kMaxEventCount) : 1;
}

Run dispatchEvents(EventType type, uint64_t times) {
  return [type, times](SimWorld& world) {
    for (uint64_t i = 0; i < times; ++i) world.platform().eventDispatch().sendEvent(Event{type, 0, 0.0});
  };
}

Run postEvent(ApplicationEvent event) {
  return [event](SimWorld& world) { postApplicationEvent(world.platform(), event); };
}

std::optional<Size> optionalSize(FieldReader& fields, const std::string& name) {
  const json* value = fields.find(name);
  if (!value || value->is_null()) return std::nullopt;
  auto [w, h] = asPair(*value, name);
  return Size{w, h};
}

std::optional<bool> optionalBool(FieldReader& fields, const std::string& name) {
  const json* value = fields.find(name);
  if (!value || value->is_null()) return std::nullopt;
  return asBool(*value, name);
}

Run defineView(FieldReader& fields) {
  const std::string name = asString(fields.require("name"), "name");
  const std::optional<bool> scroll = optionalBool(fields, "scroll");
  const std::optional<bool> answers = optionalBool(fields, "answersContentSize");
  const std::optional<Size> bounds = optionalSize(fields, "bounds");
  const std::optional<Size> content = optionalSize(fields, "contentSize");
  const std::optional<Size> offset = optionalSize(fields, "offset");
  // Only the properties the line gives change; a new view starts from a plain 0 x 0 view.
  return [=](SimWorld& world) {
    SimView& view = world.view(name);
    if (scroll) view.scroll = *scroll;
    if (answers) view.answers = *answers;
    if (bounds) view.bounds = *bounds;
    if (content) view.content = *content;
    if (offset) view.offset = Point{offset->width, offset->height};
  };
}

Run respond(FieldReader& fields) {
  std::vector<Answer> answers;
  const json& list = asArray(fields.require("answers"), "answers");
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string field = "answers[" + std::to_string(i) + "]";
    if (list[i] == "error") {
      answers.push_back(Answer::error());
    } else {
      if (!list[i].is_number_unsigned() || list[i].get<uint64_t>() < 100 || list[i].get<uint64_t>() > 999) {
        throw FieldError{field, "must be an HTTP status (100 to 999) or \"error\""};
      }
      answers.push_back(Answer::withStatus(list[i].get<int>()));
    }
  }
  return [answers](SimWorld& world) {
    for (const Answer& answer : answers) world.platform().http().enqueue(answer);
  };
}

Run configure(FieldReader& fields) {
  const json* value = fields.find("value");
  const json* text = fields.find("text");
  const json* fail = fields.find("fail");
  if ((value != nullptr) + (text != nullptr) + (fail != nullptr) != 1) {
    throw FieldError{"value", "a config line has exactly one of value, text and fail"};
  }
  std::optional<std::string> body;
  if (value) body = value->dump();
  if (text) body = asString(*text, "text");
  if (fail && !asBool(*fail, "fail")) throw FieldError{"fail", "must be true"};
  return [body](SimWorld& world) { world.platform().http().setFetchResult(kZelvoConfigURL, body); };
}

// `set` lines: the setter and how its value is read.
template <typename T>
Run callSetter(void (ZVTracker::*setter)(T), std::type_identity_t<T> value) {
  return [setter, value = std::move(value)](SimWorld& world) { (world.tracker().*setter)(value); };
}

Run callSetter(void (ZVTracker::*setter)()) {
  return [setter](SimWorld& world) { (world.tracker().*setter)(); };
}

const json& required(const json* value) {
  if (!value) throw FieldError{"value", "missing"};
  return *value;
}

std::optional<Location> optionalLocation(const json* value) {
  if (!value || value->is_null()) return std::nullopt;
  auto [latitude, longitude] = asPair(*value, "value");
  return Location{latitude, longitude};
}

std::optional<Value> optionalDictionary(const json* value) {
  if (!value || value->is_null()) return std::nullopt;
  return Value::fromJson(asObject(*value, "value").dump());
}

Run noValue(const json* value, void (ZVTracker::*setter)()) {
  if (value && !value->is_null()) throw FieldError{"value", "this setter takes no value"};
  return callSetter(setter);
}

using SetterParser = Run (*)(const json* value);

const std::map<std::string, SetterParser, std::less<>>& setters() {
  static const std::map<std::string, SetterParser, std::less<>> table = {
      {"sections", [](const json* v) { return callSetter(&ZVTracker::setSections, asOptionalStringList(v, "value")); }},
      {"authors", [](const json* v) { return callSetter(&ZVTracker::setAuthors, asOptionalStringList(v, "value")); }},
      {"zones", [](const json* v) { return callSetter(&ZVTracker::setZones, asOptionalStringList(v, "value")); }},
      {"domain", [](const json* v) { return callSetter(&ZVTracker::setDomain, asOptionalString(v, "value")); }},
      {"subDomain", [](const json* v) { return callSetter(&ZVTracker::setSubDomain, asOptionalString(v, "value")); }},
      {"appReferrer", [](const json* v) { return callSetter(&ZVTracker::setAppReferrer, asOptionalString(v, "value")); }},
      {"pushReferrer", [](const json* v) { return callSetter(&ZVTracker::setPushReferrer, asOptionalString(v, "value")); }},
      {"userToken", [](const json* v) { return callSetter(&ZVTracker::setUserToken, asOptionalString(v, "value")); }},
      {"appid", [](const json* v) { return callSetter(&ZVTracker::setAppid, asOptionalString(v, "value")); }},
      {"location", [](const json* v) { return callSetter(&ZVTracker::setLocation, optionalLocation(v)); }},
      {"idSync", [](const json* v) { return callSetter(&ZVTracker::setIdSync, optionalDictionary(v)); }},
      {"userPaid", [](const json* v) { return noValue(v, &ZVTracker::setUserPaid); }},
      {"userAnonymous", [](const json* v) { return noValue(v, &ZVTracker::setUserAnonymous); }},
      {"userLoggedIn", [](const json* v) { return noValue(v, &ZVTracker::setUserLoggedIn); }},
      {"usePong", [](const json* v) { return callSetter(&ZVTracker::setUsePong, asBool(required(v), "value")); }},
      {"active", [](const json* v) { return callSetter(&ZVTracker::active, asBool(required(v), "value")); }},
      {"debugMode", [](const json* v) { return callSetter(&ZVTracker::setDebugMode, asBool(required(v), "value")); }},
      {"interval",
       [](const json* v) {
         return callSetter(&ZVTracker::setInterval,
                           static_cast<uint32_t>(asUnsigned(required(v), "value", UINT32_MAX)));
       }},
      {"logLevel",
       [](const json* v) { return callSetter(&ZVTracker::setLogLevel, asUnsigned(required(v), "value", UINT64_MAX)); }},
      {"status",
       [](const json* v) { return callSetter(&ZVTracker::setStatus, asUnsigned(required(v), "value", UINT64_MAX)); }},
  };
  return table;
}

Run set(FieldReader& fields) {
  const std::string name = asString(fields.require("name"), "name");
  auto setter = setters().find(name);
  if (setter == setters().end()) throw FieldError{"name", "unknown setter \"" + name + "\""};
  return setter->second(fields.find("value"));
}

using ActionParser = Run (*)(FieldReader& fields);

const std::map<std::string, ActionParser, std::less<>>& actions() {
  static const std::map<std::string, ActionParser, std::less<>> table = {
      {"sharedTracker", [](FieldReader&) -> Run { return [](SimWorld& world) { world.tracker(); }; }},
      {"start",
       [](FieldReader& fields) -> Run {
         const uint32_t id = account(fields);
         // Without the key, the short form (the platform's application identifier).
         if (const json* appid = fields.find("appid")) {
           return [id, appid = asOptionalString(appid, "appid")](SimWorld& world) {
             world.tracker().startTrackerWithAccountID(id, appid);
           };
         }
         return [id](SimWorld& world) { world.tracker().startTrackerWithAccountID(id); };
       }},
      {"setup",
       [](FieldReader& fields) -> Run {
         return [id = account(fields), domain = asOptionalString(fields.find("domain"), "domain")](SimWorld& world) {
           world.tracker().setupTrackerWithAccountId(id, domain);
         };
       }},
      {"trackView",
       [](FieldReader& fields) -> Run {
         return [view = asOptionalString(fields.find("view"), "view"),
                 viewId = asOptionalString(fields.find("viewId"), "viewId"),
                 title = asOptionalString(fields.find("title"), "title")](SimWorld& world) {
           ZVTracker& tracker = world.tracker();
           tracker.trackView(world.viewObject(view), viewId, title);
         };
       }},
      {"view", &defineView},
      {"touch", [](FieldReader& fields) { return dispatchEvents(EventType::kTouches, count(fields)); }},
      {"event",
       [](FieldReader& fields) {
         const auto type = static_cast<EventType>(asUnsigned(fields.require("type"), "type", INT32_MAX));
         return dispatchEvents(type, count(fields));
       }},
      {"keyboardShow", [](FieldReader&) { return postEvent(ApplicationEvent::kKeyboardDidShow); }},
      {"keyboardHide", [](FieldReader&) { return postEvent(ApplicationEvent::kKeyboardWillHide); }},
      {"resignActive", [](FieldReader&) { return postEvent(ApplicationEvent::kWillResignActive); }},
      {"terminate", [](FieldReader&) { return postEvent(ApplicationEvent::kWillTerminate); }},
      {"becomeActive", [](FieldReader&) { return postEvent(ApplicationEvent::kDidBecomeActive); }},
      {"stopTracker", [](FieldReader&) -> Run { return [](SimWorld& world) { world.tracker().stopTracker(); }; }},
      {"giveConsent", [](FieldReader&) -> Run { return [](SimWorld& world) { world.tracker().giveConsent(); }; }},
      {"revokeConsent",
       [](FieldReader& fields) -> Run {
         const json* erase = fields.find("erase");
         return [erase = erase && asBool(*erase, "erase")](SimWorld& world) { world.tracker().revokeConsent(erase); };
       }},
      {"relaunch", [](FieldReader&) -> Run { return [](SimWorld& world) { world.relaunch(); }; }},
      {"set", &set},
      {"flags",
       [](FieldReader& fields) -> Run {
         const json* value = fields.find("value");
         std::optional<uint32_t> flags;
         if (value && !value->is_null()) flags = static_cast<uint32_t>(asUnsigned(*value, "value", UINT32_MAX));
         return [flags](SimWorld& world) { world.platform().reachability().setFlags(flags); };
       }},
      {"respond", &respond},
      {"config", &configure},
      {"fetchConfig",
       [](FieldReader&) -> Run {
         return [](SimWorld& world) { testing::configurationForTesting(world.tracker())->updateConfigWithComplete({}); };
       }},
      {"advance", [](FieldReader&) -> Run { return [](SimWorld&) {}; }},
  };
  return table;
}

}  // namespace

Run parseAction(const std::string& name, FieldReader& fields) {
  auto parser = actions().find(name);
  if (parser == actions().end()) throw FieldError{"do", "unknown action \"" + name + "\""};
  return parser->second(fields);
}

}  // namespace zelvo::sim
