#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "zelvo/gtk/glib_loop_source.h"
#include "zelvo/gtk/scrolled_window_view.h"
#include "zelvo/gtk/soup_http_client.h"
#include "zelvo/portable/host_platform.h"

namespace zelvo::gtk {

struct ApplicationActivity;

struct IntegrationOptions {
  // The host platform's options. Left unset, these are filled in: mainRunLoop (the GTK
  // thread's context), storePath (zelvo.sqlite in g_get_user_data_dir()/<application id>).
  portable::HostPlatformOptions platform;
  // Reachability from GNetworkMonitor (kHost); false keeps platform.reachability as given.
  bool networkMonitor = true;
  // Requests go through libsoup 3 and GIO (SoupHttpClient: the desktop's proxy resolver, or the
  // network portal in a sandbox, and GIO's TLS; platform.caFile, platform.endpoint and
  // platform.requestTimeout keep their meaning). False: through curl, as a plain Linux platform
  // (platform.proxy, connectTo and connectTimeout are curl's). Either way a
  // platform.httpClient given by the host takes the place of both.
  bool libsoup = true;
  // The context the library's loop runs on; the thread-default one when null.
  GMainContext* context = nullptr;
};

// The library in a GTK 4 application: the host platform with its main loop on the GTK
// thread's GMainContext, reachability from GNetworkMonitor, the store in the user's data
// directory, and windows whose input, activation, keyboard focus and screen reach the tracker:
//
//   zelvo::gtk::Integration zelvo(options);          // on the GTK thread, before the tracker
//   zelvo::installPlatform(zelvo.platform());
//   zelvo.watchWindow(GTK_WINDOW(window));
//   tracker->trackView(std::make_shared<zelvo::gtk::ScrolledWindowView>(scrolled), path, title);
//
// Keep it alive while the tracker runs: destroying it detaches the library's loop.
// Thread: the GTK thread.
class Integration {
 public:
  explicit Integration(IntegrationOptions options = {});
  ~Integration();
  Integration(const Integration&) = delete;
  Integration& operator=(const Integration&) = delete;

  const std::shared_ptr<portable::HostPlatform>& platform() const { return platform_; }

  // Follows a window until it is destroyed:
  // - input: key presses, mouse button presses, scrolling (wheel, touchpad) and touches are
  //   engagement. The window sees them first (capture phase) and never claims them; they reach
  //   the event dispatch once GTK has delivered them to the application.
  // - writing: typing (a character, Backspace, Delete) into an editable text widget is
  //   writing, other keys reading; the library hears
  //   kKeyboardDidShow before it, and kKeyboardWillHide before the next input that is not.
  // - activation: `is-active` turning false posts kWillResignActive; true again posts
  //   kDidBecomeActive. The application is taken to start active.
  // - the screen: the window's monitor in logical pixels and its scale factor.
  void watchWindow(GtkWindow* window);

 private:
  std::shared_ptr<portable::ExternalRunLoop> loop_;
  std::unique_ptr<GlibLoopSource> source_;
  std::shared_ptr<ApplicationActivity> activity_;
  std::shared_ptr<portable::HostPlatform> platform_;
};

}  // namespace zelvo::gtk
