// Pixels of an MCU straight from its blocks: what the expansion and pixel output of
// src/read make of them, without the blocks in between.
#include "kernels/plain/jpgPlainPut.h"

#include "read/jpgRCell.h"

namespace jpg {
namespace {

// What a chroma sample makes of a limited Y, -128..127: a pixel's colours.
struct Tint {
  const uint8_t *blue, *green, *red;
};

// The tables' middles. Compilers would otherwise add the distance again for each pixel.
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
  const ColorPair *b = m.cb + cb;
  const ColorPair *r = m.cr + cr;
  return {m.limit + b->first, m.limit + (b->second + r->first), m.limit + r->second};
}

inline void putPixel(const Tint &tint, int32_t luma, uint8_t *out) {
  out[0] = tint.blue[luma];
  out[1] = tint.green[luma];
  out[2] = tint.red[luma];
}

// Lines that share their chroma, from a chroma sample on.
struct YccLines {
  const int16_t *y;   // of the upper line
  const int16_t *cb;  // that of cr lies a block behind it
  uint8_t *out;       // the upper line's pixels
  uint8_t *below;     // the lower one's, where there is one
};

// Moves over the pixels of one chroma sample, kAcross x kDown of them. From a sample of Y to its
// neighbours it is kBeside and kBelow samples.
template <uint32_t kAcross, uint32_t kDown, uint32_t kBeside, uint32_t kBelow>
[[gnu::always_inline]] inline void putCell(const Middles &m, YccLines *l) {
  const Tint tint = tintOf(m, l->cb[0], l->cb[kBlockSize]);
  putPixel(tint, l->y[0], l->out);
  if (kAcross == 2) putPixel(tint, l->y[kBeside], l->out + 3);
  if (kDown == 2) putPixel(tint, l->y[kBelow], l->below);
  if (kDown == 2 && kAcross == 2) putPixel(tint, l->y[kBelow + kBeside], l->below + 3);
  l->y += kAcross;
  l->cb++;
  l->out += 3 * kAcross;
  l->below += 3 * kAcross;
}

// The pixels of kDown lines; cells of Y lie side by side, kBlocksAcross of them.
template <uint32_t kAcross, uint32_t kDown, uint32_t kCell, uint32_t kBlocksAcross>
inline void putYccLines(const Middles &m, YccLines l, uint32_t columns) {
  constexpr uint32_t kBelow = kCell > 1 ? kRowLength : kBlockSize * kBlocksAcross;
  // A cell of one sample shares its chroma with the cell beside it.
  constexpr uint32_t kBeside = kCell > 1 ? 1 : kBlockSize;
  constexpr uint32_t kTogether = kCell > kAcross ? kCell : kAcross;
  for (;;) {
    const uint32_t n = columns < kTogether ? columns : kTogether;
    for (uint32_t left = n / kAcross; left != 0; left--) {
      putCell<kAcross, kDown, kBeside, kBelow>(m, &l);
    }
    if (n % kAcross != 0) putCell<1, kDown, kBeside, kBelow>(m, &l);
    columns -= n;
    if (columns == 0) return;
    l.y += kBlockSize - kTogether;
  }
}

template <uint32_t kAcross, uint32_t kDown, uint32_t kCell>
void putYcc(const int16_t *blocks, uint8_t *out, ptrdiff_t stride, uint32_t rows,
            uint32_t columns) {
  const Middles m = middles();
  const int16_t *chroma = blocks + kBlockSize * kAcross * kDown;
  for (uint32_t r = 0; r < rows; r += kDown, out += stride * ptrdiff_t{kDown}) {
    const int16_t *y = blocks + kBlockSize * kAcross * (r / kCell) + kRowLength * (r % kCell);
    const int16_t *cb = chroma + kRowLength * (r / kDown);
    const YccLines lines = {y, cb, out, out + stride};
    if (r + kDown <= rows) {
      putYccLines<kAcross, kDown, kCell, kAcross>(m, lines, columns);
    } else {
      putYccLines<kAcross, 1, kCell, kAcross>(m, lines, columns);
    }
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
