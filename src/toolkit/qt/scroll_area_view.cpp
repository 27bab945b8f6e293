#include "zelvo/qt/scroll_area_view.h"

#include <QScrollBar>

namespace zelvo::qt {
namespace {

// Pixels per step of a scroll bar: its page step covers the viewport's extent.
double pixelsPerStep(const QScrollBar* bar, int viewportExtent) {
  return bar->pageStep() > 0 ? static_cast<double>(viewportExtent) / bar->pageStep() : 1.0;
}

double contentExtent(const QScrollBar* bar, int viewportExtent) {
  return viewportExtent + (bar->maximum() - bar->minimum()) * pixelsPerStep(bar, viewportExtent);
}

double offset(const QScrollBar* bar, int viewportExtent) {
  return (bar->value() - bar->minimum()) * pixelsPerStep(bar, viewportExtent);
}

}  // namespace

Size ScrollAreaView::boundsSize() const {
  if (!area_) return {};
  const QSize viewport = area_->viewport()->size();
  return {static_cast<double>(viewport.width()), static_cast<double>(viewport.height())};
}

bool ScrollAreaView::answersContentSize() const {
  // Until the area is shown it has no layout: its scroll bars say nothing yet.
  return area_ && area_->isVisible() && area_->viewport()->height() > 0;
}

Size ScrollAreaView::contentSize() const {
  if (!area_) return {};
  const QSize viewport = area_->viewport()->size();
  return {contentExtent(area_->horizontalScrollBar(), viewport.width()),
          contentExtent(area_->verticalScrollBar(), viewport.height())};
}

Point ScrollAreaView::contentOffset() const {
  if (!area_) return {};
  const QSize viewport = area_->viewport()->size();
  return {offset(area_->horizontalScrollBar(), viewport.width()), offset(area_->verticalScrollBar(), viewport.height())};
}

}  // namespace zelvo::qt
