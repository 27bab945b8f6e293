#pragma once

#include <memory>

#include "zelvo/portable/host_platform.h"
#include "zelvo/qt/qt_http_client.h"
#include "zelvo/qt/qt_loop_source.h"
#include "zelvo/qt/scroll_area_view.h"

namespace zelvo::qt {

class ApplicationWatch;

struct IntegrationOptions {
  // The host platform's options. Left unset, these are filled in: mainRunLoop (the Qt
  // thread's event loop), storePath (zelvo.sqlite in the application's data directory from
  // QStandardPaths, or in <generic data directory>/<applicationIdentifier> when one is given).
  portable::HostPlatformOptions platform;
  // Reachability from QNetworkInformation where Qt has a backend for it; the system's (or
  // platform.reachability as given) where it has none. False keeps platform.reachability.
  bool networkInformation = true;
  // Requests go through QNetworkAccessManager (QtHttpClient: the application's proxy settings
  // and SSL configuration apply; platform.caFile, platform.endpoint and
  // platform.requestTimeout keep their meaning). False: through curl, as a plain Linux platform
  // (platform.proxy, connectTo and connectTimeout are curl's). Either way a
  // platform.httpClient given by the host takes the place of both.
  bool qtNetwork = true;
};

// The library in a Qt 6 application: the host platform with its main loop on the Qt event
// loop, and the application's input, state and screen reported to the tracker:
//
//   QApplication app(argc, argv);
//   zelvo::qt::Integration zelvo(options);           // on the Qt thread, before the tracker
//   zelvo::installPlatform(zelvo.platform());
//   tracker->trackView(std::make_shared<zelvo::qt::ScrollAreaView>(scrollArea), path, title);
//
// What it reports, for the whole application:
// - input: key presses, mouse button presses, the wheel, touches and touchpad gestures are
//   engagement. An application-wide event filter sees every event and never takes one; the
//   library counts it once Qt has delivered it to the application.
// - writing: typing (a character, Backspace, Delete) into a widget that takes text (line
//   edits, editable text edits) is writing, other keys reading; the library hears
//   kKeyboardDidShow before it, and kKeyboardWillHide before the next input that is not.
// - the application state: leaving Qt::ApplicationActive (inactive, hidden, suspended) posts
//   kWillResignActive; coming back posts kDidBecomeActive. It starts taken as active.
// - the screen: the active window's screen (the primary one before any window is active), in
//   device-independent pixels with its device pixel ratio, kept current when the window moves
//   to another screen or the screen changes.
//
// Keep it alive while the tracker runs: destroying it detaches the library's loop and stops
// the reports. Thread: the Qt thread, once the application object exists.
class Integration {
 public:
  explicit Integration(IntegrationOptions options = {});
  ~Integration();
  Integration(const Integration&) = delete;
  Integration& operator=(const Integration&) = delete;

  const std::shared_ptr<portable::HostPlatform>& platform() const { return platform_; }

 private:
  std::shared_ptr<portable::ExternalRunLoop> loop_;
  std::unique_ptr<QtLoopSource> source_;
  std::shared_ptr<portable::HostPlatform> platform_;
  std::unique_ptr<ApplicationWatch> watch_;
};

}  // namespace zelvo::qt
