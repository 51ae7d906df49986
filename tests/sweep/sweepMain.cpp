// Fault sweeps over every exported function: in each scenario the n-th allocation, the n-th
// open, read, write, seek, size query, close or release fails, once or from then on, for
// every n until the work passes untouched.
//
//   sweep [FOLDER]
//
// Each run must give documented results only, close its handles, leave nothing alive and
// leave later handles unaffected. Prints what was swept; exit status 0 when all held.
#include <cstdio>
#include <cstring>

#include "faulty.h"
#include "material.h"
#include "scenarios.h"

namespace sweep {
namespace {

namespace faulty = jpg::faulty;
using faulty::Fault;
using faulty::Operation;

struct FaultKind {
  const char *name;
  Operation operation;
  Fault fault;
};

constexpr FaultKind kKinds[] = {
    {"allocation", Operation::kAlloc, Fault::kFail},
    {"allocation and all later", Operation::kAlloc, Fault::kFailAfter},
    {"release", Operation::kFree, Fault::kFail},
    {"release and all later", Operation::kFree, Fault::kFailAfter},
    {"open", Operation::kOpen, Fault::kFail},
    {"open and all later", Operation::kOpen, Fault::kFailAfter},
    {"read", Operation::kRead, Fault::kFail},
    {"read and all later", Operation::kRead, Fault::kFailAfter},
    {"short read", Operation::kRead, Fault::kCutShort},
    {"write", Operation::kWrite, Fault::kFail},
    {"write and all later", Operation::kWrite, Fault::kFailAfter},
    {"short write", Operation::kWrite, Fault::kCutShort},
    {"seek", Operation::kSeek, Fault::kFail},
    {"seek and all later", Operation::kSeek, Fault::kFailAfter},
    {"size query", Operation::kGetSize, Fault::kFail},
    {"size query and all later", Operation::kGetSize, Fault::kFailAfter},
    {"close", Operation::kClose, Fault::kFail},
    {"close and all later", Operation::kClose, Fault::kFailAfter},
};
constexpr size_t kKindCount = sizeof(kKinds) / sizeof(kKinds[0]);

struct Totals {
  uint32_t runs = 0;
  uint32_t failures = 0;
  uint32_t faults[kKindCount] = {};
};

// Where a failure was seen.
struct Place {
  const Scenario &scenario;
  const char *kind;
  uint32_t n;
};

void expect(Totals &totals, bool fact, const char *what, const Place &place) {
  if (fact) return;
  std::printf("%s, %s %u: %s\n", place.scenario.name, place.kind, static_cast<unsigned>(place.n),
              what);
  totals.failures++;
}

void expectNothingLeft(Totals &totals, const Place &place) {
  expect(totals, faulty::liveBlocks() == 0, "blocks are left", place);
  expect(totals, faulty::openFiles() == 0, "files are left open", place);
  expect(totals, faulty::wrongFrees() == 0, "what wasn't a block was released", place);
}

// The digest of the work without a fault. It tells as well that a handle works.
uint64_t runUntouched(Totals &totals, const Scenario &scenario, const Place &place) {
  faulty::reset();
  Work work(false);
  scenario.run(work);
  expect(totals, work.undocumented() == 0, "an undocumented result", place);
  expectNothingLeft(totals, place);
  return work.digest();
}

// Every n of one kind.
void sweepKind(Totals &totals, const Scenario &scenario, size_t kind, uint64_t untouched,
               const Scenario &later, uint64_t laterDigest) {
  constexpr uint32_t kEnough = 100000;
  for (uint32_t n = 1; n < kEnough; n++) {
    const Place place = {scenario, kKinds[kind].name, n};
    faulty::reset();
    faulty::arm(kKinds[kind].operation, kKinds[kind].fault, n);
    Work work(true);
    scenario.run(work);
    totals.runs++;
    expect(totals, work.undocumented() == 0, "an undocumented result", place);
    expectNothingLeft(totals, place);
    if (!faulty::faultHappened()) {
      expect(totals, work.digest() == untouched, "the last run gave something else", place);
      return;
    }
    totals.faults[kind]++;
    expect(totals, runUntouched(totals, later, place) == laterDigest,
           "a later handle gave something else", place);
  }
  expect(totals, false, "the sweep doesn't end", {scenario, kKinds[kind].name, kEnough});
}

void sweepScenario(Totals &totals, const Scenario &scenario, const Scenario &later) {
  const Place place = {scenario, "no fault", 0};
  const uint64_t untouched = runUntouched(totals, scenario, place);
  const uint64_t laterDigest = runUntouched(totals, later, place);
  Work work(false);
  scenario.run(work);
  for (const char *name : work.called()) {
    for (Function &f : functions()) f.sweeps += std::strcmp(f.name, name) == 0 ? 1 : 0;
  }
  const uint32_t before = totals.runs;
  for (size_t kind = 0; kind < kKindCount; kind++) {
    sweepKind(totals, scenario, kind, untouched, later, laterDigest);
  }
  std::printf("%-30s %5u runs\n", scenario.name, static_cast<unsigned>(totals.runs - before));
}

void printFunctions(Totals &totals) {
  std::printf("\n%-34s %7s %7s %7s\n", "function", "sweeps", "calls", "struck");
  for (const Function &f : functions()) {
    std::printf("%-34s %7u %7u %7u\n", f.name, static_cast<unsigned>(f.sweeps),
                static_cast<unsigned>(f.calls), static_cast<unsigned>(f.strikes));
    const bool asExpected = f.sweeps > 0 && f.calls > 0 && (f.strikes > 0) == f.reachesPlatform;
    if (asExpected) continue;
    std::printf("%s wasn't swept as it should be\n", f.name);
    totals.failures++;
  }
}

int sweepAll() {
  std::vector<Scenario> all;
  addReaders(all);
  addBitmaps(all);
  addWriters(all);
  Totals totals;
  // The later handle decodes from memory, whatever went before.
  for (const Scenario &scenario : all) sweepScenario(totals, scenario, all[1]);
  printFunctions(totals);
  std::printf("\n");
  uint32_t faults = 0;
  for (size_t kind = 0; kind < kKindCount; kind++) {
    std::printf("%-30s %5u faults\n", kKinds[kind].name,
                static_cast<unsigned>(totals.faults[kind]));
    faults += totals.faults[kind];
    if (totals.faults[kind] == 0) totals.failures++;
  }
  std::printf("%u functions, %u scenarios, %u faults, %u failures\n",
              static_cast<unsigned>(functions().size()), static_cast<unsigned>(all.size()),
              static_cast<unsigned>(faults), static_cast<unsigned>(totals.failures));
  return totals.failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace sweep

int main(int argc, char **argv) {
  if (!sweep::prepare(argc > 1 ? argv[1] : ".")) {
    std::printf("can't make the streams to read\n");
    return 1;
  }
  const int status = sweep::sweepAll();
  sweep::cleanUp();
  jpg::faulty::reset();
  return status;
}
