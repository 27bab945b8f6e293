#include "drive.h"

#include <QAbstractScrollArea>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QKeySequence>
#include <QPointer>
#include <QSocketNotifier>
#include <QWindow>
#include <unistd.h>

#include <memory>

namespace {

struct Driver {
  QPointer<QWidget> window;
  QPointer<QAbstractScrollArea> article;
  std::function<void()> end;
  QByteArray input;
};

// To the window, which hands it to the focused widget; shortcuts (the reply box's Alt+R) first.
void postKey(QWindow* window, int key, Qt::KeyboardModifiers modifiers, const QString& text = {}) {
  QCoreApplication::postEvent(window, new QKeyEvent(QEvent::KeyPress, key, modifiers, text));
  QCoreApplication::postEvent(window, new QKeyEvent(QEvent::KeyRelease, key, modifiers, text));
}

void play(Driver& driver, const QString& command, const QString& argument) {
  if (command == "quit" || !driver.window) return driver.end();
  QWindow* window = driver.window->windowHandle();
  if (command == "wheel") {
    // To the viewport itself: Qt hands a wheel event that no window system sent to its
    // receiver only, without passing it up from the label under the pointer.
    QWidget* viewport = driver.article->viewport();
    const QPointF at = viewport->rect().center();
    for (int i = 0; i < argument.toInt(); ++i) {
      QCoreApplication::postEvent(viewport, new QWheelEvent(at, viewport->mapToGlobal(at), {}, {0, -120}, Qt::NoButton,
                                                            Qt::NoModifier, Qt::NoScrollPhase, false));
    }
  } else if (command == "keys") {
    for (const QString& name : argument.split(' ', Qt::SkipEmptyParts)) {
      const QKeyCombination key = QKeySequence(name)[0];
      postKey(window, key.key(), key.keyboardModifiers());
    }
  } else if (command == "type") {
    for (const QChar c : argument) postKey(window, c.toUpper().unicode(), Qt::NoModifier, c);
  } else if (command == "away" || command == "back") {
    // What Qt sends the application when the window system moves the activation away and back.
    QCoreApplication::postEvent(qApp, new QApplicationStateChangeEvent(command == "away" ? Qt::ApplicationInactive
                                                                                         : Qt::ApplicationActive));
  }
}

}  // namespace

void startDrive(QWidget* window, QAbstractScrollArea* article, std::function<void()> end) {
  if (!qEnvironmentVariableIsSet("ZELVO_DRIVE")) return;
  auto driver = std::make_shared<Driver>(Driver{window, article, std::move(end), {}});
  auto* notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, qApp);
  QObject::connect(notifier, &QSocketNotifier::activated, [driver, notifier] {
    char buffer[512];
    const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
    if (got <= 0) {
      notifier->setEnabled(false);
      return play(*driver, "quit", {});
    }
    driver->input.append(buffer, got);
    for (qsizetype end; (end = driver->input.indexOf('\n')) >= 0; driver->input.remove(0, end + 1)) {
      const QString line = QString::fromUtf8(driver->input.left(end));
      play(*driver, line.section(' ', 0, 0), line.section(' ', 1));
    }
  });
}
