// zelvo-collector: a local collection service for development. See kUsage.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <optional>
#include <variant>
#include <vector>

#include "collector/collector_server.h"
#include "collector/command_line.h"
#include "collector/line_writer.h"
#include "collector/record_format.h"
#include "collector/session_summary.h"

namespace {

using zelvo::collector::CommandLine;

constexpr int kUnusable = 2;
// What may wait for the console, and for the JSON Lines file: thousands of records.
constexpr std::size_t kQueuedBytes = 4 * 1024 * 1024;

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
  int jsonOut = -1;
  if (line.jsonOut) {
    jsonOut = ::open(line.jsonOut->c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (jsonOut < 0) return fail("cannot write " + *line.jsonOut);
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
  // requests in progress at the stop included). Each record is queued for the console and the
  // JSON Lines file as it comes, and written by their own threads: a console nobody reads
  // loses lines, never holds up the server. The server keeps the one copy in memory, bounded.
  zelvo::collector::SessionTally tally;
  zelvo::collector::LineWriter console(STDOUT_FILENO, "standard output", kQueuedBytes);
  std::optional<zelvo::collector::LineWriter> json;
  if (jsonOut >= 0) json.emplace(jsonOut, *line.jsonOut, kQueuedBytes);
  try {
    zelvo::collector::CollectorServer server(line.settings, [&](const zelvo::collector::RequestRecord& record) {
      tally.add(record);
      console.write(zelvo::collector::readableLine(record));
      if (json) json->write(zelvo::collector::jsonLine(record));
    });
    console.write("listening on 127.0.0.1:" + std::to_string(server.port()));
    while (!server.stopping()) {
      const timespec pollInterval{0, 100'000'000};
      if (sigtimedwait(&stopSignals, nullptr, &pollInterval) > 0) break;
    }
  } catch (const std::exception& error) {
    return fail(error.what());
  }
  const zelvo::collector::SessionSummary& summary = tally.summary();
  console.write("stopped: " + zelvo::collector::summaryText(summary));
  const std::size_t jsonLost = json ? json->close() : 0;
  if (const std::size_t consoleLost = console.close(); consoleLost > 0) {
    std::cerr << "zelvo-collector: " << consoleLost << " line(s) of standard output lost (it was not read in time)\n";
  }
  if (jsonLost > 0) return fail(std::to_string(jsonLost) + " record(s) missing from " + *line.jsonOut);
  return summary.violatingRequests == 0 ? 0 : 1;
}
