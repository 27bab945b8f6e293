#pragma once

#include <memory>

#include "zelvo/portable/external_run_loop.h"

namespace zelvo::qt {

class LoopDriver;

// Drives the library's main run loop from the Qt event loop of the thread that makes it: the
// loop's due work runs from a Qt timer and from an event that work posted from another thread
// sends to wake the loop. That thread is the library's main thread. Make it once the
// application object exists:
//
//   auto loop = std::make_shared<zelvo::portable::ExternalRunLoop>();
//   zelvo::qt::QtLoopSource source(loop);
//   options.mainRunLoop = loop;
//
// Destroying it detaches the loop: its work stops running (see ExternalRunLoop for what that
// means to callers on other threads), and later wake-ups are dropped. Thread: the Qt thread.
class QtLoopSource {
 public:
  explicit QtLoopSource(std::shared_ptr<portable::ExternalRunLoop> loop);
  ~QtLoopSource();
  QtLoopSource(const QtLoopSource&) = delete;
  QtLoopSource& operator=(const QtLoopSource&) = delete;

 private:
  std::unique_ptr<LoopDriver> driver_;
};

}  // namespace zelvo::qt
