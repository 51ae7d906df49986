// Does the same work with the library and with independent codecs, alternately in one process,
// and prints the speeds and their ratio: jpg_bench [BENCHMARK OPTION...]
//
// jpg_bench --once NAME SIZE ours|theirs [TIMES] does one call, or so many, for tools that count
// instructions;
// jpg_bench --list prints the names, sizes and pixels of the workloads for them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "workloads.h"

namespace {

using jpgbench::Workload;

// The function whose instructions the tools count.
[[gnu::noinline]] bool measuredCall(const std::function<bool()> &call) { return call(); }

void run(benchmark::State &state, const Workload &workload, const std::function<bool()> &call) {
  if (!workload.prepare()) state.SkipWithError("no input");
  for (auto _ : state) {
    if (!measuredCall(call)) {
      state.SkipWithError("the call failed");
      return;
    }
    benchmark::ClobberMemory();
  }
  state.counters["MP/s"] =
      benchmark::Counter(workload.megapixels, benchmark::Counter::kIsIterationInvariantRate);
}

// Keeps the speeds for the table; with repetitions their medians.
class Reporter : public benchmark::ConsoleReporter {
 public:
  Reporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      const auto speed = r.counters.find("MP/s");
      const bool wanted = r.run_type == Run::RT_Iteration || r.aggregate_name == "median";
      if (wanted && speed != r.counters.end()) speeds_[r.run_name.function_name] = speed->second;
    }
  }
  double speedOf(const std::string &name) const {
    const auto found = speeds_.find(name);
    return found != speeds_.end() ? found->second : 0;
  }

 private:
  std::map<std::string, double> speeds_;
};

std::string keyOf(const Workload &w, const char *side) {
  return w.name + ", " + w.size + ", " + side;
}

void printTable(const std::vector<Workload> &workloads, const Reporter &reporter) {
  std::printf("\n| workload | size | ours, MP/s | theirs, MP/s | ratio | must |\n");
  std::printf("|---|---|---:|---:|---:|---:|\n");
  for (const Workload &w : workloads) {
    const double ours = reporter.speedOf(keyOf(w, "ours"));
    const double theirs = reporter.speedOf(keyOf(w, "theirs"));
    if (ours <= 0 || theirs <= 0) continue;
    std::printf("| %s | %s | %.1f | %.1f | %.2f%s | %.1f |\n", w.name.c_str(), w.size.c_str(), ours,
                theirs, ours / theirs, ours / theirs < w.mustReach ? " (below)" : "", w.mustReach);
  }
}

int runOnce(const std::vector<Workload> &workloads, char **words, int times) {
  for (const Workload &w : workloads) {
    if (w.name != words[0] || w.size != words[1]) continue;
    const bool ours = std::strcmp(words[2], "ours") == 0;
    bool good = w.prepare();
    for (int i = 0; i < times; i++) good = good && measuredCall(ours ? w.ours : w.theirs);
    return good ? 0 : 1;
  }
  std::fprintf(stderr, "jpg_bench: no such workload\n");
  return 1;
}

// Lists the workloads with the smaller pictures, for which counting takes only seconds.
int list(const std::vector<Workload> &workloads) {
  for (const Workload &w : workloads) {
    if (w.megapixels > 1) continue;
    std::printf("%s\t%s\t%.0f\n", w.name.c_str(), w.size.c_str(), 1e6 * w.megapixels);
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  const char *corpus = std::getenv("JPG_CORPUS");
  const std::vector<Workload> workloads =
      jpgbench::makeWorkloads(corpus != nullptr ? corpus : JPG_CORPUS_DIR, {0.3, 2.0, 12.0});
  if (argc >= 5 && std::strcmp(argv[1], "--once") == 0) {
    return runOnce(workloads, argv + 2, argc > 5 ? std::atoi(argv[5]) : 1);
  }
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) return list(workloads);
  benchmark::Initialize(&argc, argv);
  for (const Workload &w : workloads) {
    for (const auto &side :
         {std::make_pair("ours", &w.ours), std::make_pair("theirs", &w.theirs)}) {
      benchmark::RegisterBenchmark(keyOf(w, side.first).c_str(), run, w, *side.second)
          ->Unit(benchmark::kMillisecond);
    }
  }
  Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printTable(workloads, reporter);
  return 0;
}
