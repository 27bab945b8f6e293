// The README's "Using the library", as a program: the shared tracker on the default Linux
// platform, one article, the reader scrolling from the host's own thread.
//
//   zelvo-quick-start                      pings the library's own hosts
//   zelvo-quick-start ENDPOINT CA_FILE     pings a collector of yours, e.g. zelvo-collector's
//                                          https://127.0.0.1:PORT and the file of its --ca-out
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "zelvo/linux/linux_platform.h"
#include "zelvo/zv_tracker.h"

int main(int argc, char** argv) {
  if (argc == 3) {
    zelvo::linux_platform::LinuxPlatform::Options options;
    options.endpoint = argv[1];
    options.caFile = argv[2];
    auto platform = std::make_shared<zelvo::linux_platform::LinuxPlatform>(options);
    if (platform->configurationError()) {
      std::fprintf(stderr, "%s\n", platform->configurationError()->c_str());
      return 2;
    }
    zelvo::installPlatform(platform);
  }

  // --- the README snippet ---
  auto tracker = zelvo::ZVTracker::sharedTracker();
  tracker->startTrackerWithAccountID(12345, std::string("com.example.news"));
  auto article = std::make_shared<zelvo::SimpleScrollView>(zelvo::Size{375, 667}, zelvo::Size{375, 4000});
  tracker->trackView(article, std::string("/news/today"), std::string("Today's news"));
  // as the reader scrolls:
  article->setContentOffset({0, 1200});
  // --- end of the snippet ---

  // The reader stays a few seconds; the library pings on its own main thread meanwhile.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  const zelvo::ZVStatus status = tracker->pingStatus();
  std::printf("pings attempted %llu, delivered %llu%s%s\n", static_cast<unsigned long long>(status.pingsAttempted),
              static_cast<unsigned long long>(status.pingsDelivered), status.lastError.empty() ? "" : "; last error: ",
              status.lastError.c_str());
  tracker->stopTracker();
  return 0;
}
