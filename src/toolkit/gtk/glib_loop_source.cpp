#include "zelvo/gtk/glib_loop_source.h"

#include <cmath>
#include <new>

namespace zelvo::gtk {
namespace {

using portable::ExternalRunLoop;

// GLib allocates the source with room for this struct after the GSource header.
struct LoopSource {
  GSource source;
  std::shared_ptr<ExternalRunLoop> loop;
};

std::shared_ptr<ExternalRunLoop>& loopOf(GSource* source) { return reinterpret_cast<LoopSource*>(source)->loop; }

gboolean prepare(GSource* source, gint* timeoutMs) {
  const std::optional<double> due = loopOf(source)->nextDueIn();
  if (!due) {
    *timeoutMs = -1;  // no work: sleep until the wake-up
    return FALSE;
  }
  if (*due <= 0) {
    *timeoutMs = 0;
    return TRUE;
  }
  // Rounded up: waking a millisecond early would only find nothing due and sleep again.
  *timeoutMs = static_cast<gint>(std::ceil(*due * 1000.0));
  return FALSE;
}

gboolean check(GSource* source) {
  const std::optional<double> due = loopOf(source)->nextDueIn();
  return due && *due <= 0;
}

gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
  loopOf(source)->runDue();
  return G_SOURCE_CONTINUE;
}

void finalize(GSource* source) { std::destroy_at(&loopOf(source)); }

GSourceFuncs loopSourceFuncs = {prepare, check, dispatch, finalize, nullptr, nullptr};

}  // namespace

GlibLoopSource::GlibLoopSource(std::shared_ptr<ExternalRunLoop> loop, GMainContext* context)
    : source_(g_source_new(&loopSourceFuncs, sizeof(LoopSource))) {
  // The wake-up may come from any thread; g_main_context_wakeup is safe from any thread, and
  // the context is kept alive by the reference the wake-up holds.
  GMainContext* target = context ? context : g_main_context_default();
  g_main_context_ref(target);
  std::shared_ptr<GMainContext> held(target, g_main_context_unref);
  loop->setWakeUp([held] { g_main_context_wakeup(held.get()); });
  new (&loopOf(source_)) std::shared_ptr<ExternalRunLoop>(std::move(loop));
  g_source_set_name(source_, "zelvo run loop");
  g_source_attach(source_, target);
}

GlibLoopSource::~GlibLoopSource() {
  g_source_destroy(source_);
  g_source_unref(source_);
}

}  // namespace zelvo::gtk
