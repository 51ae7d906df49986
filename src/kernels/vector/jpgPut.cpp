// SPDX-License-Identifier: MIT
// Pixels of an MCU from its blocks: the colour conversion and chroma replication of jpgRClr.cpp.
// Sixteen pixels are made at a time: a line of two blocks, or two lines of up to eight columns.
#include <string.h>

#include "kernels/vector/jpgChroma.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {
namespace vec {
namespace {

constexpr uint32_t kBlockRow = 8;    // samples from a block's row to the next
constexpr uint32_t kBlockSize = 64;  // samples of a block
constexpr uint32_t kPixelBytes = 3;
constexpr int kLevel = 128;  // what is added to samples for bytes

// Places for lines that are stored in part only.
struct Spare {
  uint8_t line[2][kPixelBytes * 2 * kBlockRow];
};

// Sixteen columns: lines of two blocks of Y side by side.
template <uint32_t kDown>
void putWide(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
             uint32_t columns) {
  const int16_t *cb = blocks + kBlockSize * 2 * kDown, *cr = cb + kBlockSize;
  const bool whole = columns == 2 * kBlockRow;
  Spare spare;
  Offsets o = {};
  for (uint32_t r = 0; r < rows; r++, out += stride) {
    const uint32_t at = kBlockRow * (r / kDown);
    if (r % kDown == 0) o = offsetsOf<kLevel>(ordered(load(cb + at)), ordered(load(cr + at)));
    const int16_t *line = blocks + kBlockRow * r + (r < 8 ? 0 : kBlockSize);
    const Sixteen y = sixteen(load(line), load(line + kBlockSize));
    const SixteenPixels p = pixelsOf(y, o, o);
    storePixels(whole ? out : spare.line[0], p.blue, p.green, p.red);
    if (!whole) memcpy(out, spare.line[0], kPixelBytes * columns);
  }
}

// The samples of Y in a line of cells of kCell both ways.
template <uint32_t kAcross, uint32_t kCell>
JPG_VEC Words lumaOf(const int16_t *blocks, uint32_t row) {
  const int16_t *y = blocks + kBlockSize * kAcross * (row / kCell) + kBlockRow * (row % kCell);
  if (kAcross == 1) return load(y);
  if (kCell == 2) return loadTwo(y, y + kBlockSize);
  return lowHalves(load(y), load(y + kBlockSize));
}

// The chroma samples of a line, one for each column.
template <uint32_t kAcross, uint32_t kDown>
JPG_VEC Words chromaOf(const int16_t *block, uint32_t row) {
  const Words w = load(block + kBlockRow * (row / kDown));
  return kAcross == 1 ? w : interleaveLow(w, w);
}

// Copies `columns` pixels, at most kMost, of two lines, or of the upper one alone.
template <uint32_t kMost>
void copyLines(const Spare &from, uint8_t *out, ptrdiff_t stride, uint32_t rows, uint32_t columns) {
  const uint32_t lines = rows < 2 ? rows : 2;
  for (uint32_t r = 0; r < lines; r++, out += stride) {
    if (columns == kMost) {
      memcpy(out, from.line[r], kPixelBytes * kMost);  // constant size: no call
    } else {
      memcpy(out, from.line[r], kPixelBytes * columns);
    }
  }
}

// Up to eight columns, two lines at a time.
template <uint32_t kAcross, uint32_t kDown, uint32_t kCell>
void putLines(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
              uint32_t columns) {
  constexpr uint32_t kMost = kAcross * kCell;
  const int16_t *cb = blocks + kBlockSize * kAcross * kDown, *cr = cb + kBlockSize;
  Spare spare;
  for (uint32_t r = 0; r < rows; r += 2, out += 2 * stride) {
    const auto bothLines = [r](const int16_t *block) {
      return sixteen(chromaOf<kAcross, kDown>(block, r), chromaOf<kAcross, kDown>(block, r + 1));
    };
    const Sixteen y =
        sixteen(lumaOf<kAcross, kCell>(blocks, r), lumaOf<kAcross, kCell>(blocks, r + 1));
    const Sixteen b = bothLines(cb), c = bothLines(cr);
    const SixteenPixels p =
        pixelsOf(y, offsetsOf<kLevel>(b.even, c.even), offsetsOf<kLevel>(b.odd, c.odd));
    const bool whole = columns == kBlockRow && rows - r >= 2;
    storeLines(whole ? out : spare.line[0], whole ? out + stride : spare.line[1], p.blue, p.green,
               p.red);
    if (!whole) copyLines<kMost>(spare, out, stride, rows - r, columns);
  }
}

}  // namespace
}  // namespace vec

void vectorPutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                   uint32_t columns) {
  using namespace vec;
  for (uint32_t r = 0; r < rows; r += 2, blocks += 2 * kBlockRow, out += 2 * stride) {
    const Words upper = load(blocks), lower = load(blocks + kBlockRow);
    if (columns == kBlockRow && rows - r >= 2) {
      storeSamples(out, out + stride, upper, lower);
      continue;
    }
    uint8_t line[2][kBlockRow];
    storeSamples(line[0], line[1], upper, lower);
    memcpy(out, line[0], columns);
    if (rows - r >= 2) memcpy(out + stride, line[1], columns);
  }
}

void vectorStoreBlock(const int16_t *block, uint8_t *out, ptrdiff_t stride) {
  vectorPutGray(block, out, stride, vec::kBlockRow, vec::kBlockRow);
}

constexpr YccKernels vectorPutYcc2 = {{vec::putLines<1, 1, 2>, vec::putLines<1, 2, 2>},
                                      {vec::putLines<2, 1, 2>, vec::putLines<2, 2, 2>}};
constexpr YccKernels vectorPutYcc4 = {{vec::putLines<1, 1, 4>, vec::putLines<1, 2, 4>},
                                      {vec::putLines<2, 1, 4>, vec::putLines<2, 2, 4>}};
constexpr YccKernels vectorPutYcc8 = {{vec::putLines<1, 1, 8>, vec::putLines<1, 2, 8>},
                                      {vec::putWide<1>, vec::putWide<2>}};

}  // namespace jpg
