// SPDX-License-Identifier: MIT
// Huffman coding through a register-wide bit buffer (BitRun): a run codes a block, or up to
// kMaxRunCodes lossless samples.
#ifndef JPG_WRITE_WBITS_H
#define JPG_WRITE_WBITS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "share/jpgAssert.h"
#include "share/jpgShare.h"
#include "write/jpgWMagnitude.h"

namespace jpg {

// Room for the bytes of a block, or of a run of codes: at most 63 pending bits and 64 codes of 16
// bits with 11 additional bits each, with every byte stuffed.
constexpr uint32_t kMaxRunBytes = 448;
// Codes of up to 32 bits, additional bits included, that fit a run.
constexpr uint32_t kMaxRunCodes = 48;

// Bits in the buffer at which it is stored as bytes: the width of a register.
constexpr uint32_t kRunBits = sizeof(size_t) >= 8 ? 64 : 32;

// Bits on their way to `out`, right-aligned; fewer than kRunBits between operations.
struct BitRun {
  uint64_t bits;  // bits above the low `count` are undefined
  uint32_t count;
  uint8_t *out;
  uint8_t *begin;
  const uint8_t *last;  // up to where `out` may be for another kMaxRunBytes to fit
};

// Begins a run, which writes directly into the stage, or into `apart`, kMaxRunBytes of room, when
// the stage is nearly full.
BitRun beginRun(JpgContext *c, uint8_t *apart);

// Hands the run's bytes and its pending bits to the stream.
Result endRun(JpgContext *c, const BitRun &run);

// Stores the oldest 32 bits as bytes, with a stuffed zero behind each FF.
inline void emitWord(BitRun *b) {
  b->count -= 32;
  const auto word = static_cast<uint32_t>(b->bits >> b->count);
  const bool hasFF = ((~word - 0x01010101U) & word & 0x80808080U) != 0;
  for (uint32_t i = 0; i < 4; i++) {
    const auto byte = static_cast<uint8_t>(word >> (24 - 8 * i));
    *b->out++ = byte;
    if (hasFF && byte == 0xFF) *b->out++ = 0;
  }
}

// Stores 64 bits as bytes, stuffed as in emitWord(), and returns the place behind them. Out of
// line: the loops that code symbols keep their registers.
[[gnu::noinline]] inline uint8_t *emitStuffed(uint8_t *out, uint64_t word) {
  for (uint32_t i = 0; i < 8; i++) {
    const auto byte = static_cast<uint8_t>(word >> (56 - 8 * i));
    *out++ = byte;
    if (byte == 0xFF) *out++ = 0;
  }
  return out;
}

// Stores 64 bits as bytes, with stuffed zeros.
inline void emitWide(BitRun *b, uint64_t word) {
  constexpr uint64_t kOnes = ~uint64_t{0} / 255;
  if (((~word - kOnes) & word & (kOnes << 7)) == 0) {
    const uint64_t bytes = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? word : __builtin_bswap64(word);
    memcpy(b->out, &bytes, sizeof(bytes));
    b->out += sizeof(bytes);
    return;
  }
  b->out = emitStuffed(b->out, word);
}

// Appends the low `length` bits of value, 0 to 32; no higher bits may be set.
inline void putRunBits(BitRun *b, uint32_t value, uint32_t length) {
  const uint64_t before = b->bits;
  JPG_ASSERT(b->count < kRunBits && length <= 32 && uint64_t{value} >> length == 0);
  b->bits = before << length | value;
  b->count += length;
  if (b->count < kRunBits) return;
  if (kRunBits == 32) {
    emitWord(b);
    return;
  }
  b->count -= kRunBits;
  emitWide(b, before << (length - b->count) | value >> b->count);
}

// Codes a DC difference, -2047..2047, or the prediction difference of lossless samples of up to 8
// bits. `table` is an encoding table: 256 codes by symbol.
inline void putDifference(BitRun *b, const JpgHuffCode *table, int32_t difference) {
  const Magnitude m = magnitudeOf(difference);
  const JpgHuffCode &code = table[m.category];
  putRunBits(b, code.code << m.category | m.bits, code.length + uint32_t{m.category});
}

// Codes the prediction difference of lossless samples above 8 bits, reduced modulo 65536 to
// -32767..32768; 32768 is coded as category 16 with 16 additional bits.
inline void putLosslessDifference(BitRun *b, const JpgHuffCode *table, int32_t difference) {
  constexpr int32_t kHalfRange = 32768;
  const uint32_t low = static_cast<uint32_t>(difference) & 0xFFFF;
  const int32_t d = static_cast<int32_t>(low) - (low > kHalfRange ? 2 * kHalfRange : 0);
  const auto magnitude = static_cast<uint32_t>(d < 0 ? -d : d);
  const uint32_t category =
      magnitude == 0 ? 0 : 32 - static_cast<uint32_t>(__builtin_clz(magnitude));
  const uint32_t bits = static_cast<uint32_t>(d < 0 ? d - 1 : d) & ((1U << category) - 1);
  putRunBits(b, table[category].code << category | bits, table[category].length + category);
}

// Codes the blocks of an MCU: their levels in zig-zag order, each -2047..2047. present[i] is the
// mask of block i's non-zero levels, bit k for level k. Updates the DC predictors.
Result encodeLevels(JpgContext *c, const int16_t *blocks, const uint64_t *present);

}  // namespace jpg

#endif
