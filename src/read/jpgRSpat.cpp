// SPDX-License-Identifier: MIT
// Lossless decoding: samples from prediction differences, row by row (T.81 Annex H).
#include <string.h>

#include "read/jpgRBits.h"
#include "read/jpgRFastSpat.h"
#include "read/jpgRRect.h"
#include "share/jpgArith.h"
#include "share/jpgMarkers.h"
#include "share/jpgSpatial.h"

namespace jpg {
namespace {

using RowRoutine = Result (*)(const SpatialRow &row);

// First row of a scan or restart interval: the first pixel is predicted from mid-scale, the others
// from the left (T.81 H.1.2.1).
template <typename Samples>
Result decodeFirstRow(const SpatialRow &row) {
  const JpgContext &c = *row.c;
  const uint32_t n = c.numComponents;
  // If the point transform shifts all bits out, the mid-scale value is 0.
  const int32_t mid = c.Al < c.precision ? 1 << (c.precision - c.Al - 1) : 0;
  RowHead head = beginRow(*row.source);
  Result r = JPG_OK;
  for (uint32_t i = 0; i < c.width * n && r == JPG_OK; i++) {
    const int32_t prediction = i < n ? mid : Samples::load(row.out, i - n);
    r = decodeSampleApart<Samples>(row, rowTable(*row.source, i % n), &head, i, i % n, prediction);
  }
  endRow(row.source, head);
  return r;
}

// The first pixel of any other row is predicted from above.
template <typename Samples>
Result decodeFirstPixel(const SpatialRow &row, RowHead *head) {
  const uint32_t n = row.c->width != 0 ? row.c->numComponents : 0;
  for (uint32_t i = 0; i < n; i++) {
    const Result r = decodeSampleApart<Samples>(row, rowTable(*row.source, i), head, i, i,
                                                Samples::load(row.above, i));
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

// A pixel, sample by sample.
template <typename Samples, uint32_t kSelection, uint32_t kComponents>
[[gnu::always_inline]] inline Result decodePixel(const SpatialRow &row, const RowTable *tables,
                                                 RowHead *head, uint32_t i) {
  constexpr uint32_t n = kComponents;
  fillAhead(row.source, head, i, n);
  for (uint32_t k = 0; k < n; k++) {
    const int32_t a = Samples::load(row.out, i + k - n);
    const int32_t b = Samples::load(row.above, i + k);
    const int32_t c = Samples::load(row.above, i + k - n);
    const Result r =
        decodeSampleApart<Samples, n>(row, tables[k], head, i + k, k, predict<kSelection>(a, b, c));
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

// The other pixels of a row of kComponents components.
template <typename Samples, uint32_t kSelection, uint32_t kComponents>
Result decodeOtherPixels(const SpatialRow &given, RowHead *out) {
  constexpr uint32_t n = kComponents;
  const SpatialRow row = given;  // a copy: stores to rows of bytes might alias `given`
  RowHead head = *out;
  RowTable tables[n];
  for (uint32_t k = 0; k < n; k++) tables[k] = rowTable(*row.source, k);
  Result r = JPG_OK;
  const uint32_t samples = row.c->width * n;
  for (uint32_t i = n; i < samples && r == JPG_OK; i += n) {
    if constexpr (kWindowBits >= 64) {
      i = decodeGroups<Samples, kSelection, n>(row, tables, &head, i);
      if (i == samples) break;
    }
    r = decodePixel<Samples, kSelection, n>(row, tables, &head, i);
  }
  *out = head;
  return r;
}

template <typename Samples, uint32_t kSelection>
Result decodeRow(const SpatialRow &row) {
  using Others = Result (*)(const SpatialRow &row, RowHead *head);
  static constexpr Others kOthers[kMaxComponents] = {
      decodeOtherPixels<Samples, kSelection, 1>, decodeOtherPixels<Samples, kSelection, 2>,
      decodeOtherPixels<Samples, kSelection, 3>, decodeOtherPixels<Samples, kSelection, 4>};
  RowHead head = beginRow(*row.source);
  Result r = decodeFirstPixel<Samples>(row, &head);
  if (r == JPG_OK) r = kOthers[row.c->numComponents - 1](row, &head);
  endRow(row.source, head);
  return r;
}

// An invalid predictor selection is an error after the first pixel only.
template <typename Samples>
Result decodeRowUnselected(const SpatialRow &row) {
  RowHead head = beginRow(*row.source);
  const Result r = decodeFirstPixel<Samples>(row, &head);
  endRow(row.source, head);
  return r != JPG_OK ? r : JPG_E_INVALID_PARAMETER;
}

// The routines chosen for a call.
struct SpatialRoutines {
  RowRoutine first;
  RowRoutine other;
};

template <typename Samples>
SpatialRoutines chooseRoutines(uint32_t selection) {
  static constexpr RowRoutine kRows[kPredictors + 1] = {
      decodeRowUnselected<Samples>, decodeRow<Samples, 1>, decodeRow<Samples, 2>,
      decodeRow<Samples, 3>,        decodeRow<Samples, 4>, decodeRow<Samples, 5>,
      decodeRow<Samples, 6>,        decodeRow<Samples, 7>};
  return {decodeFirstRow<Samples>, kRows[selection <= kPredictors ? selection : 0]};
}

SpatialRoutines chooseByPrecision(const JpgContext &c) {
  return c.precision <= kMaxBytePrecision ? chooseRoutines<ByteSamples>(c.Ss)
                                          : chooseRoutines<WordSamples>(c.Ss);
}

// After a restart interval: RSTn begins the next one, EOI isn't consumed, and other
// markers are skipped. If there is no marker, nothing is consumed.
void passRestart(JpgContext *c) {
  for (uint32_t marker = peekMarker(&c->stream); isMarker(marker);
       marker = peekMarker(&c->stream)) {
    if (marker == kMarkerEoi) {
      c->lastMarker = kMarkerEoi;
      return;
    }
    skipMarker(&c->stream);
    if (isRestart(marker)) c->mcusSinceRestart = 0;
  }
}

// Leaves the stream as the bit reader would have.
void closeSource(DifferenceSource *d) {
  if (!isOpen(*d->w)) return;
  putBack(d->w, d->head);
  closeWindow(d->w, d->s);
  d->head = headOf(*d->w);
}

// Decodes a row and counts its pixels.
Result decodeAnyRow(const SpatialRoutines &routines, const SpatialRow &row) {
  JpgContext *c = row.c;
  const bool first = (c->flags & kFlagPositioned) != 0;
  if (const Result r = first ? routines.first(row) : routines.other(row); r != JPG_OK) return r;
  c->flags &= ~kFlagPositioned;
  c->mcusSinceRestart += c->width;
  if (c->mcusSinceRestart == c->restartInterval) {
    c->flags |= kFlagPositioned;
    closeSource(row.source);
    passRestart(c);
  }
  return JPG_OK;
}

// Bytes of a row of samples.
uint32_t rowBytes(const JpgContext &c) {
  return c.width * c.numComponents * sampleBytes(c.precision);
}

DifferenceSource sourceOf(JpgContext *c, BitWindow *w) {
  DifferenceSource d = {&c->stream, w, headOf(*w), {}};
  for (uint32_t k = 0; k < c->numComponents; k++) {
    const HuffDecoder decoder = dcDecoder(c->scanComponents[k]);
    const bool there = decoder.lookup != nullptr;
    d.table[k] = {decoder, there ? decoder.lookup->shortcut : nullptr};
  }
  return d;
}

// Decodes the rows, then saves the row from which the next call predicts: the row of the caller's
// rectangle behind those decoded, or the last one if they ended the image.
Result decodeSpatialRows(JpgContext *c, const JpgRect &rect, int32_t lines) {
  const SpatialRoutines routines = chooseByPrecision(*c);
  const auto mask =
      static_cast<int32_t>(c->precision <= kMaxBytePrecision ? 0xFFU : (1U << c->precision) - 1);
  auto *out = static_cast<uint8_t *>(rect.bits);
  const uint8_t *above = reinterpret_cast<const uint8_t *>(c->losslessRowBuffer);
  BitWindow w;
  initWindow(&w);
  DifferenceSource source = sourceOf(c, &w);
  for (int32_t i = 0; i < lines; i++) {
    const Result r = decodeAnyRow(routines, {c, &source, above, out, mask});
    if (r != JPG_OK) {
      closeSource(&source);
      return r;
    }
    c->rowPosition++;
    if (c->rowPosition >= c->height) break;
    above = out;
    out += rect.stride;
  }
  closeSource(&source);
  memcpy(c->losslessRowBuffer, out, rowBytes(*c));
  return JPG_OK;
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadSpatialToRect(JPGHANDLE handle, const JpgRect *rect, int32_t lines) {
  JpgContext *c = validReader(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->sofMarker != kMarkerSof3) return JPG_E_UNSUPPORTED;
  if (c->height != 0) {
    const int32_t remaining = asSigned(c->height - c->rowPosition);
    if (remaining < 1) return JPG_E_FAIL;
    if (lines > remaining) lines = remaining;
  }
  if (c->precision < kMinLosslessPrecision || c->precision > kMaxLosslessPrecision) {
    return JPG_E_NOT_JPEG;
  }
  if (c->read.scanHoldsFrame == 0) return JPG_E_UNSUPPORTED;
  if (const Result r = returnToScanData(c); r != JPG_OK) return r;
  return decodeSpatialRows(c, *rect, lines);
}
