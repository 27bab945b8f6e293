#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "zelvo/platform/platform.h"
#include "zelvo/value.h"
#include "zelvo/export.h"

namespace zelvo {

class LogGate;

// The library's remote configuration: a dictionary fetched from the configuration endpoint,
// served with a built-in default ({"engagement_window": 5}) until a fetch succeeds.
// Thread: every member is safe from any thread; completions run on the main run loop.
class ZELVO_EXPORT ZelvoConfig : public std::enable_shared_from_this<ZelvoConfig> {
 public:
  // The process-wide instance: the configuration of the shared tracker.
  static std::shared_ptr<ZelvoConfig> getInstance();

  // A configuration of its own on `platform`, logging through `gate`. The library makes
  // these; a host uses getInstance().
  ZelvoConfig(std::shared_ptr<Platform> platform, std::shared_ptr<const LogGate> gate);

  // The current configuration dictionary; the default one is installed by the first call.
  // The same object is returned until a fetch replaces it.
  std::shared_ptr<const Value> getConfig();
  // Downloads the configuration on the background executor. `complete` (may be empty) runs on
  // the main run loop: true when a JSON object was stored, false when the answer was not a
  // JSON object. When the download fails, nothing changes and `complete` is never called.
  void updateConfigWithComplete(std::function<void(bool)> complete);

  std::shared_ptr<const Value> config() const;
  void setConfig(std::shared_ptr<const Value> config);

 private:
  std::shared_ptr<Platform> platform_;
  std::shared_ptr<const LogGate> gate_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Value> config_;
};

}  // namespace zelvo
