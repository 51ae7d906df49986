// The lossy workloads for tools that count instructions from a program's start to its end:
//   jpg_count --list                            names, sizes and pixels, by tabs
//   jpg_count NAME SIZE ours|theirs CALLS       prepares the input and does so many calls
// The cost of one call is the difference between runs with two calls and with one.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "workloads.h"

namespace {

using jpgbench::Workload;

int list(const std::vector<Workload> &workloads) {
  for (const Workload &w : workloads) {
    if (w.name.find("lossless") != std::string::npos) continue;
    std::printf("%s\t%s\t%.0f\n", w.name.c_str(), w.size.c_str(), 1e6 * w.megapixels);
  }
  return 0;
}

int doCalls(const std::vector<Workload> &workloads, char **words) {
  for (const Workload &w : workloads) {
    if (w.name != words[0] || w.size != words[1]) continue;
    const auto &call = std::strcmp(words[2], "ours") == 0 ? w.ours : w.theirs;
    bool done = w.prepare();
    for (long i = std::strtol(words[3], nullptr, 10); i > 0 && done; i--) done = call();
    return done ? 0 : 1;
  }
  std::fprintf(stderr, "jpg_count: no such workload\n");
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  const char *corpus = std::getenv("JPG_CORPUS");
  const std::vector<Workload> workloads =
      jpgbench::makeWorkloads(corpus != nullptr ? corpus : JPG_CORPUS_DIR, {0.3});
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) return list(workloads);
  if (argc == 5) return doCalls(workloads, argv + 1);
  std::fprintf(stderr, "jpg_count: --list, or NAME SIZE ours|theirs CALLS\n");
  return 2;
}
