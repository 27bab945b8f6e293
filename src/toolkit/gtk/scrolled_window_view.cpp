#include "zelvo/gtk/scrolled_window_view.h"

namespace zelvo::gtk {
namespace {

// A strong reference for the length of one reading, or nothing once the widget is gone.
struct Held {
  explicit Held(GWeakRef* ref) : window(static_cast<GtkScrolledWindow*>(g_weak_ref_get(ref))) {}
  ~Held() {
    if (window) g_object_unref(window);
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  GtkScrolledWindow* window;
};

}  // namespace

ScrolledWindowView::ScrolledWindowView(GtkScrolledWindow* window) { g_weak_ref_init(&window_, window); }

ScrolledWindowView::~ScrolledWindowView() { g_weak_ref_clear(&window_); }

Size ScrolledWindowView::boundsSize() const {
  Held held(&window_);
  if (!held.window) return {};
  return {static_cast<double>(gtk_widget_get_width(GTK_WIDGET(held.window))),
          static_cast<double>(gtk_widget_get_height(GTK_WIDGET(held.window)))};
}

bool ScrolledWindowView::answersContentSize() const {
  // Until the first layout the adjustments are empty: the content size is not known yet.
  return contentSize().height > 0;
}

Size ScrolledWindowView::contentSize() const {
  Held held(&window_);
  if (!held.window) return {};
  return {gtk_adjustment_get_upper(gtk_scrolled_window_get_hadjustment(held.window)),
          gtk_adjustment_get_upper(gtk_scrolled_window_get_vadjustment(held.window))};
}

Point ScrolledWindowView::contentOffset() const {
  Held held(&window_);
  if (!held.window) return {};
  return {gtk_adjustment_get_value(gtk_scrolled_window_get_hadjustment(held.window)),
          gtk_adjustment_get_value(gtk_scrolled_window_get_vadjustment(held.window))};
}

}  // namespace zelvo::gtk
