// A host with a GLib main loop: the library's main run loop is driven from a GSource of the
// host's context (zelvo::gtk's GlibLoopSource), and the host's input is routed through the
// library's event dispatch, so the touch hook sees every event after the application has
// handled it.
//
// Input on standard input stands in for a window system: "t" is a touch, "m" a shake (motion),
// "k" and "h" the keyboard appearing and hiding, "b" and "f" the application going to the
// background and coming back, "q" quits. Pings go to the collector port given as the first
// argument on 127.0.0.1 (nothing else is ever contacted), trusting the CA file given second:
//
//   zelvo-collector --port 8443 --ca-out /tmp/ca.pem &
//   zelvo-glib-host 8443 /tmp/ca.pem
#include <glib.h>

#include <cstdio>
#include <memory>
#include <string>

#include "zelvo/application_events.h"
#include "zelvo/constants.h"
#include "zelvo/gtk/glib_loop_source.h"
#include "zelvo/linux/external_run_loop.h"
#include "zelvo/linux/linux_platform.h"
#include "zelvo/zv_tracker.h"

namespace {

using zelvo::linux_platform::ExternalRunLoop;

struct Host {
  GMainLoop* mainLoop = nullptr;
  std::shared_ptr<zelvo::linux_platform::LinuxPlatform> platform;
  long touchesHandled = 0;
};

gboolean onInput(GIOChannel* channel, GIOCondition, gpointer data) {
  auto* host = static_cast<Host*>(data);
  gchar c = 0;
  gsize read = 0;
  if (g_io_channel_read_chars(channel, &c, 1, &read, nullptr) != G_IO_STATUS_NORMAL || read == 0) {
    g_main_loop_quit(host->mainLoop);
    return G_SOURCE_REMOVE;
  }
  zelvo::Platform& platform = *host->platform;
  switch (c) {
    case 't': platform.eventDispatch().sendEvent(zelvo::Event{zelvo::EventType::kTouches}); break;
    case 'm': platform.eventDispatch().sendEvent(zelvo::Event{zelvo::EventType::kMotion}); break;
    case 'k': zelvo::postApplicationEvent(platform, zelvo::ApplicationEvent::kKeyboardDidShow); break;
    case 'h': zelvo::postApplicationEvent(platform, zelvo::ApplicationEvent::kKeyboardWillHide); break;
    case 'b': zelvo::postApplicationEvent(platform, zelvo::ApplicationEvent::kWillResignActive); break;
    case 'f': zelvo::postApplicationEvent(platform, zelvo::ApplicationEvent::kDidBecomeActive); break;
    case 'q': g_main_loop_quit(host->mainLoop); return G_SOURCE_REMOVE;
    default: break;
  }
  return G_SOURCE_CONTINUE;
}

std::string hostOf(const char* url) {
  std::string text = url;
  const size_t start = text.find("://") + 3;
  return text.substr(start, text.find('/', start) - start);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s COLLECTOR_PORT CA_FILE\n", argv[0]);
    return 2;
  }
  const std::string port = argv[1];
  GMainContext* context = g_main_context_default();
  Host host;
  host.mainLoop = g_main_loop_new(context, FALSE);

  // The library's main thread is this one: the thread that runs the GLib loop.
  auto loop = std::make_shared<ExternalRunLoop>();
  zelvo::gtk::GlibLoopSource source(loop, context);
  zelvo::linux_platform::LinuxPlatform::Options options;
  options.mainRunLoop = loop;
  options.applicationIdentifier = "com.example.glibhost";
  options.caFile = argv[2];
  for (const char* base : {zelvo::kZVPingURLBase, zelvo::kZVPongURLBase, zelvo::kZelvoConfigURL}) {
    options.connectTo.push_back(hostOf(base) + ":443:127.0.0.1:" + port);
  }
  host.platform = std::make_shared<zelvo::linux_platform::LinuxPlatform>(options);
  host.platform->hostScreen().setMainScreen(zelvo::ScreenMetrics{1280, 800, 1});
  zelvo::installPlatform(host.platform);

  // The application's own handling comes first; the library's hook sees the event after it.
  host.platform->eventDispatch().setApplicationHandler([&host](const zelvo::Event& event) {
    if (event.type == zelvo::EventType::kTouches) ++host.touchesHandled;
  });

  GIOChannel* input = g_io_channel_unix_new(0);
  g_io_add_watch(input, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), onInput, &host);

  auto tracker = zelvo::ZVTracker::sharedTracker();
  tracker->setDebugMode(true);
  tracker->startTrackerWithAccountID(1001);
  tracker->trackView(std::make_shared<zelvo::SimpleView>(zelvo::Size{1280, 800}), std::string("/home"),
                     std::string("Home"));

  g_main_loop_run(host.mainLoop);
  std::printf("touches handled by the application: %ld\n", host.touchesHandled);

  tracker->stopTracker();
  g_io_channel_unref(input);
  g_main_loop_unref(host.mainLoop);
  return 0;
}
