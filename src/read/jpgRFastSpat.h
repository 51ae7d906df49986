// SPDX-License-Identifier: MIT
// The fast way of lossless decoding: differences through the bit window, and samples made of them,
// one by one or in groups.
//
// In: the stream and the tables of a scan. Out: samples of a row. Called by the row routines of
// jpgRSpat.cpp.
#ifndef JPG_READ_RFASTSPAT_H
#define JPG_READ_RFASTSPAT_H

#include <stddef.h>
#include <stdint.h>

#include "read/jpgRFastBits.h"
#include "read/jpgRVLC.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"
#include "share/jpgSpatial.h"

namespace jpg {

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

// Most bits of a code with its additional bits.
constexpr uint32_t kDifferenceBits = 2 * kMaxCodeLength;

// Decodes a difference with the bit reader, then tries to open the window again.
[[gnu::noinline]] inline Result plainDifference(DifferenceSource *d, uint32_t k,
                                                int32_t *difference) {
  if (isOpen(*d->w)) {
    putBack(d->w, d->head);
    closeWindow(d->w, d->s);
  }
  const Result r = decodeDifference(d->s, d->table[k].decoder, difference);
  openWindow(d->w, d->s);
  d->head = headOf(*d->w);
  return r;
}

// Decodes a difference without shortcuts. The window must have kDifferenceBits.
[[gnu::noinline]] inline Result longDifference(DifferenceSource *d, uint32_t k,
                                               int32_t *difference) {
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

[[gnu::noinline]] inline Refilled refillRow(DifferenceSource *d, RowHead head) {
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
  const HuffDecoder *decoder;
};

inline RowTable rowTable(const DifferenceSource &d, uint32_t k) {
  return {d.table[k].shortcuts, d.table[k].decoder.maxLength, &d.table[k].decoder};
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
      // A window of 32 bits can't hold kDifferenceBits: there the bit reader decodes the
      // difference.
      const bool filled = kWindowBits >= 64 && ensureRow(d, head, kDifferenceBits);
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

// ---- Groups of samples --------------------------------------------------------

// On 64-bit registers samples are decoded in groups, between whose symbols the window isn't
// refilled: those of a pixel, or several pixels of one component. The window then stands in local
// variables.
template <typename Samples, uint32_t kComponents>
constexpr uint32_t kGroup = kComponents > 1 ? kComponents : (Samples::kBytes == 1 ? 4 : 2);

struct QuickWindow {
  WindowWord bits;  // below the valid ones are more of the data's bits, or zeros
  uint32_t count;
  uint32_t loaded;  // as the window's
  const uint8_t *next;
};

inline QuickWindow quickOf(const BitWindow &w, const WindowHead &head) {
  return {head.bits, head.count, w.loaded, w.next};
}

// Writes the window back, its head to `head`.
inline void putQuick(BitWindow *w, WindowHead *head, const QuickWindow &q) {
  *head = {q.bits & ~(~WindowWord{0} >> q.count), q.count};
  w->loaded = q.loaded;
  w->next = q.next;
}

// Refills beside an FF or near the buffer's end. False when the bit reader must take over.
[[gnu::noinline]] inline bool fillCarefully(BitWindow *w, QuickWindow *q) {
  WindowHead head;
  putQuick(w, &head, *q);
  const bool filled = fillHead(w, &head);
  *q = quickOf(*w, head);
  return filled;
}

// Refills to at least kEnoughBits, by one load where no FF is near.
[[gnu::always_inline]] inline bool fillQuickly(BitWindow *w, QuickWindow *q) {
  if (static_cast<size_t>(w->end - q->next) < kWindowReach) return false;
  const WindowWord word = loadBigEndian(q->next);
  if (findFF(word) != 0) return fillCarefully(w, q);
  // Bits of the last byte that doesn't fit whole are the same when it is appended.
  q->bits |= word >> q->count;
  const uint32_t bytes = roomFor(q->count);
  q->next += bytes;
  q->count += 8 * bytes;
  q->loaded += 8 * bytes;
  return true;
}

// Bits that the window must keep for `symbols` of a group: a shortcut each, and for the last one as
// many as the bit reader would have peeked.
constexpr uint32_t spareBits(uint32_t symbols) {
  return symbols == 0 ? 0 : (symbols - 1) * kShortcutBits + kMaxCodeLength;
}

// Decodes a difference from `q`, which keeps `spare` bits besides. False where they aren't there,
// or for an invalid code and one of category 16. Most samples of bytes have their additional bits
// in the shortcut, those of words never.
template <bool kWords>
[[gnu::always_inline]] inline bool quickDifference(QuickWindow *q, const RowTable &table,
                                                   uint32_t spare, int32_t *difference) {
  const HuffShortcut fast = table.shortcuts[q->bits >> (kWindowBits - kShortcutBits)];
  uint32_t length = shortcutLength(fast);
  int32_t value = shortcutValue(fast);
  if (kWords || (shortcutSkip(fast) & ~(1 | kSkipEnd)) != 0) {
    auto category = static_cast<uint32_t>(value);
    if (length == 0) {
      const auto bits = static_cast<uint32_t>(q->bits >> (kWindowBits - kMaxCodeLength));
      const HuffSymbol symbol = symbolAt(*table.decoder->lookup, table.decoder->codes, bits);
      length = symbol.length;
      category = symbol.value;
    } else if (shortcutSkip(fast) != kSkipNone) {
      return false;
    }
    if (length == 0 || category > kMaxDctCategory) return false;
    value = static_cast<int32_t>((q->bits << length) >> 1 >> (kWindowBits - 1 - category));
    value = extend(value, category);
    length += category;
    if (length + spare > q->count) return false;
  }
  JPG_ASSERT(length <= q->count);
  q->bits <<= length;
  q->count -= length;
  *difference = value;
  return true;
}

// Decodes groups from sample i on until the row ends or one needs more care; returns the first
// sample left. Differences of a group are decoded before its samples are stored: one that isn't
// complete is decoded again.
template <typename Samples, uint32_t kSelection, uint32_t kComponents>
uint32_t decodeGroups(const SpatialRow &row, const RowTable *tables, RowHead *head, uint32_t i) {
  constexpr uint32_t n = kComponents, kCount = kGroup<Samples, n>;
  BitWindow *w = row.source->w;
  if (!isOpen(*w)) return i;
  QuickWindow q = quickOf(*w, head->window);
  uint32_t place[kCount] = {};  // of the last group's symbols
  bool any = false;             // whether there was one
  int32_t left[n];
  for (uint32_t k = 0; k < n; k++) left[k] = Samples::load(row.out, i + k - n);
  for (const uint32_t samples = row.c->width * n; i + kCount <= samples; i += kCount) {
    if (!fillQuickly(w, &q)) break;
    const QuickWindow begin = q;
    int32_t difference[kCount];
    uint32_t counts[kCount];
    bool there = true;
    for (uint32_t g = 0; g < kCount && there; g++) {
      counts[g] = q.count;
      there = quickDifference<Samples::kBytes != 1>(&q, tables[n > 1 ? g : 0],
                                                    spareBits(kCount - 1 - g), &difference[g]);
    }
    if (!there) {
      q = begin;
      break;
    }
    any = true;
    for (uint32_t g = 0; g < kCount; g++) {
      const uint32_t k = n > 1 ? g : 0;
      const int32_t b = Samples::load(row.above, i + g), c = Samples::load(row.above, i + g - n);
      left[k] = wrapAdd(predict<kSelection>(left[k], b, c), difference[g]) & row.mask;
      Samples::store(row.out, i + g, left[k]);
      place[g] = q.loaded - counts[g];
    }
  }
  putQuick(w, &head->window, q);
  head->loaded = w->loaded;
  for (uint32_t g = 0; g < kCount; g++) {
    const uint32_t reach = place[g] + tables[n > 1 ? g : 0].maxLength;
    if (any && reach > head->reach) head->reach = reach;
  }
  return i;
}

}  // namespace jpg

#endif
