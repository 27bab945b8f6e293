#pragma once

#include <QMetaObject>
#include <QObject>

#include "common/engagement_input.h"
#include "zelvo/portable/host_platform.h"

class QScreen;
class QWindow;

namespace zelvo::qt {

// Reports the application to the library: its input (an application-wide event filter), its
// state (the ApplicationStateChange event Qt sends the application) and the active window's
// screen. Installed on construction, removed on destruction. Thread: the Qt thread.
class ApplicationWatch : public QObject {
 public:
  explicit ApplicationWatch(std::shared_ptr<portable::HostPlatform> platform);
  ~ApplicationWatch() override;
  ApplicationWatch(const ApplicationWatch&) = delete;
  ApplicationWatch& operator=(const ApplicationWatch&) = delete;

 protected:
  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  void setActive(bool active);
  void followWindow(QWindow* window);
  void followScreen(QScreen* screen);
  void reportScreen();

  std::shared_ptr<portable::HostPlatform> platform_;
  toolkit::EngagementInput input_;
  bool active_ = true;  // an application starts in the foreground
  QScreen* screen_ = nullptr;
  QMetaObject::Connection windowScreen_;
  QMetaObject::Connection screenGeometry_, screenDpi_;
};

}  // namespace zelvo::qt
