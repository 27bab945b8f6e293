#pragma once

#include <functional>

class QAbstractScrollArea;
class QLineEdit;
class QWidget;

// With ZELVO_DRIVE set, a person's input is read from standard input, one command a line, and
// played through Qt's event queue the way the window system's input arrives: posted to the
// window, which hands it to the widget under the pointer or with the focus.
//   wheel N       N turns of the mouse wheel, down, over the article
//   pagedown N    N presses of Page Down
//   type TEXT     the reply box takes the focus (as a click on it would) and TEXT is typed
//   away, back    another application's window becomes the active one; then ours again
//   quit          ends the session, as does the end of the input
// Without ZELVO_DRIVE it does nothing.
void startDrive(QWidget* window, QAbstractScrollArea* article, QLineEdit* reply, std::function<void()> end);
