// Pixels of an MCU straight from its blocks: what the expansion and pixel output of
// src/read make of them, without the blocks in between.
#include "kernels/plain/jpgPlainPut.h"

#include "read/jpgRCell.h"

namespace jpg {
namespace {

// A row of pixels: kAcross cells of Y side by side, replicated chroma.
template <uint32_t kAcross, uint32_t kCell>
void putYccRow(const int16_t *y, const int16_t *cb, const int16_t *cr, uint8_t *out,
               uint32_t columns) {
  const uint8_t *limit = jpgPixelLimit.entry + kPixelLimitZero;
  for (uint32_t x = 0; x < columns; x++, out += 3) {
    const int32_t luma = y[x % kCell + kBlockSize * (x / kCell)];
    const ColorPair b = jpgCbTable.entry[cb[x / kAcross] + kLevelShift];
    const ColorPair r = jpgCrTable.entry[cr[x / kAcross] + kLevelShift];
    out[0] = limit[luma + b.first];
    out[1] = limit[luma + b.second + r.first];
    out[2] = limit[luma + r.second];
  }
}

template <uint32_t kAcross, uint32_t kDown, uint32_t kCell>
void putYcc(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
            uint32_t columns) {
  const int16_t *chroma = blocks + kBlockSize * kAcross * kDown;
  for (uint32_t r = 0; r < rows; r++, out += stride) {
    const int16_t *y = blocks + kBlockSize * kAcross * (r / kCell) + kRowLength * (r % kCell);
    const int16_t *cb = chroma + kRowLength * (r / kDown);
    putYccRow<kAcross, kCell>(y, cb, cb + kBlockSize, out, columns);
  }
}

}  // namespace

void plainPutGray(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
                  uint32_t columns) {
  for (uint32_t r = 0; r < rows; r++, out += stride) {
    for (uint32_t x = 0; x < columns; x++) out[x] = toByte(blocks[kRowLength * r + x]);
  }
}

constexpr YccKernels plainPutYcc1 = {{putYcc<1, 1, 1>, putYcc<1, 2, 1>},
                                     {putYcc<2, 1, 1>, putYcc<2, 2, 1>}};
constexpr YccKernels plainPutYcc2 = {{putYcc<1, 1, 2>, putYcc<1, 2, 2>},
                                     {putYcc<2, 1, 2>, putYcc<2, 2, 2>}};
constexpr YccKernels plainPutYcc4 = {{putYcc<1, 1, 4>, putYcc<1, 2, 4>},
                                     {putYcc<2, 1, 4>, putYcc<2, 2, 4>}};
constexpr YccKernels plainPutYcc8 = {{putYcc<1, 1, 8>, putYcc<1, 2, 8>},
                                     {putYcc<2, 1, 8>, putYcc<2, 2, 8>}};

}  // namespace jpg
