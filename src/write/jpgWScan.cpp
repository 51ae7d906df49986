// SPDX-License-Identifier: MIT
#include "write/jpgWScan.h"

#include <string.h>

#include "kernels/jpgKernels.h"
#include "write/jpgWStore.h"

namespace jpg {
namespace {

constexpr uint32_t kAcTable = 2;  // the first one for AC in a sequential scan

// ---- Order of the blocks ----------------------------------------------------

// Ends an MCU: calls the visitor's restart() where an interval ends, but not behind the last MCU.
template <typename Visitor>
inline Result endMcu(Visitor *visitor, uint32_t interval, uint32_t *left, bool last) {
  if (interval != 0 && --*left == 0 && !last) {
    *left = interval;
    return visitor->restart();
  }
  return visitor->endMcu();
}

// All components, MCU by MCU.
template <typename Visitor>
Result walkMcus(const HeldFrame &f, Visitor *visitor) {
  const JpgContext &c = *f.c;
  const uint32_t interval = c.write.frameRestart;
  uint32_t left = interval;
  size_t at = 0;
  const size_t blocks = size_t{f.mcuRows} * c.mcusPerRow * f.blocksPerMcu;
  while (at < blocks) {
    for (uint32_t i = 0; i < c.write.frameComponents; i++) {
      for (uint32_t b = 0; b < c.scanComponents[i].blocksPerMcu; b++) {
        visitor->block(i, blockAt(c.write.store, at++));
      }
    }
    if (const Result r = endMcu(visitor, interval, &left, at == blocks); r != JPG_OK) return r;
  }
  return JPG_OK;
}

// The blocks of one component, row by row, of which every `step`-th is taken. Each is an MCU of its
// scan.
template <typename Visitor>
Result walkPlane(const HeldFrame &f, uint32_t component, uint32_t step, Visitor *visitor) {
  const JpgContext &c = *f.c;
  const Plane p = planeOf(f, component);
  const uint32_t interval = c.write.frameRestart;
  uint32_t left = interval;
  const size_t blocks = size_t{f.mcuRows} * c.mcusPerRow * f.blocksPerMcu;
  const size_t ahead = size_t{6} * f.blocksPerMcu;
  const uint32_t hBits = p.h - 1, vBits = p.v - 1;  // factors are 1 or 2
  for (uint32_t y = 0; y < p.rows; y += step) {
    const size_t row =
        size_t{y >> vBits} * c.mcusPerRow * f.blocksPerMcu + p.offset + (y & vBits) * p.h;
    for (uint32_t x = 0; x < p.columns; x++) {
      const size_t at = row + size_t{x >> hBits} * f.blocksPerMcu + (x & hBits);
      // Blocks of a component don't follow each other closely enough for the processor to see.
      if (at + ahead < blocks) __builtin_prefetch(blockAt(c.write.store, at + ahead));
      visitor->block(component, blockAt(c.write.store, at));
      const bool last = x + 1 == p.columns && y + step >= p.rows;
      if (const Result r = endMcu(visitor, interval, &left, last); r != JPG_OK) return r;
    }
  }
  return JPG_OK;
}

template <typename Visitor>
Result walkScan(const HeldFrame &f, const Scan &scan, Visitor *visitor) {
  return scan.count == f.c->write.frameComponents && scan.count > 1
             ? walkMcus(f, visitor)
             : walkPlane(f, scan.first, 1, visitor);
}

// ---- Coding of the blocks ---------------------------------------------------

// DC, and in a sequential scan the rest behind it, by the tables that the components select.
template <typename Out>
struct DcVisitor {
  const JpgContext *c;
  Out *out;
  const Scan *scan;
  int32_t predictor[kMaxComponents];

  void block(uint32_t component, const int16_t *levels) {
    const uint32_t table = c->scanComponents[component].tq;
    putDifferenceTo(out, table, levels[0] - predictor[component]);
    predictor[component] = levels[0];
    if (scan->Se == 0) return;
    const uint64_t present = c->kernels->levelMask(levels, 0) & ~uint64_t{1};
    const uint32_t last = putBand(out, kAcTable + table, levels, present, 0, 0);
    if (last != kBlockSize - 1) out->put(kAcTable + table, kSymbolEob, 0, 0);
  }
  Result endMcu() { return out->endMcu(); }
  Result restart() {
    memset(predictor, 0, sizeof(predictor));
    return out->restart();
  }
};

// A band of AC.
struct BandVisitor {
  const Kernels *kernels;
  BandCoder<SymbolWriter> coder;
  uint32_t Ah;

  void block(uint32_t /*component*/, const int16_t *levels) {
    const uint64_t present = kernels->levelMask(levels, coder.Al);
    if (Ah == 0) {
      coder.putFirst(levels, present);
    } else {
      coder.putRefined(levels, present, kernels->levelMask(levels, Ah));
    }
  }
  Result endMcu() { return coder.out.endMcu(); }
  Result restart() {
    coder.flush();
    return coder.out.restart();
  }
};

// Several bands of AC, counted together.
struct CountingVisitor {
  const Kernels *kernels;
  BandCounter *counters;
  uint32_t count;
  uint32_t maxShift;  // largest Ah or Al

  void block(uint32_t /*component*/, const int16_t *levels) {
    uint64_t present[kMaxPointTransform + 1];
    for (uint32_t i = 0; i <= maxShift; i++) present[i] = kernels->levelMask(levels, i);
    for (uint32_t i = 0; i < count; i++) {
      BandCounter *b = counters + i;
      if (b->Ah == 0) {
        b->putFirst(levels, present[b->Al]);
      } else {
        b->putRefined(levels, present[b->Al], present[b->Ah]);
      }
    }
  }
  static Result endMcu() { return JPG_OK; }
  Result restart() {
    for (uint32_t i = 0; i < count; i++) counters[i].flush();
    return JPG_OK;
  }
};

uint64_t bandMask(const Scan &scan) {
  const uint64_t upTo = scan.Se == kBlockSize - 1 ? ~uint64_t{0} : (uint64_t{2} << scan.Se) - 1;
  return upTo & ~((uint64_t{1} << scan.Ss) - 1);
}

template <typename Out>
void startCoder(const Scan &scan, BandCoder<Out> *coder) {
  coder->band = bandMask(scan);
  coder->start = scan.Ss;
  coder->end = scan.Se;
  coder->Ah = scan.Ah;
  coder->Al = scan.Al;
  coder->eobRun = 0;
  coder->pending.count = 0;
}

uint32_t ceilDiv(uint32_t n, uint32_t d) { return n / d + (n % d != 0 ? 1 : 0); }

// Blocks across `pixels` pixels of a component with the factor `own` where the largest is `most`.
uint32_t blocksAcross(uint32_t pixels, uint32_t own, uint32_t most) {
  return ceilDiv(ceilDiv(pixels * own, most), 8);
}

Result writeBand(const HeldFrame &f, const Scan &scan, SymbolWriter *writer) {
  BandVisitor visitor = {f.c->kernels, {}, scan.Ah};
  startCoder(scan, &visitor.coder);
  visitor.coder.out = *writer;
  if (const Result r = walkScan(f, scan, &visitor); r != JPG_OK) return r;
  visitor.coder.flush();
  *writer = visitor.coder.out;
  return JPG_OK;
}

}  // namespace

Plane planeOf(const HeldFrame &f, uint32_t component) {
  const JpgContext &c = *f.c;
  const JpgScanComponent &k = c.scanComponents[component];
  Plane p = {0, 0, uint32_t{k.sampling} >> 4, uint32_t{k.sampling} & 15, 0};
  p.columns = blocksAcross(c.write.frameWidth, p.h, c.hMax);
  p.rows = blocksAcross(c.write.frameHeight, p.v, c.vMax);
  for (uint32_t i = 0; i < component; i++) p.offset += c.scanComponents[i].blocksPerMcu;
  return p;
}

void startBand(const Scan &scan, BandCounter *counter, SymbolCounts *counts) {
  memset(counts, 0, sizeof(*counts));
  startCoder(scan, counter);
  counter->out = {counts, 0};
}

void countBands(const HeldFrame &f, uint32_t component, uint32_t step, BandCounter *counters,
                uint32_t count) {
  CountingVisitor visitor = {f.c->kernels, counters, count, 0};
  for (uint32_t i = 0; i < count; i++) {
    const uint32_t shift = counters[i].Ah != 0 ? counters[i].Ah : counters[i].Al;
    if (shift > visitor.maxShift) visitor.maxShift = shift;
  }
  walkPlane(f, component, step, &visitor);
  visitor.restart();
}

void countScan(const HeldFrame &f, const Scan &scan, SymbolCounter *counter) {
  DcVisitor<SymbolCounter> visitor = {f.c, counter, &scan, {}};
  walkScan(f, scan, &visitor);
}

Result writeScan(const HeldFrame &f, const Scan &scan, const JpgHuffCode *codes, uint8_t *room) {
  f.c->restartCounter = 0;
  SymbolWriter writer = beginSymbols(f.c, codes, room);
  Result r = JPG_OK;
  if (scan.Ss != 0) {
    r = writeBand(f, scan, &writer);
  } else {
    DcVisitor<SymbolWriter> visitor = {f.c, &writer, &scan, {}};
    r = walkScan(f, scan, &visitor);
  }
  return r != JPG_OK ? r : finishSymbols(&writer);
}

}  // namespace jpg
