// The C API's platform: the host platform's options, the platform and its installation.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>

#include "capi/arguments.h"
#include "capi/handles.h"
#include "capi/http_handler.h"
#include "capi/log_callback.h"

using zelvo::capi::guarded;
using zelvo::portable::ReachabilityChoice;
using Options = zelvo::portable::HostPlatformOptions;

namespace {

// The options' string setters: `field` takes the optional string read from `text`.
zelvo_error setText(zelvo_options* options, const char* text, std::optional<std::string> Options::*field) noexcept {
  return guarded([&] {
    if (!options) return ZELVO_ERROR_NULL_ARGUMENT;
    return zelvo::capi::readText(text, options->options.*field);
  });
}

}  // namespace

extern "C" {

zelvo_error zelvo_options_new(zelvo_options** out) { return zelvo::capi::makeHandle(out); }

void zelvo_options_free(zelvo_options* options) { delete options; }

zelvo_error zelvo_options_set_store_path(zelvo_options* options, const char* path) {
  return setText(options, path, &Options::storePath);
}

zelvo_error zelvo_options_set_endpoint(zelvo_options* options, const char* endpoint) {
  return setText(options, endpoint, &Options::endpoint);
}

zelvo_error zelvo_options_set_ca_file(zelvo_options* options, const char* path) {
  return setText(options, path, &Options::caFile);
}

zelvo_error zelvo_options_set_app_id(zelvo_options* options, const char* app_id) {
  return setText(options, app_id, &Options::applicationIdentifier);
}

zelvo_error zelvo_options_set_model_name(zelvo_options* options, const char* model_name) {
  return setText(options, model_name, &Options::modelName);
}

zelvo_error zelvo_options_set_reachability(zelvo_options* options, zelvo_reachability choice) {
  if (!options) return ZELVO_ERROR_NULL_ARGUMENT;
  switch (zelvo::capi::fromC(choice)) {
    case ZELVO_REACHABILITY_SYSTEM:
      options->options.reachability = ReachabilityChoice::kSystem;
      return ZELVO_OK;
    case ZELVO_REACHABILITY_ALWAYS:
      options->options.reachability = ReachabilityChoice::kAlwaysReachable;
      return ZELVO_OK;
  }
  return ZELVO_ERROR_INVALID_ARGUMENT;
}

zelvo_error zelvo_options_set_log_callback(zelvo_options* options, zelvo_log_callback callback, void* user_data) {
  return guarded([&] {
    if (!options) return ZELVO_ERROR_NULL_ARGUMENT;
    options->options.logSink =
        callback ? std::make_shared<zelvo::capi::CallbackLogSink>(callback, user_data) : nullptr;
    return ZELVO_OK;
  });
}

}  // extern "C"

namespace {

// Whole milliseconds, at least one, at most a day: curl reads 0 as "no limit".
std::optional<std::chrono::milliseconds> limitOf(double seconds) {
  if (!(seconds > 0.0)) return std::nullopt;  // also NaN
  return std::chrono::milliseconds(std::max(1LL, std::llround(std::fmin(seconds, 86400.0) * 1000.0)));
}

zelvo_error setLimit(zelvo_options* options, double seconds, std::optional<std::chrono::milliseconds> Options::*field) {
  if (!options) return ZELVO_ERROR_NULL_ARGUMENT;
  const std::optional<std::chrono::milliseconds> limit = limitOf(seconds);
  if (!limit) return ZELVO_ERROR_INVALID_ARGUMENT;
  options->options.*field = limit;
  return ZELVO_OK;
}

}  // namespace

extern "C" {

zelvo_error zelvo_options_set_proxy(zelvo_options* options, const char* proxy) {
  return setText(options, proxy, &Options::proxy);
}

zelvo_error zelvo_options_set_request_timeout(zelvo_options* options, double seconds) {
  return setLimit(options, seconds, &Options::requestTimeout);
}

zelvo_error zelvo_options_set_connect_timeout(zelvo_options* options, double seconds) {
  return setLimit(options, seconds, &Options::connectTimeout);
}

zelvo_error zelvo_options_set_http_handler(zelvo_options* options, zelvo_http_handler handler, void* user_data) {
  if (!options) return ZELVO_ERROR_NULL_ARGUMENT;
  options->httpHandler = handler;
  options->httpHandlerData = user_data;
  return ZELVO_OK;
}

zelvo_error zelvo_platform_new(const zelvo_options* options, zelvo_platform** out) {
  return guarded([&] {
    if (!options || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    Options platformOptions = options->options;
    if (options->httpHandler) {
      platformOptions.httpClient =
          std::make_shared<zelvo::capi::HandlerHttpClient>(options->httpHandler, options->httpHandlerData);
      // The host's transport knows its way out; asking the system's view of the network would
      // take sockets of the library's own (on Linux rtnetlink and a UDP probe), which a
      // handler promises not to open.
      if (platformOptions.reachability == ReachabilityChoice::kSystem) {
        platformOptions.reachability = ReachabilityChoice::kAlwaysReachable;
      }
    }
    auto platform = zelvo::makeHostPlatform(std::move(platformOptions));
    // The platform has logged why; a host would otherwise get one that never sends anything.
    if (platform->configurationError()) return ZELVO_ERROR_BAD_OPTIONS;
    *out = new zelvo_platform{std::move(platform)};
    return ZELVO_OK;
  });
}

void zelvo_platform_free(zelvo_platform* platform) { delete platform; }

zelvo_error zelvo_platform_install(zelvo_platform* platform) {
  return guarded([&] {
    if (!platform) return ZELVO_ERROR_NULL_ARGUMENT;
    return zelvo::installPlatform(platform->platform) ? ZELVO_OK : ZELVO_ERROR_REFUSED;
  });
}

zelvo_error zelvo_platform_set_screen(zelvo_platform* platform, double width, double height, double scale) {
  if (!platform) return ZELVO_ERROR_NULL_ARGUMENT;
  platform->platform->hostScreen().setMainScreen(zelvo::ScreenMetrics{width, height, scale});
  return ZELVO_OK;
}

}  // extern "C"
