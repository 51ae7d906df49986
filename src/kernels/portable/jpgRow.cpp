// SPDX-License-Identifier: MIT
// Rows of pixels from planes of samples: chroma is interpolated or replicated and converted at
// once. The results are those of jpgRUpsample.cpp and jpgRPlanePut.cpp.
#include "kernels/portable/jpgPortable.h"
#include "share/jpgSamples.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// How the chroma of a row is made: what lies between it and the pixels across and down.
template <bool kInterpolates, uint32_t kAcross, uint32_t kDown>
struct Filter {
  static constexpr bool kBlendsRows = kInterpolates && kDown == 2;
  static constexpr bool kBlendsColumns = kInterpolates && kAcross == 2;
  // Weights are quarters in each direction.
  static constexpr uint32_t kShift = 2 * ((kBlendsRows ? 1 : 0) + (kBlendsColumns ? 1 : 0));
};

// A chroma component's samples, blended down.
template <typename F>
struct ChromaRow {
  const uint8_t *first, *second;
  uint32_t at(uint32_t i) const {
    return F::kBlendsRows ? first[i] * 3U + second[i] : uint32_t{first[i]};
  }
};

// Ties are rounded down in even columns and up in odd ones, in rows where only those are blended,
// and the other way round where both are.
template <typename F>
struct Rounding {
  uint32_t even, odd;
  explicit Rounding(bool oddRow) {
    constexpr uint32_t kHalf = F::kShift == 0 ? 0 : 1U << F::kShift >> 1;
    constexpr uint32_t kLow = F::kShift == 0 ? 0 : kHalf - 1;
    const bool rows = !F::kBlendsColumns;
    even = F::kShift == 4 || (rows && oddRow) ? kHalf : kLow;
    odd = F::kShift == 4 || (rows && !oddRow) ? kLow : kHalf;
  }
};

void putPixel(uint32_t y, uint32_t cb, uint32_t cr, uint8_t *out) {
  const uint8_t *limit = jpgPixelLimit.entry + kPixelLimitZero - kLevelShift + y;
  const ColorPair b = jpgCbTable.entry[cb], r = jpgCrTable.entry[cr];
  out[0] = limit[b.first];
  out[1] = limit[b.second + r.first];
  out[2] = limit[r.second];
}

// Chroma of two pixels side by side.
struct Pair {
  uint32_t even, odd;
};

// Of the sample i, between its neighbours.
template <typename F>
Pair blend(const ChromaRow<F> &row, const Rounding<F> &r, uint32_t i) {
  const uint32_t v = row.at(i);
  if (!F::kBlendsColumns) {
    const uint32_t w = (v + r.even) >> F::kShift;
    return {w, w};
  }
  const uint32_t before =
      (row.first - 1)[i] * (F::kBlendsRows ? 3U : 1U) + (F::kBlendsRows ? (row.second - 1)[i] : 0U);
  return {(3 * v + before + r.even) >> F::kShift, (3 * v + row.at(i + 1) + r.odd) >> F::kShift};
}

template <bool kInterpolates, uint32_t kAcross, uint32_t kDown>
void putYccRow(const YccRow &row, uint8_t *out, uint32_t columns) {
  using F = Filter<kInterpolates, kAcross, kDown>;
  const ChromaRow<F> cb = {row.first[0], row.second[0]}, cr = {row.first[1], row.second[1]};
  const Rounding<F> r(row.odd);
  if (kAcross == 1) {
    for (uint32_t x = 0; x < columns; x++, out += 3) {
      putPixel(row.y[x], blend(cb, r, x).even, blend(cr, r, x).even, out);
    }
    return;
  }
  for (uint32_t i = 0; i < columns / 2; i++, out += 6) {
    const Pair b = blend(cb, r, i), c = blend(cr, r, i);
    putPixel(row.y[2 * i], b.even, c.even, out);
    putPixel(row.y[2 * i + 1], b.odd, c.odd, out + 3);
  }
  if (columns % 2 != 0) {
    const uint32_t i = columns / 2;
    putPixel(row.y[2 * i], blend(cb, r, i).even, blend(cr, r, i).even, out);
  }
}

}  // namespace

void portableStoreBlock(const int16_t *block, uint8_t *out, ptrdiff_t stride) {
  for (uint32_t y = 0; y < kFullCell; y++, block += kRowLength, out += stride) {
    for (uint32_t x = 0; x < kFullCell; x++) out[x] = toByte(block[x]);
  }
}

constexpr YccRowKernels portablePutYccRow = {{{putYccRow<false, 1, 1>, putYccRow<false, 1, 1>},
                                              {putYccRow<false, 2, 1>, putYccRow<false, 2, 1>}},
                                             {{putYccRow<false, 1, 1>, putYccRow<true, 1, 2>},
                                              {putYccRow<true, 2, 1>, putYccRow<true, 2, 2>}}};

}  // namespace jpg
