#include "write/jpgWWide.h"

#include <string.h>

#include "write/jpgWMagnitude.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

constexpr uint32_t kSymbolEob = 0x00;  // no non-zero coefficient follows
constexpr uint32_t kSymbolZrl = 0xF0;  // sixteen zeros
constexpr uint32_t kMaxRun = 15;

// A block's bytes at most: 31 pending bits and 64 codes of 16 bits with 11 more, every byte
// stuffed.
constexpr uint32_t kMaxBlockBytes = 448;

// The bits on their way to `out`, right-aligned; fewer than 32 between operations.
struct BitRun {
  uint64_t bits;
  uint32_t count;
  uint8_t *out;
};

bool hasFF(uint32_t v) { return ((~v - 0x01010101U) & v & 0x80808080U) != 0; }

// The oldest 32 bits as bytes, FF with a stuffed zero.
inline void emit(BitRun *b) {
  b->count -= 32;
  const auto word = static_cast<uint32_t>(b->bits >> b->count);
  if (!hasFF(word)) {
    for (uint32_t i = 0; i < 4; i++) b->out[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
    b->out += 4;
    return;
  }
  for (uint32_t i = 0; i < 4; i++) {
    const auto byte = static_cast<uint8_t>(word >> (24 - 8 * i));
    *b->out++ = byte;
    if (byte == 0xFF) *b->out++ = 0;
  }
}

inline void put(BitRun *b, uint32_t value, uint32_t length) {
  b->bits = b->bits << length | value;
  b->count += length;
  if (b->count >= 32) emit(b);
}

// A value behind the code that `table` has for its category and `run`.
inline void putValue(BitRun *b, const JpgHuffCode *table, int32_t value, uint32_t run) {
  const Magnitude m = magnitudeOf(value);
  const JpgHuffCode &code = table[run << 4 | m.category];
  put(b, code.code << m.category | m.bits, code.length + uint32_t{m.category});
}

// The levels that `present` tells of, of positions `base` to `base` + 31. Returns the last
// position coded, `last` without one.
inline uint32_t putLevels(BitRun *b, const JpgHuffCode *table, const int16_t *levels,
                          uint32_t present, uint32_t base, uint32_t last) {
  for (; present != 0; present &= present - 1) {
    const uint32_t k = base + static_cast<uint32_t>(__builtin_ctz(present));
    uint32_t run = k - last - 1;
    for (; run > kMaxRun; run -= kMaxRun + 1) {
      put(b, table[kSymbolZrl].code, table[kSymbolZrl].length);
    }
    putValue(b, table, levels[k], run);
    last = k;
  }
  return last;
}

void putBlock(BitRun *b, JpgScanComponent *component, const int16_t *levels, uint64_t present) {
  const int32_t difference = levels[0] - component->dcPredictor;
  component->dcPredictor = levels[0];
  putValue(b, component->dcCodes, difference, 0);
  const JpgHuffCode *table = component->acCodes;
  uint32_t last = putLevels(b, table, levels, static_cast<uint32_t>(present) & ~1U, 0, 0);
  last = putLevels(b, table, levels, static_cast<uint32_t>(present >> 32), 32, last);
  if (last != kBlockSize - 1) put(b, table[kSymbolEob].code, table[kSymbolEob].length);
}

}  // namespace

Result encodeLevels(JpgContext *c, JpgScanComponent *component, const int16_t *levels,
                    uint64_t present) {
  JpgStream *s = &c->stream;
  uint8_t apart[kMaxBlockBytes];
  const bool fits = s->bufIndex + kMaxBlockBytes < kStreamBuffer;
  uint8_t *begin = fits ? s->inputBuffer + s->bufIndex : apart;
  BitRun b = {s->bitBuffer, kBitBufferSize - s->bitCount, begin};
  putBlock(&b, component, levels, present);
  s->bitBuffer = static_cast<uint32_t>(b.bits) & ((1U << b.count) - 1);
  s->bitCount = kBitBufferSize - b.count;
  const auto bytes = static_cast<uint32_t>(b.out - begin);
  if (!fits) return writeBytes(c, apart, bytes);
  s->bufIndex += bytes;
  return JPG_OK;
}

}  // namespace jpg
