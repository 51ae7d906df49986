// SPDX-License-Identifier: MIT
// Pixels of an MCU straight from its blocks: the result of the expansion and the pixel output of
// jpgRClr.cpp without expanded blocks in between.
#include "kernels/portable/jpgPortable.h"
#include "share/jpgAssert.h"
#include "share/jpgSamples.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// The colours of a pixel by its Y, -128..127, for one pair of chroma samples: rows of the pixel
// limit table, shifted by what the chroma adds.
struct Tint {
  const uint8_t *blue, *green, *red;
};

// Pointers to the tables' entries for 0. Hidden from the optimiser, which would otherwise add the
// offset again for each pixel.
struct Middles {
  const ColorPair *cb, *cr;
  const uint8_t *limit;
};

inline Middles middles() {
  const ColorPair *cb = jpgCbTable.entry + kLevelShift, *cr = jpgCrTable.entry + kLevelShift;
  const uint8_t *limit = jpgPixelLimit.entry + kPixelLimitZero;
  asm("" : "+r"(cb), "+r"(cr), "+r"(limit));
  return {cb, cr, limit};
}

inline Tint tintOf(const Middles &m, int32_t cb, int32_t cr) {
  JPG_ASSERT(cb >= kMinSample && cb <= kMaxSample && cr >= kMinSample && cr <= kMaxSample);
  const ColorPair *b = m.cb + cb;
  const ColorPair *r = m.cr + cr;
  return {m.limit + b->first, m.limit + (b->second + r->first), m.limit + r->second};
}

inline void putPixel(const Tint &tint, int32_t luma, uint8_t *out) {
  JPG_ASSERT(luma >= kMinSample && luma <= kMaxSample);
  out[0] = tint.blue[luma];
  out[1] = tint.green[luma];
  out[2] = tint.red[luma];
}

// Position in one line, or in two lines that share their chroma.
struct YccLines {
  const int16_t *y;   // of the upper line
  const int16_t *cb;  // Cr lies one block further on
  uint8_t *out;       // the upper line's pixels
  uint8_t *below;     // the lower one's, where there is one
};

// Stores the kAcross x kDown pixels of one chroma sample and moves on to the next. toBeside and
// toBelow are the distances from a sample of Y to its right and lower neighbour, in samples.
template <uint32_t kAcross, uint32_t kDown>
[[gnu::always_inline]] inline void putCell(const Middles &m, YccLines *l, uint32_t toBeside,
                                           uint32_t toBelow) {
  const Tint tint = tintOf(m, l->cb[0], l->cb[kBlockSize]);
  putPixel(tint, l->y[0], l->out);
  if (kAcross == 2) putPixel(tint, l->y[toBeside], l->out + 3);
  if (kDown == 2) putPixel(tint, l->y[toBelow], l->below);
  if (kDown == 2 && kAcross == 2) putPixel(tint, l->y[toBelow + toBeside], l->below + 3);
  l->y += kAcross;
  l->cb++;
  l->out += 3 * kAcross;
  l->below += 3 * kAcross;
}

// A whole block of Y at full size.
template <uint32_t kAcross, uint32_t kDown>
void putBlock(const int16_t *y, const int16_t *cb, uint8_t *out, ptrdiff_t stride) {
  const Middles m = middles();
  YccLines l = {y, cb, out, out + stride};
  const ptrdiff_t toNext = stride * ptrdiff_t{kDown} - 3 * ptrdiff_t{kRowLength};
  for (uint32_t rows = 8 / kDown; rows != 0; rows--) {
    for (uint32_t pairs = 8 / kAcross / 2; pairs != 0; pairs--) {
      putCell<kAcross, kDown>(m, &l, 1, kRowLength);
      putCell<kAcross, kDown>(m, &l, 1, kRowLength);
    }
    l.y += kRowLength * (kDown - 1);
    l.cb += kRowLength - 8 / kAcross;
    l.out += toNext;
    l.below += toNext;
  }
}

template <uint32_t kAcross, uint32_t kDown>
void putWhole(const int16_t *blocks, uint8_t *out, ptrdiff_t stride) {
  const int16_t *y = blocks;
  const int16_t *cb = blocks + kBlockSize * kAcross * kDown;
  for (uint32_t v = 0; v < kDown; v++, out += 8 * stride, cb += kBlockSize / kDown) {
    putBlock<kAcross, kDown>(y, cb, out, stride);
    y += kBlockSize;
    if (kAcross == 1) continue;
    putBlock<kAcross, kDown>(y, cb + 8 / kAcross, out + ptrdiff_t{3} * kRowLength, stride);
    y += kBlockSize;
  }
}

// Lines of any length at any scale, whose cells of Y lie in blocks side by side. toBelow is the
// distance from a line of Y to the one below it, in samples.
template <uint32_t kAcross, uint32_t kDown>
void putLines(YccLines l, uint32_t columns, uint32_t cell, uint32_t toBelow) {
  const Middles m = middles();
  // With cells of one sample, the right neighbour is in the next block.
  const uint32_t toBeside = cell > 1 ? 1 : kBlockSize;
  const uint32_t together = cell > kAcross ? cell : kAcross;
  for (;;) {
    const uint32_t n = columns < together ? columns : together;
    for (uint32_t left = n / kAcross; left != 0; left--) {
      putCell<kAcross, kDown>(m, &l, toBeside, toBelow);
    }
    if (n % kAcross != 0) putCell<1, kDown>(m, &l, 0, toBelow);
    columns -= n;
    if (columns == 0) return;
    l.y += kBlockSize - together;
  }
}

template <uint32_t kAcross, uint32_t kDown>
void putPart(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows, uint32_t columns,
             uint32_t cell) {
  const int16_t *chroma = blocks + kBlockSize * kAcross * kDown;
  const uint32_t toBelow = cell > 1 ? kRowLength : kBlockSize * kAcross;
  for (uint32_t r = 0; r < rows; r += kDown, out += stride * ptrdiff_t{kDown}) {
    const int16_t *y = blocks + kBlockSize * kAcross * (r / cell) + kRowLength * (r % cell);
    const YccLines lines = {y, chroma + kRowLength * (r / kDown), out, out + stride};
    if (r + kDown <= rows) {
      putLines<kAcross, kDown>(lines, columns, cell, toBelow);
    } else {
      putLines<kAcross, 1>(lines, columns, cell, toBelow);
    }
  }
}

template <uint32_t kAcross, uint32_t kDown, uint32_t kCell>
void putYcc(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
            uint32_t columns) {
  if (kCell == kFullCell && rows == 8 * kDown && columns == 8 * kAcross) {
    putWhole<kAcross, kDown>(blocks, out, stride);
  } else {
    putPart<kAcross, kDown>(blocks, out, stride, rows, columns, kCell);
  }
}

void putGrayRow(const int16_t *y, uint8_t *out) {
  out[0] = toByte(y[0]);
  out[1] = toByte(y[1]);
  out[2] = toByte(y[2]);
  out[3] = toByte(y[3]);
  out[4] = toByte(y[4]);
  out[5] = toByte(y[5]);
  out[6] = toByte(y[6]);
  out[7] = toByte(y[7]);
}

}  // namespace

void portablePutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                     uint32_t columns) {
  for (uint32_t r = 0; r < rows; r++, out += stride, blocks += kRowLength) {
    if (columns == kFullCell) {
      putGrayRow(blocks, out);
    } else {
      for (uint32_t x = 0; x < columns; x++) out[x] = toByte(blocks[x]);
    }
  }
}

constexpr YccKernels portablePutYcc1 = {{putYcc<1, 1, 1>, putYcc<1, 2, 1>},
                                        {putYcc<2, 1, 1>, putYcc<2, 2, 1>}};
constexpr YccKernels portablePutYcc2 = {{putYcc<1, 1, 2>, putYcc<1, 2, 2>},
                                        {putYcc<2, 1, 2>, putYcc<2, 2, 2>}};
constexpr YccKernels portablePutYcc4 = {{putYcc<1, 1, 4>, putYcc<1, 2, 4>},
                                        {putYcc<2, 1, 4>, putYcc<2, 2, 4>}};
constexpr YccKernels portablePutYcc8 = {{putYcc<1, 1, 8>, putYcc<1, 2, 8>},
                                        {putYcc<2, 1, 8>, putYcc<2, 2, 8>}};

}  // namespace jpg
