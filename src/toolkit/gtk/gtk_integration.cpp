#include "zelvo/gtk/gtk_integration.h"

#include "gtk/window_watch.h"
#include "zelvo/gtk/network_monitor_source.h"

namespace zelvo::gtk {
namespace {

std::string userDataStorePath(const portable::HostPlatformOptions& options) {
  const std::string application =
      options.applicationIdentifier ? *options.applicationIdentifier
                                    : (g_get_prgname() != nullptr ? g_get_prgname() : "zelvo");
  gchar* path = g_build_filename(g_get_user_data_dir(), application.c_str(), "zelvo.sqlite", nullptr);
  std::string result = path;
  g_free(path);
  return result;
}

}  // namespace

Integration::Integration(IntegrationOptions options)
    : loop_(std::make_shared<portable::ExternalRunLoop>()),
      activity_(std::make_shared<ApplicationActivity>()) {
  GMainContext* context = options.context ? options.context : g_main_context_get_thread_default();
  source_ = std::make_unique<GlibLoopSource>(loop_, context);
  portable::HostPlatformOptions& platform = options.platform;
  if (!platform.mainRunLoop) platform.mainRunLoop = loop_;
  if (!platform.storePath) platform.storePath = userDataStorePath(platform);
  if (options.networkMonitor) {
    platform.reachability = portable::ReachabilityChoice::kHost;
    platform.reachabilitySource = std::make_shared<NetworkMonitorSource>();
  }
  if (options.libsoup && !platform.httpClient) {
    SoupHttpClientOptions http;
    http.caFile = platform.caFile;
    http.requestTimeout = platform.requestTimeout;
    platform.httpClient = std::make_shared<SoupHttpClient>(std::move(http));
  }
  platform_ = makeHostPlatform(std::move(platform));
}

Integration::~Integration() = default;

void Integration::watchWindow(GtkWindow* window) { gtk::watchWindow(window, platform_, activity_); }

}  // namespace zelvo::gtk
