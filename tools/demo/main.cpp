// zelvo-demo: a reader's session through the library, at twenty times the speed, pinging a
// collector on 127.0.0.1 that checks every ping. Exits 0 only when the session ran as
// scripted and the collector found no violation.
//
//   zelvo-demo [--port N] [--linger SECONDS]
// The collector's live page is at https://127.0.0.1:PORT/ (an ephemeral port unless --port is
// given); --linger keeps it served that long after the session, to look at it at leisure.
#include <charconv>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "collector/collector_server.h"
#include "collector/record_format.h"
#include "collector/session_summary.h"
#include "tls_support/temp_directory.h"
#include "demo/console.h"
#include "demo/demo_platform.h"
#include "demo/reader_session.h"
#include "zelvo/constants.h"

namespace {

using namespace zelvo;

constexpr double kTimeFactor = 20.0;
// The session takes about 13 s at this factor; the collector gives up well after that.
constexpr std::chrono::seconds kCollectorLifetime{90};

struct DemoOptions {
  int port = 0;
  int lingerSeconds = 0;
};

// The options, or nothing when they are not understood.
std::optional<DemoOptions> parseOptions(int argc, char** argv) {
  DemoOptions options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string_view name = argv[i];
    const std::string_view text = argv[i + 1];
    int value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (name == "--port" && value >= 0 && value <= 65535) {
      options.port = value;
    } else if (name == "--linger" && value >= 0 && value <= 3600) {
      options.lingerSeconds = value;
    } else {
      return std::nullopt;
    }
  }
  if (argc % 2 == 0) return std::nullopt;
  return options;
}

std::shared_ptr<portable::HostPlatform> hostPlatform(const tools::TempDirectory& directory,
                                                     const collector::CollectorServer& collector,
                                                     demo::Console& console) {
  portable::HostPlatformOptions options;
  options.logSink = std::make_shared<demo::ConsoleLogSink>(console);
  options.storePath = directory.file("zelvo.sqlite");
  options.consentRequired = true;
  options.caFile = directory.file("collector-ca.pem");
  const std::string port = std::to_string(collector.port());
  for (const std::string& host : collector::endpointHosts()) {
    options.connectTo.push_back(host + ":443:127.0.0.1:" + port);
  }
  options.modelName = "DemoDesktop";
  options.applicationIdentifier = "com.example.reader";
  auto platform = makeHostPlatform(options);
  // A desktop display at two pixels per point (HiDPI): what the pings report in pixels.
  platform->hostScreen().setMainScreen(ScreenMetrics{1280, 800, 2});
  return platform;
}

// What the collector must have seen for the session to count as having run; the problems.
std::vector<std::string> problems(const demo::SessionOutcome& outcome, const collector::SessionSummary& summary,
                                  std::size_t pingsReceived) {
  std::vector<std::string> found;
  if (!outcome.completed) found.push_back("the session did not finish: pings sent never arrived");
  if (summary.violatingRequests != 0) found.push_back("the collector found violations");
  if (pingsReceived != outcome.pingsSent) found.push_back("pings sent and received differ");
  if (outcome.overCapacityPing == 0 || pingsReceived != outcome.overCapacityPing) {
    found.push_back("the over-capacity answer did not end the pings (lock-out)");
  }
  std::vector<std::string> seen;
  bool regularPing = false;
  for (const collector::ViewSummary& view : summary.views) {
    if (view.fullPings > 0) seen.push_back(view.path);
    regularPing = regularPing || view.pings > view.fullPings;
  }
  if (seen != outcome.viewsWithPings) found.push_back("not every view sent its first, full ping");
  if (!regularPing) found.push_back("no heartbeat ping arrived");
  return found;
}

int runDemo(demo::Console& console, const DemoOptions& options) {
  const tools::TempDirectory directory;
  if (directory.path().empty()) throw std::runtime_error("cannot make a temporary directory");
  collector::CollectorSettings settings;
  settings.caOut = directory.file("collector-ca.pem");
  settings.lifetime = kCollectorLifetime + std::chrono::seconds(options.lingerSeconds);
  settings.port = options.port;
  collector::CollectorServer collector(settings, [&console](const collector::RequestRecord& record) {
    console.line("         collector " + collector::readableLine(record));
  });
  console.line("Collector listening on 127.0.0.1:" + std::to_string(collector.port()) +
               "; the library reaches it under the real endpoint names, verifying its certificate.");
  console.line("Live page: https://127.0.0.1:" + std::to_string(collector.port()) +
               "/ (the certificate is the demo's own: accept the browser's warning).");

  auto platform = std::make_shared<demo::DemoPlatform>(hostPlatform(directory, collector, console), kTimeFactor);
  const std::optional<std::string> configuration = platform->httpClient().fetch(kZelvoConfigURL);
  if (!configuration) throw std::runtime_error("cannot reach the collector over HTTPS");
  console.line("Configuration from " + std::string(kZelvoConfigURL) + ": " + *configuration);
  console.line("Time runs 20 times faster: the one-second heartbeat fires every 50 ms.\n");

  demo::SessionOutcome outcome;
  {
    demo::ReaderSession session(platform, collector, console);
    outcome = session.run();
  }
  platform.reset();
  // Every ping sent has arrived (or the session says it has not): the summary is complete.
  const collector::SessionSummary summary = collector.summary();
  console.line("\nSummary: " + collector::summaryText(summary));
  const std::vector<std::string> found = problems(outcome, summary, collector.pingCount());
  for (const std::string& problem : found) console.line("FAILED: " + problem);
  if (found.empty()) console.line("The session ran as scripted and every ping passed the collector's checks.");
  if (options.lingerSeconds > 0) {
    console.line("The page stays up for " + std::to_string(options.lingerSeconds) + " s (Ctrl-C ends it sooner).");
    std::this_thread::sleep_for(std::chrono::seconds(options.lingerSeconds));
  }
  collector.stop();
  return found.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  zelvo::demo::Console console;
  const std::optional<DemoOptions> options = parseOptions(argc, argv);
  if (!options) {
    console.line("usage: zelvo-demo [--port N] [--linger SECONDS]");
    return 2;
  }
  try {
    return runDemo(console, *options);
  } catch (const std::exception& error) {
    console.line(std::string("zelvo-demo: ") + error.what());
    return 1;
  }
}
