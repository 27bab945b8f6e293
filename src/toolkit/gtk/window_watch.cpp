#include "gtk/window_watch.h"

#include "common/engagement_input.h"
#include "zelvo/application_events.h"

namespace zelvo::gtk {
namespace {

// What one window reports; owned by the window (freed when it is finalised).
struct WindowWatch {
  std::shared_ptr<portable::HostPlatform> platform;
  std::shared_ptr<ApplicationActivity> activity;
  toolkit::EngagementInput input{platform};
  bool active = false;
};

bool isEngagement(GdkEventType type) {
  switch (type) {
    case GDK_KEY_PRESS:
    case GDK_BUTTON_PRESS:
    case GDK_SCROLL:
    case GDK_TOUCH_BEGIN:
    case GDK_TOUCHPAD_SWIPE:
    case GDK_TOUCHPAD_PINCH:
    case GDK_TOUCHPAD_HOLD:
      return true;
    default:
      return false;  // motion, crossing, focus, releases: nobody needs to be there
  }
}

bool takesText(GtkWidget* widget) {
  if (widget == nullptr) return false;
  if (GTK_IS_TEXT_VIEW(widget)) return gtk_text_view_get_editable(GTK_TEXT_VIEW(widget));
  return GTK_IS_EDITABLE(widget) && gtk_editable_get_editable(GTK_EDITABLE(widget));
}

// A key that puts text in or takes it out; arrows, Page Down and shortcuts only move around.
bool typesText(GdkEvent* event) {
  if ((gdk_event_get_modifier_state(event) & (GDK_CONTROL_MASK | GDK_ALT_MASK)) != 0) return false;
  const guint key = gdk_key_event_get_keyval(event);
  return gdk_keyval_to_unicode(key) != 0 || key == GDK_KEY_BackSpace || key == GDK_KEY_Delete;
}

gboolean onEvent(GtkEventControllerLegacy* controller, GdkEvent* event, gpointer data) {
  const GdkEventType type = gdk_event_get_event_type(event);
  if (!isEngagement(type)) return GDK_EVENT_PROPAGATE;
  auto* watch = static_cast<WindowWatch*>(data);
  GtkWidget* window = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(controller));
  const bool typing = type == GDK_KEY_PRESS && typesText(event) && takesText(gtk_root_get_focus(GTK_ROOT(window)));
  watch->input.count(typing);
  return GDK_EVENT_PROPAGATE;
}

void setActive(WindowWatch& watch, bool active) {
  if (watch.active == active) return;
  watch.active = active;
  ApplicationActivity& app = *watch.activity;
  app.activeWindows += active ? 1 : -1;
  const bool nowActive = app.activeWindows > 0;
  if (nowActive == app.active) return;
  app.active = nowActive;
  postApplicationEvent(*watch.platform,
                       nowActive ? ApplicationEvent::kDidBecomeActive : ApplicationEvent::kWillResignActive);
}

void onActiveChanged(GtkWindow* window, GParamSpec*, gpointer data) {
  setActive(*static_cast<WindowWatch*>(data), gtk_window_is_active(window));
}

// The monitor the window is on, in logical pixels, and the window's scale factor.
void updateScreen(GtkWindow* window, GParamSpec*, gpointer data) {
  auto* watch = static_cast<WindowWatch*>(data);
  GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(window));
  if (surface == nullptr) return;
  GdkMonitor* monitor = gdk_display_get_monitor_at_surface(gtk_widget_get_display(GTK_WIDGET(window)), surface);
  if (monitor == nullptr) return;
  GdkRectangle area;
  gdk_monitor_get_geometry(monitor, &area);
  watch->platform->hostScreen().setMainScreen(
      ScreenMetrics{static_cast<double>(area.width), static_cast<double>(area.height),
                    static_cast<double>(gtk_widget_get_scale_factor(GTK_WIDGET(window)))});
}

void onMapped(GtkWidget* window, gpointer data) { updateScreen(GTK_WINDOW(window), nullptr, data); }

void forget(gpointer data) {
  auto* watch = static_cast<WindowWatch*>(data);
  // A window destroyed while active leaves the count; the application goes on as it was.
  if (watch->active) --watch->activity->activeWindows;
  delete watch;
}

}  // namespace

void watchWindow(GtkWindow* window, std::shared_ptr<portable::HostPlatform> platform,
                 std::shared_ptr<ApplicationActivity> activity) {
  auto* watch = new WindowWatch{std::move(platform), std::move(activity)};
  g_object_set_data_full(G_OBJECT(window), "zelvo-window-watch", watch, forget);

  // The capture phase sees every event, including those a child widget claims (a scrolled
  // window takes the wheel); the handler never claims one.
  GtkEventController* input = gtk_event_controller_legacy_new();
  gtk_event_controller_set_propagation_phase(input, GTK_PHASE_CAPTURE);
  g_signal_connect(input, "event", G_CALLBACK(onEvent), watch);
  gtk_widget_add_controller(GTK_WIDGET(window), input);

  g_signal_connect(window, "notify::is-active", G_CALLBACK(onActiveChanged), watch);
  g_signal_connect(window, "notify::scale-factor", G_CALLBACK(updateScreen), watch);
  g_signal_connect(window, "map", G_CALLBACK(onMapped), watch);
  if (gtk_widget_get_mapped(GTK_WIDGET(window))) onMapped(GTK_WIDGET(window), watch);
  onActiveChanged(window, nullptr, watch);
}

}  // namespace zelvo::gtk
