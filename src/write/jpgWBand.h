// SPDX-License-Identifier: MIT
// Coding of a block's band of levels: what sequential and progressive scans put of a block (T.81
// F.1.2 and G.1.2), into a SymbolCounter or a SymbolWriter.
#ifndef JPG_WRITE_WBAND_H
#define JPG_WRITE_WBAND_H

#include <stddef.h>
#include <stdint.h>

#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kSymbolEob = 0x00;  // no non-zero coefficient follows
constexpr uint32_t kSymbolZrl = 0xF0;  // sixteen zeros
constexpr uint32_t kMaxZeros = 15;     // ahead of a coefficient, in its symbol
constexpr uint32_t kMaxEobRun = 0x7FFF;
constexpr uint32_t kMaxPointTransform = 3;  // that we use

// Bits of a magnitude, 0 for 0.
inline uint32_t categoryOf(uint32_t magnitude) {
  return magnitude == 0 ? 0 : 32 - static_cast<uint32_t>(__builtin_clz(magnitude));
}

// The magnitude of a level after the point transform, which divides by 2^Al toward zero.
inline uint32_t magnitudeAfter(int32_t level, uint32_t Al) {
  return static_cast<uint32_t>(level < 0 ? -level : level) >> Al;
}

// A value's additional bits (T.81 F.1.2.1).
inline uint32_t additionalBits(bool negative, uint32_t magnitude, uint32_t category) {
  return (negative ? ~magnitude : magnitude) & ((1U << category) - 1);
}

// Puts a difference as a symbol of its category.
template <typename Out>
inline void putDifferenceTo(Out *out, uint32_t table, int32_t difference) {
  const uint32_t magnitude = magnitudeAfter(difference, 0);
  const uint32_t category = categoryOf(magnitude);
  out->put(table, category, additionalBits(difference < 0, magnitude, category), category);
}

// Puts the levels whose bits are set in `present`, as the first scan of their band. `last` is the
// position ahead of the band; returns that of the last level put.
template <typename Out>
inline uint32_t putBand(Out *out, uint32_t table, const int16_t *levels, uint64_t present,
                        uint32_t Al, uint32_t last) {
  for (; present != 0; present &= present - 1) {
    const auto k = lowestBit(present);
    uint32_t zeros = k - last - 1;
    for (; zeros > kMaxZeros; zeros -= kMaxZeros + 1) out->put(table, kSymbolZrl, 0, 0);
    const uint32_t magnitude = magnitudeAfter(levels[k], Al);
    const uint32_t category = categoryOf(magnitude);
    out->put(table, zeros << 4 | category, additionalBits(levels[k] < 0, magnitude, category),
             category);
    last = k;
  }
  return last;
}

// Bits of corrections, in the order of the levels.
struct Corrections {
  uint64_t bits;
  uint32_t count;  // at most 63: those of a block

  void add(uint32_t bit) {
    bits = bits << 1 | bit;
    count++;
  }
  template <typename Out>
  void putTo(Out *out) {
    if (count > 32) out->putBits(static_cast<uint32_t>(bits >> 32), count - 32);
    if (count != 0) out->putBits(static_cast<uint32_t>(bits), count > 32 ? 32 : count);
    *this = {};
  }
};

// Correction bits of the blocks of an end-of-band run, which follow its symbol.
struct PendingBits {
  static constexpr uint32_t kMost = 1000;
  uint32_t words[(kMost + 31) / 32];
  uint32_t count;

  void append(const Corrections &more) {
    JPG_ASSERT(count + more.count <= kMost);
    for (uint32_t left = more.count; left != 0;) {
      const uint32_t room = 32 - count % 32;
      const uint32_t n = left < room ? left : room;
      left -= n;
      const uint64_t chunk = more.bits >> left & ((uint64_t{1} << n) - 1);
      if (room == 32) words[count / 32] = 0;
      words[count / 32] |= static_cast<uint32_t>(chunk << (room - n));
      count += n;
    }
  }
  template <typename Out>
  void putTo(Out *out) {
    for (uint32_t i = 0; i < count; i += 32) {
      const uint32_t length = count - i < 32 ? count - i : 32;
      out->putBits(words[i / 32] >> (32 - length), length);
    }
    count = 0;
  }
};

// An AC scan of a component, block by block. Ends of bands are put as runs, which end at restart
// markers and at the scan's end, by flush().
template <typename Out>
struct BandCoder {
  Out out;
  uint64_t band;   // mask of its positions, Ss to Se
  uint32_t start;  // Ss
  uint32_t end;    // Se
  uint32_t Ah, Al;
  uint32_t eobRun;
  PendingBits pending;

  // The first scan of the band. `present` is the mask of levels that aren't 0 after the point
  // transform.
  void putFirst(const int16_t *levels, uint64_t present) {
    present &= band;
    if (present != 0) {
      flush();
      if (putBand(&out, 0, levels, present, Al, start - 1) == end) return;
    }
    if (++eobRun == kMaxEobRun) flush();
  }

  // A further scan, for one more bit. `before` is the mask of levels that weren't 0 in the scan
  // before: those have a correction bit each, the others of `present` a symbol (T.81 G.1.2.3).
  void putRefined(const int16_t *levels, uint64_t present, uint64_t before) {
    present &= band;
    const uint64_t fresh = present & ~before;
    Corrections own = {};
    uint32_t last = start - 1;  // position put last
    uint32_t zeros = 0;         // levels that are 0, since the last symbol
    if (fresh != 0) {
      flush();
      const auto lastFresh = 63 - static_cast<uint32_t>(__builtin_clzll(fresh));
      for (; last != lastFresh; present &= present - 1) {
        const auto k = lowestBit(present);
        zeros += k - last - 1;
        last = k;
        for (; zeros > kMaxZeros; zeros -= kMaxZeros + 1) {
          out.put(0, kSymbolZrl, 0, 0);
          own.putTo(&out);
        }
        if ((before >> k & 1) != 0) {
          own.add(magnitudeAfter(levels[k], Al) & 1);
          continue;
        }
        out.put(0, zeros << 4 | 1, levels[k] < 0 ? 0 : 1, 1);
        own.putTo(&out);
        zeros = 0;
      }
      if (last == end) return;
    }
    for (; present != 0; present &= present - 1) {
      const auto k = lowestBit(present);
      own.add(magnitudeAfter(levels[k], Al) & 1);
    }
    if (own.count != 0) pending.append(own);
    eobRun++;
    if (eobRun == kMaxEobRun || pending.count > PendingBits::kMost - kBlockSize) flush();
  }

  // Puts the run of ends of bands, if there is one.
  void flush() {
    if (eobRun == 0) return;
    const uint32_t category = categoryOf(eobRun) - 1;
    out.put(0, category << 4, eobRun & ((1U << category) - 1), category);
    eobRun = 0;
    pending.putTo(&out);
  }
};

}  // namespace jpg

#endif
