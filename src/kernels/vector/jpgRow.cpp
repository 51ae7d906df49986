// SPDX-License-Identifier: MIT
// Rows of pixels from planes of samples, as portable/jpgRow.cpp makes them, sixteen pixels at a
// time: those of even and of odd columns apart.
#include <string.h>

#include "kernels/vector/jpgChroma.h"
#include "kernels/vector/jpgVector.h"

namespace jpg {
namespace vec {
namespace {

constexpr uint32_t kPixels = 16;
constexpr uint32_t kPixelBytes = 3;

JPG_VEC Words thrice(Words w) { return w + w + w; }

// Samples of a component, one for two pixels, weighted by the row's distance.
template <bool kBlendsRows>
JPG_VEC Words samplesAt(const uint8_t *first, const uint8_t *second) {
  const Words w = loadEightBytes(first);
  if constexpr (kBlendsRows) return thrice(w) + loadEightBytes(second);
  return w;
}

// A component's values of sixteen columns, of which each has its own.
template <bool kBlendsRows>
JPG_VEC Sixteen singles(const uint8_t *first, const uint8_t *second, bool oddRow) {
  const Sixteen a = sixteen(loadBytes(first));
  if constexpr (!kBlendsRows) return a;
  const Sixteen b = sixteen(loadBytes(second));
  const Words tie = words(oddRow ? 2 : 1);
  return {shiftRight<2>(thrice(a.even) + b.even + tie), shiftRight<2>(thrice(a.odd) + b.odd + tie)};
}

// The same where two columns share a sample; sums are rounded as the portable routine does.
template <bool kInterpolates, bool kBlendsRows>
JPG_VEC Sixteen doubles(const uint8_t *first, const uint8_t *second) {
  const Words w = samplesAt<kBlendsRows>(first, second);
  if constexpr (!kInterpolates) return {ordered(w), ordered(w)};
  const Words before = samplesAt<kBlendsRows>(first - 1, second - 1);
  const Words behind = samplesAt<kBlendsRows>(first + 1, second + 1);
  constexpr int kShift = kBlendsRows ? 4 : 2;
  const Words three = thrice(w);
  return {ordered(shiftRight<kShift>(three + before + words(kBlendsRows ? 8 : 1))),
          ordered(shiftRight<kShift>(three + behind + words(kBlendsRows ? 7 : 2)))};
}

template <bool kInterpolates, int kAcross, int kDown>
JPG_VEC SixteenPixels pixelsAt(const YccRow &row, uint32_t x) {
  constexpr bool kBlendsRows = kInterpolates && kDown == 2;
  const auto chroma = [&](int k) {
    const uint8_t *first = row.first[k] + x / kAcross, *second = row.second[k] + x / kAcross;
    const Sixteen s = kAcross == 1 ? singles<kBlendsRows>(first, second, row.odd)
                                   : doubles<kInterpolates, kBlendsRows>(first, second);
    return Sixteen{s.even - words(128), s.odd - words(128)};
  };
  const Sixteen cb = chroma(0), cr = chroma(1);
  return pixelsOf(sixteen(loadBytes(row.y + x)), offsetsOf<0>(cb.even, cr.even),
                  offsetsOf<0>(cb.odd, cr.odd));
}

template <bool kInterpolates, int kAcross, int kDown>
void putYccRow(const YccRow &row, uint8_t *out, uint32_t columns) {
  uint32_t x = 0;
  for (; x + kPixels <= columns; x += kPixels) {
    const SixteenPixels p = pixelsAt<kInterpolates, kAcross, kDown>(row, x);
    storePixels(out + kPixelBytes * x, p.blue, p.green, p.red);
  }
  if (x == columns) return;
  uint8_t rest[kPixelBytes * kPixels];
  const SixteenPixels p = pixelsAt<kInterpolates, kAcross, kDown>(row, x);
  storePixels(rest, p.blue, p.green, p.red);
  memcpy(out + kPixelBytes * x, rest, kPixelBytes * (columns - x));
}

}  // namespace
}  // namespace vec

constexpr YccRowKernels vectorPutYccRow = {
    {{vec::putYccRow<false, 1, 1>, vec::putYccRow<false, 1, 1>},
     {vec::putYccRow<false, 2, 1>, vec::putYccRow<false, 2, 1>}},
    {{vec::putYccRow<false, 1, 1>, vec::putYccRow<true, 1, 2>},
     {vec::putYccRow<true, 2, 1>, vec::putYccRow<true, 2, 2>}}};

}  // namespace jpg
