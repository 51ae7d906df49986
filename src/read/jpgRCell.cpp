#include "read/jpgRCell.h"

namespace jpg {
namespace {

constexpr uint32_t kFactors1x1 = 0x11;  // sampling bytes
constexpr uint32_t kFactors1x2 = 0x12;
constexpr uint32_t kFactors2x1 = 0x21;

// What an expansion routine walks through, component by component.
struct Expansion {
  int16_t *source;   // next coded block
  int16_t *scratch;  // next free scratch block
  int16_t **map;     // the component's pointers
  uint32_t cell;     // samples of a cell, both ways
};

Expansion beginExpansion(JpgContext *c, uint32_t cell) {
  return {c->coefBuffer, c->scratchBlocks, c->blockMapA, cell};
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

// Replaces one cell by a left and a right one of doubled width.
void doubleAcross(const int16_t *in, int16_t *left, int16_t *right, uint32_t n) {
  replicate(in, left, n, 2, 1);
  replicate(in + n / 2, right, n, 2, 1);
}

// By an upper and a lower one of doubled height.
void doubleDown(const int16_t *in, int16_t *upper, int16_t *lower, uint32_t n) {
  replicate(in, upper, n, 1, 2);
  replicate(in + kRowLength * (n / 2), lower, n, 1, 2);
}

// By four, in raster order.
void doubleBoth(const int16_t *in, int16_t *out, uint32_t n) {
  const int16_t *lower = in + kRowLength * (n / 2);
  replicate(in, out, n, 2, 2);
  replicate(in + n / 2, out + kBlockSize, n, 2, 2);
  replicate(lower, out + 2 * kBlockSize, n, 2, 2);
  replicate(lower + n / 2, out + 3 * kBlockSize, n, 2, 2);
}

// A component of a 2x1 or 1x2 MCU; other factors than 1x1 have both blocks.
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

// A component of a 2x2 MCU; factors that no layout serves count as full size.
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

}  // namespace

void expandSingle(JpgContext *c) {
  Expansion e = beginExpansion(c, kFullCell);
  takeBlocks(&e, c->numComponents);
}

void expandPair(JpgContext *c, uint32_t sampling, bool across, uint32_t cell) {
  Expansion e = beginExpansion(c, cell);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    expandIntoTwo(&e, sampling >> 24, across);
  }
}

void expandQuad(JpgContext *c, uint32_t sampling, uint32_t cell) {
  Expansion e = beginExpansion(c, cell);
  for (uint32_t i = 0; i < c->numComponents; i++, sampling <<= 8) {
    expandIntoFour(&e, sampling >> 24);
  }
}

}  // namespace jpg
