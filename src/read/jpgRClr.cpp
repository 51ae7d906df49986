// SPDX-License-Identifier: MIT
#include "read/jpgRClr.h"

#include "share/jpgAssert.h"
#include "share/jpgSamples.h"

namespace jpg {
namespace {

// Width and height of a cell, in samples.
uint32_t cellOf(const JpgContext &c) { return 1U << c.scanState; }

// ---- Expansion --------------------------------------------------------------

constexpr uint32_t kFactors1x1 = 0x11;  // sampling bytes
constexpr uint32_t kFactors1x2 = 0x12;
constexpr uint32_t kFactors2x1 = 0x21;

// Position of an expansion routine, which goes component by component.
struct Expansion {
  int16_t *source;   // next coded block
  int16_t *scratch;  // next free scratch block
  int16_t **map;     // the component's pointers
  uint32_t cell;     // samples of a cell, both ways
};

Expansion beginExpansion(JpgContext *c) {
  return {c->coefBuffer, c->scratchBlocks, c->blockMapA, cellOf(*c)};
}

// Lists the component's next `count` blocks as they are.
void takeBlocks(Expansion *e, uint32_t count) {
  for (uint32_t i = 0; i < count; i++) {
    *e->map++ = e->source;
    e->source += kBlockSize;
  }
}

// Lists `count` blocks of the scratch and returns the first.
int16_t *takeScratch(Expansion *e, uint32_t count) {
  int16_t *first = e->scratch;
  for (uint32_t i = 0; i < count; i++) {
    *e->map++ = e->scratch;
    e->scratch += kBlockSize;
  }
  return first;
}

// Fills a cell of `out`, n x n samples in the block's top-left corner: each sample at
// `in` is repeated `across` times and each row `down` times (1 or 2).
void replicate(const int16_t *in, int16_t *out, uint32_t n, uint32_t across, uint32_t down) {
  for (uint32_t y = 0; y < n; y++) {
    const int16_t *row = in + kRowLength * (y / down);
    for (uint32_t x = 0; x < n; x++) out[kRowLength * y + x] = row[x / across];
  }
}

// Expands a cell to a left and a right one of doubled width.
void doubleAcross(const int16_t *in, int16_t *left, int16_t *right, uint32_t n) {
  replicate(in, left, n, 2, 1);
  replicate(in + n / 2, right, n, 2, 1);
}

// Expands a cell to an upper and a lower one of doubled height.
void doubleDown(const int16_t *in, int16_t *upper, int16_t *lower, uint32_t n) {
  replicate(in, upper, n, 1, 2);
  replicate(in + kRowLength * (n / 2), lower, n, 1, 2);
}

// Expands a cell to four of doubled width and height, in raster order.
void doubleBoth(const int16_t *in, int16_t *out, uint32_t n) {
  const int16_t *lower = in + kRowLength * (n / 2);
  replicate(in, out, n, 2, 2);
  replicate(in + n / 2, out + kBlockSize, n, 2, 2);
  replicate(lower, out + 2 * kBlockSize, n, 2, 2);
  replicate(lower + n / 2, out + 3 * kBlockSize, n, 2, 2);
}

// A component of a 2x1 or 1x2 MCU; with other factors than 1x1 it has both blocks.
void expandIntoTwo(Expansion *e, uint32_t factors, bool across) {
  if (factors != kFactors1x1) {
    takeBlocks(e, 2);
    return;
  }
  const int16_t *in = e->source;
  int16_t *out = takeScratch(e, 2);
  if (across) {
    doubleAcross(in, out, out + kBlockSize, e->cell);
  } else {
    doubleDown(in, out, out + kBlockSize, e->cell);
  }
  e->source += kBlockSize;
}

// A component of a 2x2 MCU; unsupported factors count as full size.
void expandIntoFour(Expansion *e, uint32_t factors) {
  if (factors != kFactors1x1 && factors != kFactors1x2 && factors != kFactors2x1) {
    takeBlocks(e, 4);
    return;
  }
  const int16_t *in = e->source;
  const int16_t *second = in + kBlockSize;
  int16_t *out = takeScratch(e, 4);
  if (factors == kFactors1x1) {
    doubleBoth(in, out, e->cell);
    e->source += kBlockSize;
    return;
  }
  if (factors == kFactors2x1) {
    doubleDown(in, out, out + 2 * kBlockSize, e->cell);
    doubleDown(second, out + kBlockSize, out + 3 * kBlockSize, e->cell);
  } else {
    doubleAcross(in, out, out + kBlockSize, e->cell);
    doubleAcross(second, out + 2 * kBlockSize, out + 3 * kBlockSize, e->cell);
  }
  e->source += 2 * kBlockSize;
}

// An MCU of two blocks, side by side or stacked.
void expandPair(JpgContext *c, uint32_t sampling, bool across) {
  Expansion e = beginExpansion(c);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    expandIntoTwo(&e, sampling >> 24, across);
  }
}

// ---- Pixels -----------------------------------------------------------------

// One row of a cell, component by component.
template <uint32_t kComponents>
struct CellRow {
  const int16_t *sample[kComponents];
};

// Stores pixels without colour conversion; In is the order of components in memory.
template <uint32_t... In>
struct PutComponents {
  static constexpr uint32_t kBytes = sizeof...(In);
  static constexpr uint32_t kComponents = sizeof...(In);
  static void putRow(const CellRow<kComponents> &row, uint8_t *out, uint32_t n) {
    for (uint32_t i = 0; i < n; i++) ((*out++ = toByte(row.sample[In][i])), ...);
  }
};

// Y, Cb, Cr stored as blue, green, red.
struct PutYccToBgr {
  static constexpr uint32_t kBytes = 3;
  static constexpr uint32_t kComponents = 3;
  static void putRow(const CellRow<kComponents> &row, uint8_t *out, uint32_t n) {
    const uint8_t *limit = jpgPixelLimit.entry + kPixelLimitZero;
    for (uint32_t i = 0; i < n; i++, out += kBytes) {
      const int32_t y = row.sample[0][i];
      const ColorPair cb = jpgCbTable.entry[row.sample[1][i] + kLevelShift];
      const ColorPair cr = jpgCrTable.entry[row.sample[2][i] + kLevelShift];
      out[0] = limit[y + cb.first];
      out[1] = limit[y + cb.second + cr.first];
      out[2] = limit[y + cr.second];
    }
  }
};

// One cell: `rows` rows of `columns` pixels.
template <typename Put>
void putCell(const JpgContext &c, const uint32_t *index, uint8_t *out, int32_t stride,
             uint32_t rows, uint32_t columns) {
  CellRow<Put::kComponents> row;
  for (uint32_t k = 0; k < Put::kComponents; k++) row.sample[k] = c.blockMapA[index[k]];
  for (uint32_t y = 0; y < rows; y++) {
    Put::putRow(row, out + static_cast<ptrdiff_t>(y) * stride, columns);
    for (uint32_t k = 0; k < Put::kComponents; k++) row.sample[k] += kRowLength;
  }
}

// Walks the MCU's cells, left to right and down, as far as the band (rect.height
// rows) and w pixels reach.
template <typename Put>
void putMcu(const JpgContext &c, const JpgRect &rect, int32_t x, int32_t w) {
  const auto cell = static_cast<int32_t>(cellOf(c));
  const uint32_t *indices = c.blockMapB;
  ptrdiff_t offset = ptrdiff_t{x} * int32_t{Put::kBytes};  // of the cells' first pixel
  for (int32_t rows = rect.height; rows > 0; rows -= cell) {
    const uint32_t *index = indices;
    ptrdiff_t column = offset;
    const auto cellRows = static_cast<uint32_t>(rows < cell ? rows : cell);
    for (int32_t left = w; left > 0; left -= cell) {
      const auto cellColumns = static_cast<uint32_t>(left < cell ? left : cell);
      uint8_t *out = static_cast<uint8_t *>(rect.bits) + column;
      putCell<Put>(c, index, out, rect.stride, cellRows, cellColumns);
      index += kMaxComponents;
      column += cell * static_cast<int32_t>(Put::kBytes);
    }
    offset += static_cast<ptrdiff_t>(cell) * rect.stride;
    indices += kMaxComponents * c.hMax;
  }
}

}  // namespace

void jpgExpand1x1(JpgContext *c, uint32_t /*sampling*/) {
  Expansion e = beginExpansion(c);
  takeBlocks(&e, c->numComponents);
}

void jpgExpand2x1(JpgContext *c, uint32_t sampling) { expandPair(c, sampling, true); }

void jpgExpand1x2(JpgContext *c, uint32_t sampling) { expandPair(c, sampling, false); }

void jpgExpand2x2(JpgContext *c, uint32_t sampling) {
  Expansion e = beginExpansion(c);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    expandIntoFour(&e, sampling >> 24);
  }
}

void jpgPutGray(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0>>(*c, *rect, x, w);
}

void jpgPutTwo(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0, 1>>(*c, *rect, x, w);
}

void jpgPutThree(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0, 1, 2>>(*c, *rect, x, w);
}

void jpgPutThreeReversed(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<2, 1, 0>>(*c, *rect, x, w);
}

void jpgPutFour(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutComponents<0, 1, 2, 3>>(*c, *rect, x, w);
}

void jpgPutYccToBgr(const JpgContext *c, const JpgRect *rect, int32_t x, int32_t w) {
  putMcu<PutYccToBgr>(*c, *rect, x, w);
}

uint32_t samplingWord(const JpgContext &c) {
  const uint32_t shift = 32 - 8 * c.numComponents;
  return shift >= 32 ? 0 : c.samplingPacked << shift;
}

ExpandRoutine chooseExpand(const JpgContext &c) {
  switch (c.hvMax) {
    case 1:
      return jpgExpand1x1;
    case 2:
      return c.hMax == 2 ? jpgExpand2x1 : jpgExpand1x2;
    case 4:
      return jpgExpand2x2;
    default:
      return nullptr;
  }
}

PixelFormat chooseRawFormat(const JpgContext &c, const JpgRect &rect) {
  static constexpr PixelFormat kFormats[kMaxComponents] = {PixelFormat::kGray, PixelFormat::kTwo,
                                                           PixelFormat::kThree, PixelFormat::kFour};
  const uint32_t n = c.numComponents;
  return rect.bitsPerPixel / 8 == static_cast<int32_t>(n) ? kFormats[n - 1] : PixelFormat::kNone;
}

PixelFormat chooseFormat(const JpgContext &c) {
  if (c.numComponents == 3 && (c.flags & kFlagYcbcrToRgb) == 0) return PixelFormat::kThreeReversed;
  return chooseProgressiveFormat(c);
}

PixelFormat chooseProgressiveFormat(const JpgContext &c) {
  return c.numComponents < 3 ? PixelFormat::kGray : PixelFormat::kYccToBgr;
}

PixelWriter writerOf(PixelFormat format) {
  static constexpr PixelWriter kWriters[] = {
      nullptr, jpgPutGray, jpgPutTwo, jpgPutThree, jpgPutFour, jpgPutThreeReversed, jpgPutYccToBgr};
  return kWriters[static_cast<uint32_t>(format)];
}

}  // namespace jpg
