// SPDX-License-Identifier: MIT
// Does the same work with the library and with other codecs, alternately in one process, and
// prints the times and their ratios:
//   jpg_bench [--quick | --sizes | --many | --one-size] [--short] [--only WORDS] [--json FILE]
//       a table; --quick compares the library with another build of it on a few workloads, --sizes
//       and --many are other workloads (workloads.h), --one-size takes the smallest photographs
//       alone, --short takes less time for each
//   jpg_bench --count [--only WORDS]        under callgrind: dumps the counts of one call each
//   jpg_bench --once NAME SIZE SIDE TIMES   so many calls of one side, 0 is the library's
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#endif

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include "measure.h"

namespace {

using jpgbench::Choice;
using jpgbench::Side;
using jpgbench::Times;
using jpgbench::Workload;

struct Options {
  Choice choice = Choice::kAll;
  bool brief = false, count = false;
  std::string only, json;
  char **once = nullptr;
};

bool parse(int argc, char **argv, Options *o) {
  for (int i = 1; i < argc; i++) {
    const std::string word = argv[i];
    if (word == "--quick") {
      o->choice = Choice::kQuick;
    } else if (word == "--sizes") {
      o->choice = Choice::kSizes;
    } else if (word == "--many") {
      o->choice = Choice::kMany;
    } else if (word == "--one-size") {
      o->choice = Choice::kOneSize;
    } else if (word == "--short") {
      o->brief = true;
    } else if (word == "--count") {
      o->choice = Choice::kOneSize;
      o->count = true;
    } else if (word == "--only" && i + 1 < argc) {
      o->only = argv[++i];
    } else if (word == "--json" && i + 1 < argc) {
      o->json = argv[++i];
    } else if (word == "--once" && i + 4 < argc) {
      o->once = argv + i + 1;
      i += 4;
    } else {
      return false;
    }
  }
  return true;
}

// Microseconds of a cpuid instruction. A virtual machine emulates it, which shows with small
// pictures if a codec runs it in every call.
double cpuidTime() {
#if defined(__x86_64__)
  constexpr int kTimes = 1000;
  std::timespec start = {}, end = {};
  unsigned a = 0, b = 0, c = 0, d = 0;
  clock_gettime(CLOCK_MONOTONIC, &start);
  for (int i = 0; i < kTimes; i++) __cpuid(0, a, b, c, d);
  clock_gettime(CLOCK_MONOTONIC, &end);
  return (static_cast<double>(end.tv_sec - start.tv_sec) * 1e6 +
          static_cast<double>(end.tv_nsec - start.tv_nsec) * 1e-3) /
         kTimes;
#else
  return 0;
#endif
}

// Writes the JSON file: a line for the machine, then one for each workload; names need no escapes.
void writeLine(std::FILE *file, const Workload &w, const std::vector<Side> &sides,
               const std::vector<Times> &times) {
  std::fprintf(file,
               "{\"name\": \"%s\", \"size\": \"%s\", \"pixels\": %.0f, \"pictures\": %zu, "
               "\"lossless\": %s, \"must\": %.2f, \"sides\": [",
               w.name().c_str(), w.size().c_str(), w.pixels(), w.pictures(),
               w.lossless() ? "true" : "false", w.must());
  for (size_t i = 0; i < sides.size(); i++) {
    const Times &t = times[i];
    std::fprintf(file,
                 "%s{\"codec\": \"%s\", \"bytes\": %zu, \"median\": %.9f, \"best\": %.9f, "
                 "\"ratio\": %.4f, \"ratioOfBest\": %.4f, \"quarters\": [%.4f, %.4f]}",
                 i > 0 ? ", " : "", sides[i].codec->name, w.codedBytes(sides[i]), t.median, t.best,
                 t.ratioOfMedians, t.ratioOfBest, t.lowerQuarter, t.upperQuarter);
  }
  std::fprintf(file, "]}\n");
}

void printLine(const Workload &w, const std::vector<Side> &sides, const std::vector<Times> &times) {
  std::printf("| %s | %s | %.1f |", w.name().c_str(), w.size().c_str(),
              w.pixels() / times[0].median / 1e6);
  for (size_t i = 1; i < sides.size(); i++) {
    std::printf(" %.3f (%.3f) %s |", times[i].ratioOfMedians, times[i].ratioOfBest,
                sides[i].codec->name);
  }
  std::printf("\n");
  std::fflush(stdout);
}

bool run(Workload *w, const jpgbench::Effort &effort, std::FILE *json) {
  if (!w->prepare()) return false;
  const std::vector<Times> times = measure(w, effort);
  if (times.empty()) {
    std::fprintf(stderr, "%s, %s: a call failed\n", w->name().c_str(), w->size().c_str());
    return false;
  }
  printLine(*w, w->sides(), times);
  if (json != nullptr) writeLine(json, *w, w->sides(), times);
  w->release();
  return true;
}

// Dumps the instructions of a call of each side under the name "workload|size|codec|pixels".
bool count(Workload *w) {
  if (!w->prepare()) return false;
  for (Side &side : w->sides()) {
    bool good = w->call(&side);
#ifdef CALLGRIND_START_INSTRUMENTATION
    char name[200];
    std::snprintf(name, sizeof(name), "%s|%s|%s|%.0f", w->name().c_str(), w->size().c_str(),
                  side.codec->name, w->pixels());
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    good = w->call(&side) && good;
    CALLGRIND_DUMP_STATS_AT(name);
    CALLGRIND_STOP_INSTRUMENTATION;
#else
    std::fprintf(stderr, "jpg_bench: built without valgrind's header\n");
    good = false;
#endif
    if (!good) return false;
  }
  w->release();
  return true;
}

bool doOnce(std::vector<Workload> *workloads, char **words) {
  for (Workload &w : *workloads) {
    if (w.name() != words[0] || w.size() != words[1]) continue;
    const auto side = static_cast<size_t>(std::strtoul(words[2], nullptr, 10));
    bool good = side < w.sides().size() && w.prepare();
    for (long i = std::strtol(words[3], nullptr, 10); i > 0 && good; i--) {
      good = w.call(&w.sides()[side]);
    }
    return good;
  }
  std::fprintf(stderr, "jpg_bench: no such workload\n");
  return false;
}

std::string valueOf(const char *variable, const char *other) {
  const char *value = std::getenv(variable);
  return value != nullptr ? value : other;
}

// Runs all workloads asked for, also after one that fails.
bool doAll(std::vector<Workload> *workloads, const Options &o, std::FILE *json) {
  jpgbench::Effort effort;
  if (o.brief) effort = {0.005, 0.1, 5, 3};
  bool good = true;
  size_t done = 0;
  for (Workload &w : *workloads) {
    if (w.name().find(o.only) == std::string::npos || w.sides().size() < 2) continue;
    good = (o.count ? count(&w) : run(&w, effort, json)) && good;
    done++;
  }
  if (done == 0) std::fprintf(stderr, "jpg_bench: no such workload\n");
  return good && done > 0;
}

// Fixes the heap's thresholds, which glibc otherwise adapts to earlier allocations: with every
// codec, a small picture's memory stays in the process from call to call, and a large picture's
// comes from the system every time.
void settleHeap() {
  mallopt(M_MMAP_THRESHOLD, 4 << 20);
  mallopt(M_TRIM_THRESHOLD, 8 << 20);
}

}  // namespace

int main(int argc, char **argv) {
  Options o;
  if (!parse(argc, argv, &o)) {
    std::fprintf(stderr, "jpg_bench: bench/README.md tells the options\n");
    return 2;
  }
  settleHeap();
  auto workloads = jpgbench::makeWorkloads(valueOf("JPG_CORPUS", JPG_CORPUS_DIR),
                                           valueOf("JPG_BENCH_PICTURES", ""), o.choice);
  if (o.once != nullptr) return doOnce(&workloads, o.once) ? 0 : 1;
  const jpgbench::Codecs &codecs = jpgbench::codecs();
  const bool quick = o.choice == Choice::kQuick;
  if (quick && codecs.base == nullptr) {
    std::fprintf(stderr, "jpg_bench: built without another build of the library\n");
    return 2;
  }
  if (!quick && codecs.newLibjpeg == nullptr) {
    std::fprintf(stderr, "jpg_bench: no newer libjpeg-turbo in JPG_PEERS_DIR; Debian's alone\n");
  }
  std::FILE *json = o.json.empty() ? nullptr : std::fopen(o.json.c_str(), "w");
  bool good = o.json.empty() || json != nullptr;
  if (json != nullptr) std::fprintf(json, "{\"cpuid\": %.3f}\n", cpuidTime());
  good = good && doAll(&workloads, o, json);
  if (json != nullptr && std::fclose(json) != 0) good = false;
  return good ? 0 : 1;
}
