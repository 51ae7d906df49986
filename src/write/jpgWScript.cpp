// SPDX-License-Identifier: MIT
#include "write/jpgWScript.h"

namespace jpg {
namespace {

constexpr uint32_t kLastAc = kBlockSize - 1;
constexpr uint32_t kScanHead = 2 + 2 + 1 + 2 + 3;  // bytes of SOS with one component
constexpr uint32_t kMaxInterleaved = 10;           // blocks of an MCU of several components
constexpr uint32_t kTrialBlocks = 1024;            // of a component, at least, where it has more
constexpr uint32_t kTrialRows = 8;                 // of blocks

// The trial of a first scan whose band begins behind end `from` - 1 (0: at 1) and goes to end `to`.
uint32_t trialOf(uint32_t Al, uint32_t from, uint32_t to) {
  return Al * kBands + to * (to + 1) / 2 + from;
}
uint32_t bandStart(uint32_t from) { return from == 0 ? 1 : kBandEnds[from - 1] + 1; }

void listTrials(uint32_t component, Trials *t) {
  for (uint32_t Al = 0; Al <= kMaxAl; Al++) {
    for (uint32_t to = 0; to < kEnds; to++) {
      for (uint32_t from = 0; from <= to; from++) {
        t->scans[trialOf(Al, from, to)] = {component, 1, bandStart(from), kBandEnds[to], 0, Al};
      }
    }
  }
  for (uint32_t Al = 0; Al < kMaxAl; Al++) {
    t->scans[kFirstTrials + Al] = {component, 1, 1, kLastAc, Al + 1, Al};
  }
}

// Every how many rows of blocks are looked at: enough blocks, from all over the picture.
uint32_t stepOf(const Plane &p) {
  const uint32_t byBlocks = p.columns * p.rows / kTrialBlocks;
  const uint32_t byRows = p.rows / kTrialRows;
  const uint32_t step = byBlocks < byRows ? byBlocks : byRows;
  return step == 0 ? 1 : step;
}

// Counts the trials' symbols and estimates the bits of the whole scans by those of the rows looked
// at, all multiplied by their number: the device has no division of 64 bits.
void runTrials(const HeldFrame &f, uint32_t component, TrialWork *work, OptimalWork *optimal) {
  Trials *t = &work->trials;
  for (uint32_t i = 0; i < kTrials; i++) {
    startBand(t->scans[i], &work->counters[i], &work->counts[i]);
  }
  const Plane p = planeOf(f, component);
  const uint32_t step = stepOf(p);
  countBands(f, component, step, work->counters, kTrials);
  const uint64_t looked = (p.rows + step - 1) / step;
  for (uint32_t i = 0; i < kTrials; i++) {
    makeOptimalTable(work->counts[i], optimal, &work->table);
    const uint64_t data = work->counters[i].out.bits + bitsByTable(work->counts[i], work->table);
    const uint64_t headers = uint64_t{8} * (kScanHead + segmentBytes(work->table));
    t->bits[i] = data * p.rows + headers * looked;
  }
}

// How the first scans are divided into bands: bit i is set where one ends at kBandEnds[i].
struct Division {
  uint32_t ends;
  uint64_t bits;
};

// The division with the fewest bits: the best one up to each end is made of those up to earlier
// ends.
Division divide(const Trials &t, uint32_t Al) {
  Division best[kEnds];
  for (uint32_t to = 0; to < kEnds; to++) {
    best[to] = {1U << to, t.bits[trialOf(Al, 0, to)]};
    for (uint32_t from = 1; from <= to; from++) {
      const uint64_t bits = best[from - 1].bits + t.bits[trialOf(Al, from, to)];
      if (bits < best[to].bits) best[to] = {best[from - 1].ends | 1U << to, bits};
    }
  }
  return best[kEnds - 1];
}

// A component's scans.
struct Plan {
  uint32_t Al;
  uint32_t ends;  // as Division::ends
};

Plan choosePlan(const Trials &t) {
  Plan best = {};
  uint64_t fewest = UINT64_MAX, refinements = 0;
  for (uint32_t Al = 0; Al <= kMaxAl; Al++) {
    if (Al != 0) refinements += t.bits[kFirstTrials + Al - 1];
    const Division first = divide(t, Al);
    if (first.bits + refinements >= fewest) continue;
    fewest = first.bits + refinements;
    best = {Al, first.ends};
  }
  return best;
}

void add(Script *script, const Scan &scan) { script->scans[script->count++] = scan; }

// The band of a component's plan that ends at kBandEnds[end], if there is one.
void addBand(const Plan &plan, uint32_t component, uint32_t end, Script *script) {
  if ((plan.ends >> end & 1) == 0) return;
  uint32_t from = end;
  while (from != 0 && (plan.ends >> (from - 1) & 1) == 0) from--;
  add(script, {component, 1, bandStart(from), kBandEnds[end], 0, plan.Al});
}

// DC of all components, in one scan if an MCU of it may have that many blocks. It isn't divided:
// its last bit is as random as others, and a scan of its own costs a header.
void addDc(const HeldFrame &f, Script *script) {
  const uint32_t components = f.c->write.frameComponents;
  const uint32_t together = f.blocksPerMcu <= kMaxInterleaved ? components : 1;
  for (uint32_t i = 0; i < components; i += together) add(script, {i, together, 0, 0, 0, 0});
}

// Counts the AC scans of the script, those of a component together.
void countScript(const HeldFrame &f, const Script &script, TrialWork *work) {
  for (uint32_t component = 0; component < f.c->write.frameComponents; component++) {
    uint32_t bands = 0;
    for (uint32_t i = 0; i < script.count; i++) {
      const Scan &scan = script.scans[i];
      if (scan.Ss == 0 || scan.first != component) continue;
      startBand(scan, &work->counters[bands++], &work->counts[i]);
    }
    countBands(f, component, 1, work->counters, bands);
  }
}

}  // namespace

void chooseScript(const HeldFrame &f, TrialWork *work, OptimalWork *optimal, Script *script) {
  const uint32_t components = f.c->write.frameComponents;
  Plan plans[kMaxComponents];
  uint32_t deepest = 0;
  for (uint32_t i = 0; i < components; i++) {
    listTrials(i, &work->trials);
    runTrials(f, i, work, optimal);
    plans[i] = choosePlan(work->trials);
    if (plans[i].Al > deepest) deepest = plans[i].Al;
  }
  script->count = 0;
  addDc(f, script);
  for (uint32_t end = 0; end < kEnds; end++) {
    for (uint32_t i = 0; i < components; i++) addBand(plans[i], i, end, script);
  }
  for (uint32_t Al = deepest; Al-- > 0;) {
    for (uint32_t i = 0; i < components; i++) {
      if (plans[i].Al > Al) add(script, {i, 1, 1, kLastAc, Al + 1, Al});
    }
  }
  countScript(f, *script, work);
}

}  // namespace jpg
