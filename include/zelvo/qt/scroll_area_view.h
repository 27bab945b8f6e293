#pragma once

#include <QAbstractScrollArea>
#include <QPointer>

#include "zelvo/platform/view.h"

namespace zelvo::qt {

// A QAbstractScrollArea (QScrollArea, QTextEdit, QTextBrowser, item views) as the tracker
// measures it, in device-independent pixels (the library's points): the viewport as the
// bounds, the scroll bars' positions as the offset, and the viewport plus the scroll bars'
// ranges as the content size. Areas that scroll in steps other than pixels (QPlainTextEdit
// scrolls by lines) are converted with the page step, which covers one viewport.
// It holds a guarded pointer: once the widget is destroyed the view reports an empty,
// unscrolled view and the tracker carries on. Thread: main (the Qt thread), as every view.
class ScrollAreaView : public View {
 public:
  explicit ScrollAreaView(QAbstractScrollArea* area) : area_(area) {}

  Size boundsSize() const override;
  bool isScrollView() const override { return true; }
  bool answersContentSize() const override;
  Size contentSize() const override;
  Point contentOffset() const override;

 private:
  QPointer<QAbstractScrollArea> area_;
};

}  // namespace zelvo::qt
