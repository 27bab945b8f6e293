#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "zelvo/platform/view.h"

namespace zelvo::gtk {

// A GtkScrolledWindow as the tracker measures it: its allocation as the bounds, its
// adjustments' upper bounds as the content size and their values as the offset, all in
// GTK's logical pixels (the library's points). It holds a weak reference only: once the
// widget is gone the view reports an empty, unscrolled view and the tracker carries on.
// Thread: main (the GTK thread), as every view.
class ScrolledWindowView : public View {
 public:
  explicit ScrolledWindowView(GtkScrolledWindow* window);
  ~ScrolledWindowView() override;
  ScrolledWindowView(const ScrolledWindowView&) = delete;
  ScrolledWindowView& operator=(const ScrolledWindowView&) = delete;

  Size boundsSize() const override;
  bool isScrollView() const override { return true; }
  bool answersContentSize() const override;
  Size contentSize() const override;
  Point contentOffset() const override;

 private:
  mutable GWeakRef window_;
};

}  // namespace zelvo::gtk
