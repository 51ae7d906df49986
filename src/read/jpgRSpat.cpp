// SPDX-License-Identifier: MIT
// Lossless decoding: samples from prediction differences, row by row (T.81 Annex H).
#include <string.h>

#include "read/jpgRBits.h"
#include "read/jpgRFastBits.h"
#include "read/jpgRRect.h"
#include "read/jpgRVLC.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgMarkers.h"
#include "share/jpgSpatial.h"

namespace jpg {
namespace {

// The source of differences: the bit window while it is open, the bit reader otherwise. Between
// rows the window's bits are kept in `head`.
struct DifferenceSource {
  JpgStream *s;
  BitWindow *w;
  WindowHead head;
  struct Table {
    HuffDecoder decoder;
    const HuffShortcut *shortcuts;
  } table[kMaxComponents];
};

// A row being decoded; `above` is the row before it, if there is one.
struct SpatialRow {
  JpgContext *c;
  DifferenceSource *source;
  const uint8_t *above;
  uint8_t *out;
  int32_t mask;  // samples are kept modulo mask + 1
};

using RowRoutine = Result (*)(const SpatialRow &row);

// Most bits of a code with its additional bits.
constexpr uint32_t kDifferenceBits = 2 * kMaxCodeLength;

// Decodes a difference with the bit reader, then tries to open the window again.
[[gnu::noinline]] Result plainDifference(DifferenceSource *d, uint32_t k, int32_t *difference) {
  if (isOpen(*d->w)) {
    putBack(d->w, d->head);
    closeWindow(d->w, d->s);
  }
  const Result r = decodeDifference(d->s, d->table[k].decoder, difference);
  openWindow(d->w, d->s);
  d->head = headOf(*d->w);
  return r;
}

// Decodes a difference without shortcuts.
[[gnu::noinline]] Result longDifference(DifferenceSource *d, uint32_t k, int32_t *difference) {
  if (d->head.count < kDifferenceBits) return plainDifference(d, k, difference);
  constexpr uint32_t kTopCategory = 16;  // its additional bits aren't extended
  uint32_t category = 0;
  if (!windowSymbol(d->w, &d->head, d->table[k].decoder, &category)) return JPG_E_FAIL;
  if (category > kTopCategory) return JPG_E_FAIL;
  const auto v = static_cast<int32_t>((d->head.bits >> 1) >> (kWindowBits - 1 - category));
  dropHeadBits(&d->head, category);
  *difference = category == kTopCategory ? v : extend(v, category);
  return JPG_OK;
}

// The state that a row's loop keeps in registers.
struct RowHead {
  WindowHead window;
  uint32_t loaded;  // as the window's
  uint32_t reach;   // as the window's `furthest`
};

inline RowHead beginRow(const DifferenceSource &d) { return {d.head, d.w->loaded, d.w->furthest}; }

inline void endRow(DifferenceSource *d, const RowHead &head) {
  d->head = head.window;
  noteReach(d->w, head.reach);
}

// Decodes a difference that needs more than the shortcut table.
inline Result slowDifference(DifferenceSource *d, RowHead *head, bool filled, uint32_t k,
                             int32_t *difference) {
  int32_t value = 0;
  endRow(d, *head);
  const Result r = filled ? longDifference(d, k, &value) : plainDifference(d, k, &value);
  *head = beginRow(*d);
  *difference = value;
  return r;
}

// Bits needed for a shortcut, or for one to the symbol alone and its additional bits.
constexpr uint32_t kQuickBits =
    kWindowBits >= 64 ? kShortcutBits + kMaxDctCategory : kMaxCodeLength;

[[gnu::always_inline]] inline bool fillRow(DifferenceSource *d, RowHead *head) {
  const bool filled = fillHead(d->w, &head->window);
  head->loaded = d->w->loaded;
  return filled;
}

// fillRow() out of line, for rare refills: by value, so that the head stays in registers otherwise.
struct Refilled {
  RowHead head;
  bool filled;
};

[[gnu::noinline]] Refilled refillRow(DifferenceSource *d, RowHead head) {
  const bool filled = fillRow(d, &head);
  return {head, filled};
}

inline bool ensureRow(DifferenceSource *d, RowHead *head, uint32_t bits) {
  if (head->window.count >= bits) return true;
  const Refilled refilled = refillRow(d, *head);
  *head = refilled.head;
  return refilled.filled;
}

// Refills 64-bit registers before the samples from i on, of n components, without a test of how
// many bits are left: the branch would be unpredictable. There are then enough bits for two samples
// of a shortcut each.
inline void fillAhead(DifferenceSource *d, RowHead *head, uint32_t i, uint32_t n) {
  if (kWindowBits >= 64 && (n > 1 || i % 2 == 0)) fillRow(d, head);
}

// A component's table, copied to local variables: stores to rows might alias the source.
struct RowTable {
  const HuffShortcut *shortcuts;
  uint32_t maxLength;
};

inline RowTable rowTable(const DifferenceSource &d, uint32_t k) {
  return {d.table[k].shortcuts, d.table[k].decoder.maxLength};
}

template <uint32_t kComponents>
[[gnu::always_inline]] inline Result nextDifference(DifferenceSource *d, const RowTable &table,
                                                    RowHead *head, uint32_t k,
                                                    int32_t *difference) {
  WindowHead *h = &head->window;
  // A missing table is an error at the first pixel.
  const bool there = kComponents != 0 || table.shortcuts != nullptr;
  if (!ensureRow(d, head, kQuickBits) || !there) {
    return slowDifference(d, head, false, k, difference);
  }
  const HuffShortcut fast = table.shortcuts[h->bits >> (kWindowBits - kShortcutBits)];
  uint32_t length = shortcutLength(fast);
  int32_t value = shortcutValue(fast);
  // Skips are 1, or kSkipEnd for category 0.
  if ((shortcutSkip(fast) & ~(1 | kSkipEnd)) != 0) {
    // A shortcut to the symbol alone: `value` is the category, if it is a valid one.
    const auto category = static_cast<uint32_t>(value);
    const bool alone =
        (fast & 0xFF00) == kSkipNone << 8 && length != 0 && category <= kMaxDctCategory;
    if (!alone || kWindowBits < 64) {
      const bool filled = ensureRow(d, head, kDifferenceBits);
      return slowDifference(d, head, filled, k, difference);
    }
    value = static_cast<int32_t>((h->bits << length) >> 1 >> (kWindowBits - 1 - category));
    value = extend(value, category);
    length += category;
  }
  const uint32_t reach = head->loaded - h->count + table.maxLength;
  // With one component, `reach` grows with each symbol: no comparison is needed.
  if (kComponents == 1 || reach > head->reach) head->reach = reach;
  dropHeadBits(h, length);
  *difference = value;
  return JPG_OK;
}

// Decodes the row's i-th sample, of component k.
// `kComponents` is the number of components, 0 for any.
template <typename Samples, uint32_t kComponents = 0>
[[gnu::always_inline]] inline Result decodeSample(const SpatialRow &row, const RowTable &table,
                                                  RowHead *head, uint32_t i, uint32_t k,
                                                  int32_t prediction) {
  int32_t difference = 0;
  JPG_ASSERT(k < row.c->numComponents && i < row.c->width * row.c->numComponents);
  const Result r = nextDifference<kComponents>(row.source, table, head, k, &difference);
  if (r != JPG_OK) return r;
  Samples::store(row.out, i, wrapAdd(prediction, difference) & row.mask);
  return JPG_OK;
}

// decodeSample() out of line, to save code size: for the first pixels of rows, and on 32-bit
// registers, which small devices have.
template <typename Samples, uint32_t kComponents = 0>
[[gnu::noinline]] Result decodeSampleApart(const SpatialRow &row, const RowTable &table,
                                           RowHead *head, uint32_t i, uint32_t k,
                                           int32_t prediction) {
  return decodeSample<Samples, kComponents>(row, table, head, i, k, prediction);
}

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
  for (uint32_t i = n; i < samples; i += n) {
    fillAhead(row.source, &head, i, n);
    for (uint32_t k = 0; k < n; k++) {
      const int32_t a = Samples::load(row.out, i + k - n);
      const int32_t b = Samples::load(row.above, i + k);
      const int32_t c = Samples::load(row.above, i + k - n);
      const int32_t prediction = predict<kSelection>(a, b, c);
      r = kWindowBits >= 64
              ? decodeSample<Samples, n>(row, tables[k], &head, i + k, k, prediction)
              : decodeSampleApart<Samples, n>(row, tables[k], &head, i + k, k, prediction);
      if (r != JPG_OK) break;
    }
    if (r != JPG_OK) break;
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
