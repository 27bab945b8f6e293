#pragma once

#include <glib.h>

#include <memory>

#include "zelvo/portable/external_run_loop.h"

namespace zelvo::gtk {

// Drives the library's main run loop from a GLib main context: a GSource that runs the loop's
// due work and sleeps until its next timer, and a wake-up that interrupts the context's poll
// when work is posted from another thread. The thread that iterates the context is the
// library's main thread. Any GLib program can use it, with or without GTK:
//
//   auto loop = std::make_shared<zelvo::portable::ExternalRunLoop>();
//   zelvo::gtk::GlibLoopSource source(loop, g_main_context_default());
//   options.mainRunLoop = loop;
//
// Destroying it detaches the source: the loop's work stops running (see ExternalRunLoop for
// what that means to callers on other threads). Thread: the context's thread.
class GlibLoopSource {
 public:
  GlibLoopSource(std::shared_ptr<portable::ExternalRunLoop> loop, GMainContext* context);
  ~GlibLoopSource();
  GlibLoopSource(const GlibLoopSource&) = delete;
  GlibLoopSource& operator=(const GlibLoopSource&) = delete;

 private:
  GSource* source_;
};

}  // namespace zelvo::gtk
