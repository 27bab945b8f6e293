// The C API's platform: the host platform's options, the platform and its installation.
#include <memory>

#include "capi/arguments.h"
#include "capi/handles.h"
#include "capi/log_callback.h"

using zelvo::capi::guarded;
using zelvo::capi::setText;
using zelvo::portable::ReachabilityChoice;

extern "C" {

zelvo_error zelvo_options_new(zelvo_options** out) { return zelvo::capi::makeHandle(out); }

void zelvo_options_free(zelvo_options* options) { delete options; }

zelvo_error zelvo_options_set_store_path(zelvo_options* options, const char* path) {
  return setText(options, path, [](zelvo_options& o, auto value) { o.options.storePath = std::move(value); });
}

zelvo_error zelvo_options_set_endpoint(zelvo_options* options, const char* endpoint) {
  return setText(options, endpoint, [](zelvo_options& o, auto value) { o.options.endpoint = std::move(value); });
}

zelvo_error zelvo_options_set_ca_file(zelvo_options* options, const char* path) {
  return setText(options, path, [](zelvo_options& o, auto value) { o.options.caFile = std::move(value); });
}

zelvo_error zelvo_options_set_app_id(zelvo_options* options, const char* app_id) {
  return setText(options, app_id,
                 [](zelvo_options& o, auto value) { o.options.applicationIdentifier = std::move(value); });
}

zelvo_error zelvo_options_set_model_name(zelvo_options* options, const char* model_name) {
  return setText(options, model_name, [](zelvo_options& o, auto value) { o.options.modelName = std::move(value); });
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

zelvo_error zelvo_platform_new(const zelvo_options* options, zelvo_platform** out) {
  return guarded([&] {
    if (!options || !out) return ZELVO_ERROR_NULL_ARGUMENT;
    auto platform = zelvo::makeHostPlatform(options->options);
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
