#include "qt/application_watch.h"

#include <QGuiApplication>
#include <QInputMethodQueryEvent>
#include <QKeyEvent>
#include <QScreen>
#include <QWindow>

#include "zelvo/application_events.h"

namespace zelvo::qt {
namespace {

// A key that puts text in or takes it out; arrows, Page Down and shortcuts only move around.
bool typesText(const QKeyEvent& key) {
  if ((key.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) != 0) return false;
  if (key.key() == Qt::Key_Backspace || key.key() == Qt::Key_Delete) return true;
  return !key.text().isEmpty() && key.text().at(0).isPrint();
}

// Whether the focused object takes text: asked the way an input method asks, so that widgets
// and Qt Quick items answer alike (a read-only text edit does not).
bool focusTakesText() {
  QObject* focus = QGuiApplication::focusObject();
  if (focus == nullptr) return false;
  QInputMethodQueryEvent query(Qt::ImEnabled | Qt::ImReadOnly);
  QCoreApplication::sendEvent(focus, &query);
  return query.value(Qt::ImEnabled).toBool() && !query.value(Qt::ImReadOnly).toBool();
}

}  // namespace

ApplicationWatch::ApplicationWatch(std::shared_ptr<portable::HostPlatform> platform)
    : platform_(std::move(platform)), input_(platform_) {
  QCoreApplication::instance()->installEventFilter(this);
  connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](QWindow* window) {
    if (window != nullptr) followWindow(window);
  });
  connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this](QScreen* screen) {
    if (screen == screen_) followScreen(QGuiApplication::primaryScreen());
  });
  if (QWindow* window = QGuiApplication::focusWindow()) {
    followWindow(window);
  } else {
    followScreen(QGuiApplication::primaryScreen());
  }
}

ApplicationWatch::~ApplicationWatch() {
  if (QCoreApplication::instance() != nullptr) QCoreApplication::instance()->removeEventFilter(this);
}

bool ApplicationWatch::eventFilter(QObject* receiver, QEvent* event) {
  switch (event->type()) {
    case QEvent::KeyPress:
      input_.count(typesText(*static_cast<QKeyEvent*>(event)) && focusTakesText());
      break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::TouchBegin:
    case QEvent::NativeGesture:
    case QEvent::TabletPress:
      input_.count(false);
      break;
    case QEvent::ApplicationStateChange:
      // Qt sends it to the application object whenever the state changes.
      if (receiver == QCoreApplication::instance()) {
        setActive(static_cast<QApplicationStateChangeEvent*>(event)->applicationState() == Qt::ApplicationActive);
      }
      break;
    default:
      break;  // motion, hovering, releases, painting: nobody needs to be there
  }
  return false;  // the application always gets the event
}

void ApplicationWatch::setActive(bool active) {
  if (active == active_) return;
  active_ = active;
  postApplicationEvent(*platform_, active ? ApplicationEvent::kDidBecomeActive : ApplicationEvent::kWillResignActive);
}

void ApplicationWatch::followWindow(QWindow* window) {
  disconnect(windowScreen_);
  windowScreen_ = connect(window, &QWindow::screenChanged, this, [this](QScreen* screen) { followScreen(screen); });
  followScreen(window->screen());
}

void ApplicationWatch::followScreen(QScreen* screen) {
  if (screen == screen_) return;
  disconnect(screenGeometry_);
  disconnect(screenDpi_);
  screen_ = screen;
  if (screen != nullptr) {
    screenGeometry_ = connect(screen, &QScreen::geometryChanged, this, [this] { reportScreen(); });
    screenDpi_ = connect(screen, &QScreen::logicalDotsPerInchChanged, this, [this] { reportScreen(); });
  }
  reportScreen();
}

void ApplicationWatch::reportScreen() {
  if (screen_ == nullptr) {
    platform_->hostScreen().setMainScreen(std::nullopt);  // no screen at all
    return;
  }
  const QRect area = screen_->geometry();
  platform_->hostScreen().setMainScreen(ScreenMetrics{static_cast<double>(area.width()),
                                                      static_cast<double>(area.height()), screen_->devicePixelRatio()});
}

}  // namespace zelvo::qt
