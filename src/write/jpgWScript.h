// SPDX-License-Identifier: MIT
// The script of a progressive picture: which scans it has. Chosen by counting the bits of several
// divisions on the levels at hand.
#ifndef JPG_WRITE_WSCRIPT_H
#define JPG_WRITE_WSCRIPT_H

#include <stdint.h>

#include "share/jpgShare.h"
#include "write/jpgWOptimal.h"
#include "write/jpgWScan.h"

namespace jpg {

// Each component's AC comes as first scans of one band or several, after a point transform of Al
// bits, and a refinement of all AC for each of these bits. Bands end at some of these positions.
constexpr uint32_t kBandEnds[] = {2, 5, 12, 63};
constexpr uint32_t kEnds = sizeof(kBandEnds) / sizeof(kBandEnds[0]);
// A band begins at coefficient 1 or behind such an end, and goes to a later end.
constexpr uint32_t kBands = kEnds * (kEnds + 1) / 2;
constexpr uint32_t kMaxAl = 2;
constexpr uint32_t kFirstTrials = (kMaxAl + 1) * kBands;
constexpr uint32_t kTrials = kFirstTrials + kMaxAl;  // with the refinements
constexpr uint32_t kMaxScans = (1 + kEnds + kMaxAl) * kMaxComponents;
constexpr uint32_t kCountSets = kTrials > kMaxScans ? kTrials : kMaxScans;
static_assert(kMaxAl <= kMaxPointTransform, "its masks are made");

// What is tried of a component, and its cost.
struct Trials {
  Scan scans[kTrials];
  uint64_t bits[kTrials];  // on one scale for all
};

// Room for what is tried, and for the counts of the scans that are chosen.
struct TrialWork {
  SymbolCounts counts[kCountSets];
  BandCounter counters[kTrials];
  OptimalTable table;
  Trials trials;
};

struct Script {
  Scan scans[kMaxScans];
  uint32_t count;
};

// Chooses the script of a frame. counts[i] of the work then has the symbols of its scan i, if that
// has AC.
void chooseScript(const HeldFrame &f, TrialWork *work, OptimalWork *optimal, Script *script);

}  // namespace jpg

#endif
