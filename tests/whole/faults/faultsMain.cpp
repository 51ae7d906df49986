// SPDX-License-Identifier: MIT
// Faults in every exported function: in each scenario the n-th allocation, the n-th
// open, read, write, seek, size query, close or release fails, once or from then on, for
// every n until the work passes untouched. Then disks are full after every count of bytes,
// and files end at every byte from every read on.
//
//   faults [FOLDER]
//
// Each run must give documented results only, close its handles, leave nothing alive and
// leave later handles unaffected. Prints what was swept; exit status 0 when all held. With
// JPG_TEST_LENGTH=long every size is swept, else every size near the ends of the library's buffers
// and some between them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faulty.h"
#include "material.h"
#include "scenarios.h"

namespace faults {
namespace {

namespace faulty = jpg::faulty;
using faulty::Fault;
using faulty::Operation;

struct FaultKind {
  const char *name;
  Operation operation;
  Fault fault;
  bool closesFail = false;  // every close fails as well
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
    {"read, and every close", Operation::kRead, Fault::kFail, true},
    {"write, and every close", Operation::kWrite, Fault::kFail, true},
    {"release, and every close", Operation::kFree, Fault::kFail, true},
};
constexpr size_t kKindCount = sizeof(kKinds) / sizeof(kKinds[0]);

// The names that the .def file exports, in its order.
const char *const kExports[] = {
#define EXPORT(name) #name,
#include "exports.inc"
#undef EXPORT
};

struct Totals {
  uint32_t runs = 0;
  uint32_t fullDisks = 0;  // writes that found too little room
  uint32_t shrunk = 0;     // reads that found less than there was
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
    if (kKinds[kind].closesFail) faulty::arm(Operation::kClose, Fault::kFailAfter, 1);
    Work work(true);
    scenario.run(work);
    totals.runs++;
    expect(totals, work.undocumented() == 0, "an undocumented result", place);
    expectNothingLeft(totals, place);
    if (faulty::faults(kKinds[kind].operation) == 0) {
      const bool same = kKinds[kind].closesFail || work.digest() == untouched;
      expect(totals, same, "the last run gave something else", place);
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
    for (Function &f : functions()) f.scenarios += std::strcmp(f.name, name) == 0 ? 1 : 0;
  }
  const uint32_t before = totals.runs;
  for (size_t kind = 0; kind < kKindCount; kind++) {
    sweepKind(totals, scenario, kind, untouched, later, laterDigest);
  }
  std::printf("%-30s %5u runs\n", scenario.name, static_cast<unsigned>(totals.runs - before));
}

bool longForm() {
  const char *form = std::getenv("JPG_TEST_LENGTH");
  return form != nullptr && std::strcmp(form, "long") == 0;
}

// The next size to sweep, in bytes.
size_t nextSize(size_t size) {
  constexpr size_t kBuffer = 4096, kNear = 8, kStep = 61;
  const size_t place = size % kBuffer;
  if (longForm() || place < kNear || place >= kBuffer - kNear) return size + 1;
  return size + std::min(kStep, kBuffer - kNear - place);
}

// Checks what a run with a fault has left behind; the later handle now and then, since there
// are so many.
void finishRun(Totals &totals, const Work &work, const Place &place, const Scenario &later,
               uint64_t laterDigest) {
  constexpr uint32_t kNowAndThen = 64;
  expect(totals, work.undocumented() == 0, "an undocumented result", place);
  expectNothingLeft(totals, place);
  totals.runs++;
  if (totals.runs % kNowAndThen != 0) return;
  expect(totals, runUntouched(totals, later, place) == laterDigest,
         "a later handle gave something else", place);
}

// Every count of bytes that the disk still takes. What was written stays, and nothing follows
// it, be there room again or not.
void sweepRoom(Totals &totals, const Scenario &scenario, const Scenario &later,
               uint64_t laterDigest) {
  const uint64_t untouched = runUntouched(totals, scenario, {scenario, "no fault", 0});
  if (faulty::calls(Operation::kWrite) == 0) return;
  const golden::Bytes whole = outputBytes();
  for (const bool once : {false, true}) {
    for (size_t room = 0; room <= whole.size(); room = nextSize(room)) {
      const Place place = {scenario, once ? "room once of" : "room", static_cast<uint32_t>(room)};
      faulty::reset();
      faulty::limitOutput(room, once);
      Work work(true);
      scenario.run(work);
      const bool met = faulty::faultHappened();
      totals.fullDisks += met ? 1 : 0;
      expect(totals, met == (room < whole.size()), "the disk wasn't full when it should", place);
      const golden::Bytes written = outputBytes();
      const size_t size = std::min(room, whole.size());
      const bool isPrefix =
          written.size() == size && std::equal(written.begin(), written.end(), whole.begin());
      expect(totals, isPrefix, "the file isn't what there was room for", place);
      expect(totals, met || work.digest() == untouched, "a roomy disk gave something else", place);
      finishRun(totals, work, place, later, laterDigest);
    }
  }
}

// The file that is read ends at every size, from every read on.
void sweepShrinking(Totals &totals, const Scenario &scenario, const Scenario &later,
                    uint64_t laterDigest) {
  constexpr size_t kLongest = 1 << 20;
  const uint64_t untouched = runUntouched(totals, scenario, {scenario, "no fault", 0});
  const uint32_t reads = faulty::calls(Operation::kRead);
  for (uint32_t n = 1; n <= reads; n++) {
    bool met = true;
    for (size_t size = 0; met && size < kLongest; size = nextSize(size)) {
      const Place place = {scenario, "size of a shrunk file", static_cast<uint32_t>(size)};
      faulty::reset();
      faulty::shrinkFiles(n, size);
      Work work(true);
      scenario.run(work);
      met = faulty::faultHappened();
      totals.shrunk += met ? 1 : 0;
      // Beyond what is read there, nobody sees the end.
      expect(totals, met || work.digest() == untouched, "a long file gave something else", place);
      finishRun(totals, work, place, later, laterDigest);
    }
  }
}

// Each exported function is in the list of those that are swept, and no other.
void checkExports(Totals &totals) {
  const std::vector<Function> &all = functions();
  bool same = all.size() == sizeof(kExports) / sizeof(kExports[0]);
  for (size_t i = 0; same && i < all.size(); i++) {
    same = std::strcmp(all[i].name, kExports[i]) == 0;
  }
  if (same) return;
  std::printf("the functions swept aren't those exported\n");
  totals.failures++;
}

void printFunctions(Totals &totals) {
  std::printf("\n%-34s %7s %7s %7s %7s\n", "function", "uses", "calls", "struck", "stack");
  for (const Function &f : functions()) {
    std::printf("%-34s %7u %7u %7u %7u\n", f.name, static_cast<unsigned>(f.scenarios),
                static_cast<unsigned>(f.calls), static_cast<unsigned>(f.strikes),
                static_cast<unsigned>(f.stack));
    const bool asExpected = f.scenarios > 0 && f.calls > 0 && (f.strikes > 0) == f.reachesPlatform;
    if (asExpected) continue;
    std::printf("%s wasn't swept as it should be\n", f.name);
    totals.failures++;
  }
}

// The promise of docs/robustness.md, for the library over the C library.
void checkStack(Totals &totals) {
#if defined(__OPTIMIZE__) && defined(NDEBUG)  // as it is delivered
  constexpr size_t kMost = 4096;
#else
  constexpr size_t kMost = 8192;
#endif
  const Function *deepest = &functions()[0];
  for (const Function &f : functions()) {
    if (f.stack > deepest->stack) deepest = &f;
  }
  std::printf("stack: %u bytes at most, in %s\n", static_cast<unsigned>(deepest->stack),
              deepest->name);
#if defined(_WIN32)
  (void)totals;  // the system's own calls are measured along, and take as much as they like
  (void)kMost;
#else
  if (deepest->stack > kMost) totals.failures++;
#endif
}

int sweepAll() {
  std::vector<Scenario> all;
  addReaders(all);
  addBitmaps(all);
  addWriters(all);
  Totals totals;
  checkExports(totals);
  // The later handle decodes from memory, whatever went before.
  const Scenario &later = all[1];
  for (const Scenario &scenario : all) sweepScenario(totals, scenario, later);
  const uint64_t laterDigest = runUntouched(totals, later, {later, "no fault", 0});
  const uint32_t before = totals.runs;
  for (const Scenario &scenario : all) {
    sweepRoom(totals, scenario, later, laterDigest);
    sweepShrinking(totals, scenario, later, laterDigest);
  }
  std::printf("%-30s %5u runs\n", "full disks, shrinking files",
              static_cast<unsigned>(totals.runs - before));
  printFunctions(totals);
  checkStack(totals);
  std::printf("\n");
  uint32_t faults = 0;
  for (size_t kind = 0; kind < kKindCount; kind++) {
    std::printf("%-30s %5u faults\n", kKinds[kind].name,
                static_cast<unsigned>(totals.faults[kind]));
    faults += totals.faults[kind];
    if (totals.faults[kind] == 0) totals.failures++;
  }
  std::printf("%-30s %5u faults\n%-30s %5u faults\n", "full disk",
              static_cast<unsigned>(totals.fullDisks), "file that shrinks",
              static_cast<unsigned>(totals.shrunk));
  faults += totals.fullDisks + totals.shrunk;
  if (totals.fullDisks == 0 || totals.shrunk == 0) totals.failures++;
  std::printf("%u functions, %u scenarios, %u faults, %u failures\n",
              static_cast<unsigned>(functions().size()), static_cast<unsigned>(all.size()),
              static_cast<unsigned>(faults), static_cast<unsigned>(totals.failures));
  return totals.failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace faults

int main(int argc, char **argv) {
  if (!faults::prepare(argc > 1 ? argv[1] : ".")) {
    std::printf("can't make the streams to read\n");
    return 1;
  }
  const int status = faults::sweepAll();
  faults::cleanUp();
  jpg::faulty::reset();
  return status;
}
