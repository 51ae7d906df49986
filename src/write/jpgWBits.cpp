// SPDX-License-Identifier: MIT
#include "write/jpgWBits.h"

#include <string.h>

#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "write/jpgWMagnitude.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

constexpr uint32_t kSymbolEob = 0x00;  // no non-zero coefficient follows
constexpr uint32_t kSymbolZrl = 0xF0;  // sixteen zeros
constexpr uint32_t kMaxRun = 15;

// Where the codes of a component's levels are looked up.
struct LevelCodes {
  const Magnitude *magnitudes;  // of 0
  const JpgHuffCode *table;
};

// The code for the run and the value's category, then the value's additional bits.
inline void putValue(BitRun *b, const LevelCodes &codes, int32_t value, size_t run) {
  JPG_ASSERT(value >= -kMaxMagnitude && value <= kMaxMagnitude);
  const Magnitude m = codes.magnitudes[value];
  const JpgHuffCode &code = codes.table[run << 4 | m.category()];
  putRunBits<kMostLevelBits>(b, code.code | m.bits(), code.length);
}

inline void putAlone(BitRun *b, const JpgHuffCode &code) {
  putRunBits<kMostLevelBits>(b, code.code, code.length);
}

// A mask of levels as wide as a register.
using Mask = size_t;

// Codes the non-zero levels from position `base` on, whose mask is `present`. `last` is the
// position coded last before them; returns the new one.
inline size_t putLevels(BitRun *b, const LevelCodes &codes, const int16_t *levels, Mask present,
                        size_t base, size_t last) {
  for (; present != 0; present &= present - 1) {
    const size_t k = base + lowestBit(present);
    size_t run = k - last - 1;
    for (; run > kMaxRun; run -= kMaxRun + 1) putAlone(b, codes.table[kSymbolZrl]);
    putValue(b, codes, levels[k], run);
    last = k;
  }
  return last;
}

void putBlock(BitRun *run, JpgScanComponent *component, const int16_t *levels, uint64_t present) {
  BitRun b = *run;  // in registers: a byte that is stored might be the run's otherwise
  const int32_t difference = levels[0] - component->dcPredictor;
  component->dcPredictor = levels[0];
  LevelCodes codes = {magnitudesFrom0(), component->dcCodes};
  putValue(&b, codes, difference, 0);
  codes.table = component->acCodes;
  size_t last = putLevels(&b, codes, levels, static_cast<Mask>(present) & ~Mask{1}, 0, 0);
  if (sizeof(Mask) == 4) {
    last = putLevels(&b, codes, levels, static_cast<Mask>(present >> 32), 32, last);
  }
  if (last != kBlockSize - 1) putAlone(&b, codes.table[kSymbolEob]);
  *run = b;
}

}  // namespace

BitRun beginRun(JpgContext *c, uint8_t *apart) {
  JpgStream *s = &c->stream;
  const bool fits = s->bufIndex + kMaxRunBytes < kStreamBuffer;
  uint8_t *begin = fits ? s->inputBuffer + s->bufIndex : apart;
  const uint8_t *last = fits ? s->inputBuffer + (kStreamBuffer - 1 - kMaxRunBytes) : apart;
  return {s->bitBuffer, kBitBufferSize - s->bitCount, begin, begin, last};
}

Result endRun(JpgContext *c, const BitRun &run) {
  JpgStream *s = &c->stream;
  BitRun rest = run;
  // The stream's own bit buffer has room for fewer than 32 bits.
  if (rest.count >= kBitBufferSize) {
    rest.count -= kBitBufferSize;
    rest.out = emitStuffed(rest.out, rest.bits >> rest.count, kBitBufferSize / 8);
  }
  s->bitBuffer = static_cast<uint32_t>(rest.bits) & ((1U << rest.count) - 1);
  s->bitCount = kBitBufferSize - rest.count;
  const auto bytes = static_cast<uint32_t>(rest.out - rest.begin);
  if (rest.begin != s->inputBuffer + s->bufIndex) return writeBytes(c, rest.begin, bytes);
  s->bufIndex += bytes;
  return JPG_OK;
}

// A run goes on through the blocks as long as there is room for another one.
Result encodeLevels(JpgContext *c, const int16_t *blocks, const uint64_t *present) {
  uint8_t apart[kMaxRunBytes];
  BitRun run = beginRun(c, apart);
  for (uint32_t i = 0; i < c->write.frameComponents; i++) {
    JpgScanComponent *k = &c->scanComponents[i];
    for (uint32_t b = 0; b < k->blocksPerMcu; b++, blocks += kBlockSize, present++) {
      if (run.out > run.last) {
        if (const Result r = endRun(c, run); r != JPG_OK) return r;
        run = beginRun(c, apart);
      }
      [[maybe_unused]] const uint8_t *const begin = run.out;
      putBlock(&run, k, blocks, *present);
      JPG_ASSERT(static_cast<uint32_t>(run.out - begin) <= kMaxRunBytes);
    }
  }
  return endRun(c, run);
}

}  // namespace jpg
