// zelvo-collector: a local collection service for development. See kUsage.
#include <signal.h>

#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "collector/collector_server.h"
#include "collector/command_line.h"
#include "collector/record_format.h"
#include "collector/session_summary.h"

namespace {

using zelvo::collector::CommandLine;

constexpr int kUnusable = 2;

int fail(const std::string& problem) {
  std::cerr << "zelvo-collector: " << problem << "\n";
  return kUnusable;
}

bool readFile(const std::string& path, std::string& contents) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  contents = text.str();
  return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv) {
  auto parsed = zelvo::collector::parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
  if (const auto* problem = std::get_if<std::string>(&parsed)) {
    std::cerr << "zelvo-collector: " << *problem << "\n\n" << zelvo::collector::kUsage;
    return kUnusable;
  }
  CommandLine line = std::get<CommandLine>(std::move(parsed));
  if (line.help) {
    std::cout << zelvo::collector::kUsage;
    return 0;
  }
  if (line.configFile && !readFile(*line.configFile, line.settings.configBody)) {
    return fail("cannot read " + *line.configFile);
  }
  std::ofstream jsonOut;
  if (line.jsonOut) {
    jsonOut.open(*line.jsonOut, std::ios::trunc);
    if (!jsonOut) return fail("cannot write " + *line.jsonOut);
  }

  // SIGINT and SIGTERM are taken by sigtimedwait below: blocked here, before the server's
  // threads exist, so that every thread inherits the mask and none is interrupted.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  // Counted by the server's threads one record at a time, read after the server is gone (the
  // requests in progress at the stop included). Each record goes to the console and the JSON
  // Lines file as it comes; the server keeps the one copy in memory, bounded.
  zelvo::collector::SessionTally tally;
  try {
    zelvo::collector::CollectorServer server(line.settings, [&](const zelvo::collector::RequestRecord& record) {
      tally.add(record);
      std::cout << zelvo::collector::readableLine(record) << std::endl;
      if (jsonOut.is_open()) jsonOut << zelvo::collector::jsonLine(record) << std::endl;
    });
    std::cout << "listening on 127.0.0.1:" << server.port() << std::endl;
    while (!server.stopping()) {
      const timespec pollInterval{0, 100'000'000};
      if (sigtimedwait(&stopSignals, nullptr, &pollInterval) > 0) break;
    }
  } catch (const std::exception& error) {
    return fail(error.what());
  }
  const zelvo::collector::SessionSummary& summary = tally.summary();
  std::cout << "stopped: " << zelvo::collector::summaryText(summary) << std::endl;
  return summary.violatingRequests == 0 ? 0 : 1;
}
