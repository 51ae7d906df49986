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

using RunWord = size_t;  // the widest that the target handles in one register
constexpr uint32_t kRunBits = sizeof(RunWord) * 8;

// Bits on their way to `out`, right-aligned; fewer than kRunBits between operations.
struct BitRun {
  RunWord bits;  // bits above the low `count` are undefined
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

// Stores the low bytes of a word, the highest of them first, with a stuffed zero behind each FF,
// and returns the place behind them. Out of line: the loops that code symbols keep their registers.
[[gnu::noinline]] inline uint8_t *emitStuffed(uint8_t *out, RunWord word, uint32_t bytes) {
  for (uint32_t shift = 8 * bytes; shift != 0;) {
    shift -= 8;
    const auto byte = static_cast<uint8_t>(word >> shift);
    *out++ = byte;
    if (byte == 0xFF) *out++ = 0;
  }
  return out;
}

// Stores a whole word that has no FF.
inline uint8_t *emitPlain(uint8_t *out, RunWord word) {
  if (sizeof(word) == 8) {
    const uint64_t all = word;
    const uint64_t bytes = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? all : __builtin_bswap64(all);
    memcpy(out, &bytes, sizeof(bytes));
  } else {  // not every processor of 32 bits stores words at any address
    out[0] = static_cast<uint8_t>(word >> 24);
    out[1] = static_cast<uint8_t>(word >> 16);
    out[2] = static_cast<uint8_t>(word >> 8);
    out[3] = static_cast<uint8_t>(word);
  }
  return out + sizeof(word);
}

inline uint8_t *emitWord(uint8_t *out, RunWord word) {
  constexpr RunWord kOnes = ~RunWord{0} / 255;
  const bool maybeFF = ((~word - kOnes) & word & (kOnes << 7)) != 0;
  return maybeFF ? emitStuffed(out, word, sizeof(word)) : emitPlain(out, word);
}

// Appends the low `length` bits of value, 0 to kMost; no higher bits may be set. With a kMost of
// 32, the largest, a buffer of 32 bits may be shifted by all of its bits: C++ needs two shifts for
// that.
template <uint32_t kMost = 32>
inline void putRunBits(BitRun *b, uint32_t value, uint32_t length) {
  const RunWord before = b->bits;
  JPG_ASSERT(b->count < kRunBits && length <= kMost && uint64_t{value} >> length == 0);
  const auto shifted = [before](uint32_t by) {
    return kMost < kRunBits ? before << by : before << by / 2 << (by - by / 2);
  };
  b->bits = shifted(length) | value;
  b->count += length;
  if (b->count < kRunBits) return;
  b->count -= kRunBits;
  b->out = emitWord(b->out, shifted(length - b->count) | value >> b->count);
}

// The longest code of a DCT level with its additional bits.
constexpr uint32_t kMostLevelBits = 16 + 11;

// Codes a DC difference, -2047..2047, or the prediction difference of lossless samples of up to 8
// bits. `table` is an encoding table: 256 codes by symbol.
inline void putDifference(BitRun *b, const JpgHuffCode *table, int32_t difference) {
  const Magnitude m = magnitudeOf(difference);
  const JpgHuffCode &code = table[m.category()];
  putRunBits(b, code.code << m.category() | m.bits(), code.length + m.category());
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
