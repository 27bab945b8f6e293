#pragma once

// A main() for benchmarks that states each figure as a ratio against a baseline of the same
// run: these machines are shared and noisy, so only ratios compare from run to run.
// Benchmarks named "Baseline..." are baselines; every other benchmark is divided by the
// baseline that precedes it.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

namespace zelvo::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string name = run.benchmark_name();
      // CPU time: these benchmarks run on one thread, and on a busy machine the wall clock also
      // counts the time the process waited for a core.
      const double time = run.GetAdjustedCPUTime();
      if (name.find("Baseline") != std::string::npos) {
        baselineName_ = name;
        baseline_ = time;
      } else if (baseline_ > 0) {
        lines_.push_back(name + " / " + baselineName_ + " = " + std::to_string(time / baseline_));
      }
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const std::string& line : lines_) std::printf("ratio: %s\n", line.c_str());
  }

 private:
  std::string baselineName_;
  double baseline_ = 0;
  std::vector<std::string> lines_;
};

inline int runWithRatios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace zelvo::bench

#define ZELVO_BENCHMARK_MAIN() \
  int main(int argc, char** argv) { return zelvo::bench::runWithRatios(argc, argv); }
