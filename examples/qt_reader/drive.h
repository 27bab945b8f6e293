#pragma once

#include <functional>

class QAbstractScrollArea;
class QWidget;

// With ZELVO_DRIVE set, a person's input is read from standard input, one command a line, and
// posted to Qt's event queue, where the application's event filters and widgets get it as
// they get the window system's input:
//   wheel N       N turns of the mouse wheel, down, over the article
//   keys K...     key presses, as QKeySequence names them ("PgDown", "Alt+R")
//   type TEXT     TEXT typed into the focused widget
//   away, back    another application's window becomes the active one; then ours again
//   quit          ends the session, as does the end of the input
// Without ZELVO_DRIVE it does nothing.
void startDrive(QWidget* window, QAbstractScrollArea* article, std::function<void()> end);
