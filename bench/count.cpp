// SPDX-License-Identifier: MIT
// The lossy workloads for tools that count instructions from a program's start to its end:
//   jpg_count --list                            names and sizes, by tabs
//   jpg_count NAME SIZE ours|theirs CALLS       prepares the input, does so many calls and
//                                               prints the pixels of one
// The cost of one call is the difference between runs with two calls and with one.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "workloads.h"

namespace {

using jpgbench::Workload;

int list(std::vector<Workload> *workloads) {
  for (Workload &w : *workloads) {
    if (w.sides().size() < 2) continue;
    std::printf("%s\t%s\n", w.name().c_str(), w.size().c_str());
  }
  return 0;
}

// Prints the pixels of a call.
int doCalls(std::vector<Workload> *workloads, char **words) {
  for (Workload &w : *workloads) {
    if (w.name() != words[0] || w.size() != words[1]) continue;
    jpgbench::Side *side = &w.sides()[std::strcmp(words[2], "ours") == 0 ? 0 : 1];
    bool done = w.prepare();
    for (long i = std::strtol(words[3], nullptr, 10); i > 0 && done; i--) done = w.call(side);
    std::printf("%.0f\n", w.pixels());
    return done ? 0 : 1;
  }
  std::fprintf(stderr, "jpg_count: no such workload\n");
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  const char *corpus = std::getenv("JPG_CORPUS"), *kept = std::getenv("JPG_BENCH_PICTURES");
  std::vector<Workload> workloads =
      jpgbench::makeWorkloads(corpus != nullptr ? corpus : JPG_CORPUS_DIR,
                              kept != nullptr ? kept : "", jpgbench::Choice::kOneSize);
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) return list(&workloads);
  if (argc == 5) return doCalls(&workloads, argv + 1);
  std::fprintf(stderr, "jpg_count: --list, or NAME SIZE ours|theirs CALLS\n");
  return 2;
}
