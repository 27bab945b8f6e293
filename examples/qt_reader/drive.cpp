#include "drive.h"

#include <QAbstractScrollArea>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <QSocketNotifier>
#include <QWindow>
#include <unistd.h>

namespace {

struct Driver {
  QPointer<QWidget> window;
  QPointer<QAbstractScrollArea> article;
  QPointer<QLineEdit> reply;
  std::function<void()> end;
  QByteArray input;
};

void postKey(QWindow* window, int key, const QString& text = {}) {
  QCoreApplication::postEvent(window, new QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier, text));
  QCoreApplication::postEvent(window, new QKeyEvent(QEvent::KeyRelease, key, Qt::NoModifier, text));
}

void play(Driver& driver, const QString& command, const QString& argument) {
  if (command == "quit" || !driver.window) return driver.end();
  QWindow* window = driver.window->windowHandle();
  if (command == "wheel") {
    QWidget* viewport = driver.article->viewport();
    const QPointF at = viewport->mapTo(driver.window, viewport->rect().center());
    for (int i = 0; i < argument.toInt(); ++i) {
      QCoreApplication::postEvent(window, new QWheelEvent(at, viewport->mapToGlobal(viewport->rect().center()), {},
                                                          {0, -120}, Qt::NoButton, Qt::NoModifier,
                                                          Qt::NoScrollPhase, false));
    }
  } else if (command == "pagedown") {
    for (int i = 0; i < argument.toInt(); ++i) postKey(window, Qt::Key_PageDown);
  } else if (command == "type") {
    driver.reply->setFocus(Qt::MouseFocusReason);
    for (const QChar c : argument) postKey(window, c.toUpper().unicode(), c);
  } else if (command == "away" || command == "back") {
    // What Qt sends the application when the window system moves the activation away and back.
    QCoreApplication::postEvent(qApp, new QApplicationStateChangeEvent(command == "away" ? Qt::ApplicationInactive
                                                                                         : Qt::ApplicationActive));
  }
}

}  // namespace

void startDrive(QWidget* window, QAbstractScrollArea* article, QLineEdit* reply, std::function<void()> end) {
  if (!qEnvironmentVariableIsSet("ZELVO_DRIVE")) return;
  auto* driver = new Driver{window, article, reply, std::move(end), {}};
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
