#include "read/jpgRClr.h"

namespace jpg {
namespace {

constexpr int32_t kLevelShift = 128;
constexpr uint32_t kCellSize = 8;       // pixels, both ways
constexpr uint32_t kFactors1x1 = 0x11;  // sampling bytes
constexpr uint32_t kFactors1x2 = 0x12;
constexpr uint32_t kFactors2x1 = 0x21;

// ---- Constant tables ------------------------------------------------------

// value * numerator / 100000, the nearest integer, halves away from zero.
constexpr int32_t scaleRounded(int32_t value, int32_t numerator) {
  constexpr int32_t kDenominator = 100000;
  const int32_t product = value * numerator;
  const int32_t half = product < 0 ? -kDenominator / 2 : kDenominator / 2;
  return (product + half) / kDenominator;
}

constexpr ColorTable makeColorTable(int32_t first, int32_t second) {
  ColorTable t{};
  for (int32_t i = 0; i < 256; i++) {
    t.entry[i] = {scaleRounded(i - kLevelShift, first), scaleRounded(i - kLevelShift, second)};
  }
  return t;
}

constexpr PixelLimitTable makePixelLimit() {
  PixelLimitTable t{};
  for (int32_t i = 0; i < 1280; i++) {
    const int32_t v = i - 512;
    t.entry[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
  }
  return t;
}

// ---- Expansion ------------------------------------------------------------

// What an expansion routine walks through, component by component.
struct Expansion {
  int16_t *source;   // next coded block
  int16_t *scratch;  // next free scratch block
  int16_t **map;     // the component's pointers
};

Expansion beginExpansion(JpgContext *c) { return {c->coefBuffer, c->scratchBlocks, c->blockMapA}; }

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

// Writes the 4 rows x 4 columns at `in`, each sample repeated `across` times and
// each row `down` times, into a block. across and down are 1 or 2; a direction
// that isn't repeated takes 8 samples.
void replicate(const int16_t *in, int16_t *out, uint32_t across, uint32_t down) {
  for (uint32_t y = 0; y < 8; y++) {
    const int16_t *row = in + 8 * (y / down);
    for (uint32_t x = 0; x < 8; x++) out[8 * y + x] = row[x / across];
  }
}

constexpr uint32_t kRightHalf = 4;      // columns 4-7 of a block
constexpr uint32_t kLowerHalf = 4 * 8;  // rows 4-7

// Replaces one block by a left and a right one of doubled width.
void doubleAcross(const int16_t *in, int16_t *left, int16_t *right) {
  replicate(in, left, 2, 1);
  replicate(in + kRightHalf, right, 2, 1);
}

void doubleDown(const int16_t *in, int16_t *upper, int16_t *lower) {
  replicate(in, upper, 1, 2);
  replicate(in + kLowerHalf, lower, 1, 2);
}

void doubleBoth(const int16_t *in, int16_t *out) {
  replicate(in, out, 2, 2);
  replicate(in + kRightHalf, out + kBlockSize, 2, 2);
  replicate(in + kLowerHalf, out + 2 * kBlockSize, 2, 2);
  replicate(in + kLowerHalf + kRightHalf, out + 3 * kBlockSize, 2, 2);
}

// A component of a 2x2 MCU; factors that no layout serves count as full size.
void expandInto2x2(Expansion *e, uint32_t factors) {
  if (factors != kFactors1x1 && factors != kFactors1x2 && factors != kFactors2x1) {
    takeBlocks(e, 4);
    return;
  }
  const int16_t *in = e->source;
  int16_t *out = takeScratch(e, 4);
  if (factors == kFactors1x1) {
    doubleBoth(in, out);
    e->source += kBlockSize;
    return;
  }
  const int16_t *second = in + kBlockSize;
  if (factors == kFactors2x1) {
    doubleDown(in, out, out + 2 * kBlockSize);
    doubleDown(second, out + kBlockSize, out + 3 * kBlockSize);
  } else {
    doubleAcross(in, out, out + kBlockSize);
    doubleAcross(second, out + 2 * kBlockSize, out + 3 * kBlockSize);
  }
  e->source += 2 * kBlockSize;
}

// ---- Pixel writers --------------------------------------------------------

uint8_t toByte(int16_t sample) { return static_cast<uint8_t>(sample + kLevelShift); }

// One row of up to 8 pixels of a cell: the components' samples.
template <uint32_t kComponents>
struct CellRow {
  const int16_t *sample[kComponents];
};

// Pixel storage by component count; In is the order of components in memory.
template <uint32_t... In>
struct PutComponents {
  static constexpr uint32_t kBytes = sizeof...(In);
  static constexpr uint32_t kComponents = sizeof...(In);
  static void putRow(const CellRow<kComponents> &row, uint8_t *out, uint32_t n) {
    for (uint32_t i = 0; i < n; i++) ((*out++ = toByte(row.sample[In][i])), ...);
  }
};

struct PutYcc {
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

// One cell: `rows` rows of `columns` pixels, each at most 8.
template <typename Put>
void putCell(const JpgContext &c, const uint32_t *cell, uint8_t *out, int32_t stride, uint32_t rows,
             uint32_t columns) {
  CellRow<Put::kComponents> row;
  for (uint32_t k = 0; k < Put::kComponents; k++) row.sample[k] = c.blockMapA[cell[k]];
  for (uint32_t y = 0; y < rows; y++) {
    Put::putRow(row, out + static_cast<ptrdiff_t>(y) * stride, columns);
    for (uint32_t k = 0; k < Put::kComponents; k++) row.sample[k] += kCellSize;
  }
}

uint32_t atMostCell(int32_t n) {
  return n < static_cast<int32_t>(kCellSize) ? static_cast<uint32_t>(n) : kCellSize;
}

// Walks the MCU's cells, left to right and down, as far as the band and w reach.
template <typename Put>
void putMcu(const JpgContext &c, const JpgRect &rect, int32_t x, int32_t w) {
  constexpr int32_t kStep = kCellSize;
  const uint32_t *cells = c.blockMapB;
  const ptrdiff_t stride = rect.stride;
  ptrdiff_t offset = static_cast<ptrdiff_t>(x) * Put::kBytes;  // of the cells' first pixel
  for (int32_t rows = rect.height; rows > 0; rows -= kStep) {
    const uint32_t *cell = cells;
    ptrdiff_t column = offset;
    for (int32_t left = w; left > 0; left -= kStep) {
      uint8_t *out = static_cast<uint8_t *>(rect.bits) + column;
      putCell<Put>(c, cell, out, rect.stride, atMostCell(rows), atMostCell(left));
      cell += kMaxComponents;
      column += kStep * static_cast<int32_t>(Put::kBytes);
    }
    offset += kStep * stride;
    cells += kMaxComponents * c.hMax;
  }
}

}  // namespace

constexpr ColorTable jpgCbTable = makeColorTable(177200, -34414);
constexpr ColorTable jpgCrTable = makeColorTable(-71414, 140200);
constexpr PixelLimitTable jpgPixelLimit = makePixelLimit();

void jpgExpand1x1(JpgContext *c, uint32_t /*sampling*/) {
  Expansion e = beginExpansion(c);
  takeBlocks(&e, c->numComponents);
}

void jpgExpand2x1(JpgContext *c, uint32_t sampling) {
  Expansion e = beginExpansion(c);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    if (sampling >> 24 != kFactors1x1) {
      takeBlocks(&e, 2);
      continue;
    }
    int16_t *out = takeScratch(&e, 2);
    doubleAcross(e.source, out, out + kBlockSize);
    e.source += kBlockSize;
  }
}

void jpgExpand1x2(JpgContext *c, uint32_t sampling) {
  Expansion e = beginExpansion(c);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    if (sampling >> 24 != kFactors1x1) {
      takeBlocks(&e, 2);
      continue;
    }
    int16_t *out = takeScratch(&e, 2);
    doubleDown(e.source, out, out + kBlockSize);
    e.source += kBlockSize;
  }
}

void jpgExpand2x2(JpgContext *c, uint32_t sampling) {
  Expansion e = beginExpansion(c);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    expandInto2x2(&e, sampling >> 24);
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
  putMcu<PutYcc>(*c, *rect, x, w);
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

PixelWriter chooseRawWriter(const JpgContext &c, const JpgRect &rect) {
  constexpr PixelWriter kWriters[kMaxComponents] = {jpgPutGray, jpgPutTwo, jpgPutThree, jpgPutFour};
  const uint32_t n = c.numComponents;
  if (n < 1 || n > kMaxComponents || rect.bitsPerPixel / 8 != static_cast<int32_t>(n)) {
    return nullptr;
  }
  return kWriters[n - 1];
}

PixelWriter choosePixelWriter(const JpgContext &c, const JpgRect &rect) {
  if ((c.flags & kFlagNoColorConversion) != 0) return chooseRawWriter(c, rect);
  if (c.numComponents < 3) return jpgPutGray;
  const bool reversed = c.numComponents == 3 && (c.flags & kFlagYcbcrToRgb) == 0;
  return reversed ? jpgPutThreeReversed : jpgPutYccToBgr;
}

}  // namespace jpg
