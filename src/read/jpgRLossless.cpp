// SPDX-License-Identifier: MIT
#include "read/jpgRLossless.h"

#include <string.h>

#include "read/jpgRLenient.h"
#include "share/jpgArith.h"
#include "share/jpgHeap.h"
#include "share/jpgSpatial.h"

namespace jpg {
namespace {

// How a row's samples become pixels.
struct PixelOrder {
  uint32_t count;                  // samples of a pixel
  uint8_t source[kMaxComponents];  // component of each
};

bool chooseOrder(const JpgContext &c, const JpgRect &rect, PixelOrder *order) {
  constexpr PixelOrder kGray = {1, {0, 0, 0, 0}}, kReversed = {3, {2, 1, 0, 0}};
  const uint32_t sampleBits = 8 * sampleBytes(c.precision);
  const bool fits = rect.bitsPerPixel == static_cast<int32_t>(sampleBits * c.numComponents);
  const bool raw = (c.flags & kFlagNoColorConversion) != 0;
  if (sampleBits > 8 && rect.bitsPerSample != 16) return false;
  *order = c.numComponents == 3 ? kReversed : kGray;
  if (!raw && c.numComponents <= 3) return true;
  *order = {c.numComponents, {0, 1, 2, 3}};
  return fits;
}

template <typename Sample>
void putPixels(const uint8_t *in, uint32_t components, const PixelOrder &order, uint8_t *out,
               uint32_t columns) {
  for (uint32_t x = 0; x < columns; x++, in += components * sizeof(Sample)) {
    for (uint32_t i = 0; i < order.count; i++, out += sizeof(Sample)) {
      memcpy(out, in + order.source[i] * sizeof(Sample), sizeof(Sample));
    }
  }
}

void putRow(const JpgContext &c, const uint8_t *row, const PixelOrder &order, uint8_t *out,
            int32_t width) {
  if (width <= 0) return;
  const uint32_t columns = asUnsigned(width) < c.width ? asUnsigned(width) : c.width;
  const auto put = sampleBytes(c.precision) == 1 ? putPixels<uint8_t> : putPixels<uint16_t>;
  put(row, c.numComponents, order, out, columns);
}

// Fills the row that predicts others with the middle of the samples' range.
void fillMiddle(JpgContext *c) {
  const uint32_t samples = c->width * c->numComponents;
  const auto middle = static_cast<uint16_t>(1U << (c->precision - 1));
  if (sampleBytes(c->precision) == 1) {
    memset(c->losslessRowBuffer, middle, samples);
  } else {
    for (uint32_t i = 0; i < samples; i++) c->losslessRowBuffer[i] = middle;
  }
}

// Decodes a row into coefBuffer and keeps it for the prediction of the next one. Rows behind
// damage are those ahead of it.
const uint8_t *readRow(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  const auto *kept = reinterpret_cast<const uint8_t *>(c->losslessRowBuffer);
  JpgRect row = {};
  row.bits = c->coefBuffer;
  if (state->lost == 0) {
    const Result r = jpgReadSpatialToRect(c, &row, 1);
    if (r == JPG_OK && c->rowPosition < c->height) jpgReadSpatialToRect(c, &row, 0);
    if (r == JPG_OK) return static_cast<const uint8_t *>(row.bits);
    noteDamage(c, r);
    state->lost = 1;
    if (c->rowPosition == 0) fillMiddle(c);
  }
  c->rowPosition++;
  return kept;
}

}  // namespace

Result readLosslessPicture(JpgContext *c, const JpgRect &rect, int32_t lines) {
  PixelOrder order = {};
  if (c->rowPosition >= c->height) return JPG_E_FAIL;
  if (c->precision < kMinLosslessPrecision || c->precision > kMaxLosslessPrecision) {
    return JPG_E_NOT_JPEG;
  }
  if (c->read.scanHoldsFrame == 0 || !chooseOrder(*c, rect, &order)) return JPG_E_UNSUPPORTED;
  if (c->coefBuffer == nullptr) {
    const uint64_t bytes = uint64_t{2} * c->width * c->numComponents * sampleBytes(c->precision);
    c->coefBuffer = static_cast<int16_t *>(heapAllocChecked(bytes));
    if (c->coefBuffer == nullptr) return JPG_E_OUT_OF_MEMORY;
    memset(c->coefBuffer, 0, static_cast<size_t>(bytes));
  }
  auto *out = static_cast<uint8_t *>(rect.bits);
  for (; lines > 0 && c->rowPosition < c->height; lines--, out += rect.stride) {
    putRow(*c, readRow(c), order, out, rect.width);
  }
  return c->read.lenient->damage.code != JPG_OK ? JPG_E_DAMAGED : JPG_OK;
}

}  // namespace jpg
