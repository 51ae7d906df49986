// SPDX-License-Identifier: MIT
#include "read/jpgRFastProg.h"

#include <string.h>

#include "kernels/jpgKernels.h"
#include "read/jpgRVLC.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"

namespace jpg {
namespace {

constexpr uint32_t kZeroRun = 15;  // r of the ZRL code

// How a block ends.
enum class End {
  kDone,
  kFailed,  // with a result
  kAgain    // the window can't be refilled: the bit reader must decode the block again
};

// A block being decoded. The window's head is kept in registers, apart from the window.
struct Block {
  JpgContext *c;
  BitWindow *w;
  WindowHead head;
  int16_t *coefficients;
  HuffDecoder table;
  Result result;
};

inline bool has(Block *b, uint32_t bits) {
  return b->head.count >= bits || fillHead(b->w, &b->head);
}

inline uint32_t top(const Block &b, uint32_t n) {
  return static_cast<uint32_t>((b.head.bits >> 1) >> (kWindowBits - 1 - n));
}

inline void drop(Block *b, uint32_t n) { dropHeadBits(&b->head, n); }

// Records that the bit reader would have peeked the longest code length, `back` bits ago.
inline void notePeek(Block *b, uint32_t back) {
  noteReach(b->w, b->w->loaded - b->head.count - back + b->table.maxLength);
}

// Decodes a symbol with the look-up array; kMaxCodeLength bits must be in the window. False for an
// invalid code.
[[gnu::always_inline]] inline bool longSymbol(Block *b, uint32_t *symbol) {
  return windowSymbol(b->w, &b->head, b->table, symbol);
}

End fail(Block *b, Result result) {
  b->result = result;
  return End::kFailed;
}

// The length of the end-of-band run that code r announces (T.81 G.1.2.2).
[[gnu::always_inline]] inline bool readRun(Block *b, uint32_t r, uint32_t *run) {
  if (!has(b, r)) return false;
  *run = (uint32_t{1} << r) + top(*b, r);
  drop(b, r);
  return true;
}

// ---- First passes ---------------------------------------------------------

// Decodes the symbol after zig-zag position *n - 1 without shortcuts. *ended: the result is the
// block's; otherwise the block goes on at *n.
End firstLong(Block *b, uint32_t *n, bool *ended) {
  uint32_t symbol = 0;
  *ended = true;
  if (!longSymbol(b, &symbol)) return fail(b, JPG_E_BAD_AC_CODE);
  const uint32_t run = symbol >> 4, size = symbol & 15;
  if (size == 0 && run < kZeroRun) {
    uint32_t length = 0;
    if (!readRun(b, run, &length)) return End::kAgain;
    b->c->eobRun = length - 1;
    return End::kDone;
  }
  const uint32_t k = *n + run;
  *n = k + 1;
  *ended = *n > b->c->Se;
  if (size == 0) return End::kDone;
  if (k >= kBlockSize) {
    *ended = true;
    return fail(b, JPG_E_COEF_OVERFLOW);
  }
  if (!has(b, size)) {
    *ended = true;
    return End::kAgain;
  }
  const auto v = static_cast<int32_t>(top(*b, size));
  drop(b, size);
  b->coefficients[kZigZag.natural[k]] = low16(wrapShl(extend(v, size), b->c->Al));
  return End::kDone;
}

End decodeFirst(Block *b) {
  const uint32_t last = b->c->Se, shift = b->c->Al;
  const uint8_t *const natural = naturalOrder();
  JPG_ASSERT(last < kBlockSize);
  uint32_t n = b->c->Ss;  // zig-zag position of the next coefficient
  for (;;) {
    if (!has(b, kSymbolBits)) return End::kAgain;
    const HuffShortcut fast = nextShortcut(*b->table.lookup, b->head.bits);
    const uint32_t skip = shortcutSkip(fast);
    // A coefficient before the band's last one. One comparison finds it, since the skips of an end
    // and of no shortcut are larger than a block. The last coefficient has no end behind it, so
    // that it is decoded without shortcuts.
    if (n + skip <= last) {
      drop(b, shortcutLength(fast));
      n += skip;
      b->coefficients[natural[n - 1]] = low16(wrapShl(shortcutValue(fast), shift));
      continue;
    }
    if (kShortcutsTakeEnds && skip > kSkipThenEnd && n + skip - kSkipThenEnd <= last) {
      drop(b, shortcutLength(fast));
      const uint32_t k = n + skip - kSkipThenEnd - 1;
      b->coefficients[natural[k]] = low16(wrapShl(shortcutValue(fast), shift));
      notePeek(b, b->table.lookup->endLength);
      return End::kDone;
    }
    if (skip == kSkipEnd) {
      notePeek(b, 0);
      drop(b, shortcutLength(fast));
      return End::kDone;
    }
    bool ended = false;
    const End end = firstLong(b, &n, &ended);
    if (ended) return end;
  }
}

// ---- Refinement -----------------------------------------------------------

// A set of zig-zag positions: bit k of 64 for position k. In two halves, since counting trailing
// zeros of 64 bits is slow on 32-bit processors.
struct PositionSet {
  uint32_t low, high;
};

// Removes and returns the first position; kBlockSize when the set is empty.
inline uint32_t takeFirst(PositionSet *p) {
  if (p->low != 0) {
    const auto k = static_cast<uint32_t>(__builtin_ctz(p->low));
    p->low &= p->low - 1;
    return k;
  }
  if (p->high == 0) return kBlockSize;
  const auto k = static_cast<uint32_t>(__builtin_ctz(p->high));
  p->high &= p->high - 1;
  return 32 + k;
}

// The coefficients of a block's band that are non-zero before the scan.
struct Refined {
  uint32_t next;        // position of the next one to correct; kBlockSize for none
  PositionSet rest;     // those after it, up to Se
  int32_t plus, minus;  // correction of positive and of negative ones
};

// Reads the correction bit of the coefficient at position k and applies it (T.81 G.1.2.3).
inline bool correct(Block *b, const Refined &r, uint32_t k) {
  if (b->head.count == 0 && !fillHead(b->w, &b->head)) return false;
  JPG_ASSERT(k < kBlockSize);
  const bool set = b->head.bits >> (kWindowBits - 1) != 0;
  drop(b, 1);
  int16_t *coefficient = &b->coefficients[kZigZag.natural[k]];
  if (set && (*coefficient & r.plus) == 0) {
    *coefficient = low16(*coefficient + (*coefficient >= 0 ? r.plus : r.minus));
  }
  return true;
}

// Corrects non-zero coefficients from *n on until `zeros` zero ones have been passed; *n becomes
// the position of the zero coefficient after these, or Se + 1.
[[gnu::always_inline]] inline bool walk(Block *b, Refined *r, uint32_t zeros, uint32_t *n) {
  const uint32_t end = b->c->Se + 1U;
  uint32_t k = *n;
  while (r->next < kBlockSize && r->next - k <= zeros) {
    zeros -= r->next - k;
    if (!correct(b, *r, r->next)) return false;
    k = r->next + 1;
    r->next = takeFirst(&r->rest);
  }
  *n = k < end && zeros < end - k ? k + zeros : end;
  return true;
}

// Decodes a refinement symbol: its run of zeros, and the new coefficient, 0 for none. An
// end-of-band run is stored in the context and sets `ended`.
[[gnu::always_inline]] inline End refineSymbol(Block *b, const Refined &r, uint32_t *run,
                                               int32_t *fresh, bool *ended) {
  const HuffShortcut fast = nextShortcut(*b->table.lookup, b->head.bits);
  const uint32_t skip = shortcutSkip(fast);
  const int32_t value = shortcutValue(fast);
  notePeek(b, 0);
  if (skip == kSkipEnd) {
    drop(b, shortcutLength(fast));
    b->c->eobRun = 1;
    *ended = true;
    return End::kDone;
  }
  if (skip != kSkipNone && (value == 1 || value == -1)) {
    // Correction bits may come before the end that the shortcut includes: give the end back.
    const bool then = kShortcutsTakeEnds && skip > kSkipThenEnd;
    drop(b, shortcutLength(fast) - (then ? b->table.lookup->endLength : 0));
    *run = skip % kSkipThenEnd - 1;
    *fresh = value > 0 ? r.plus : r.minus;
    return End::kDone;
  }
  uint32_t symbol = 0;
  if (!longSymbol(b, &symbol)) return fail(b, JPG_E_BAD_AC_CODE);
  *run = symbol >> 4;
  const uint32_t size = symbol & 15;
  if (size > 1) return fail(b, JPG_NO_DATA);
  if (!has(b, kMaxCodeLength)) return End::kAgain;
  if (size == 1) {
    *fresh = top(*b, 1) != 0 ? r.plus : r.minus;
    drop(b, 1);
  } else if (*run < kZeroRun) {
    readRun(b, *run, &b->c->eobRun);
    *ended = true;
  }
  return End::kDone;
}

// Decodes the coded part, up to Se or to an end-of-band run; *n is left where the run begins.
[[gnu::always_inline]] inline End refineCoded(Block *b, Refined *r, uint32_t *n) {
  while (*n <= b->c->Se) {
    uint32_t run = 0;
    int32_t fresh = 0;
    bool ended = false;
    if (!has(b, kSymbolBits)) return End::kAgain;
    const End end = refineSymbol(b, *r, &run, &fresh, &ended);
    if (end != End::kDone || ended) return end;
    if (!walk(b, r, run, n)) return End::kAgain;
    if (fresh != 0) {
      if (*n >= kBlockSize) return fail(b, JPG_E_COEF_OVERFLOW);
      b->coefficients[kZigZag.natural[*n]] = low16(fresh);
    }
    ++*n;
  }
  return End::kDone;
}

// `there`: the band's non-zero coefficients, bit k for zig-zag position k.
[[gnu::always_inline]] inline End decodeRefinement(Block *b, uint64_t there) {
  JpgContext *c = b->c;
  Refined r = {0,
               {static_cast<uint32_t>(there), static_cast<uint32_t>(there >> 32)},
               wrapShl(1, c->Al),
               wrapShl(-1, c->Al)};
  r.next = takeFirst(&r.rest);
  uint32_t n = c->Ss;
  if (c->eobRun == 0) {
    const End end = refineCoded(b, &r, &n);
    if (end != End::kDone) return end;
  }
  if (c->eobRun > 0) {
    if (!walk(b, &r, kBlockSize, &n)) return End::kAgain;
    c->eobRun--;
  }
  return End::kDone;
}

// ---- Attempts --------------------------------------------------------------

// The fields of the window that an attempt may change; they are restored after kAgain. (Copied one
// by one: a wide copy right after narrow stores would stall on store forwarding.)
struct WindowPlace {
  WindowHead head;
  const uint8_t *next;
  uint32_t loaded, furthest;
};

WindowPlace savePlace(const BitWindow &w) { return {headOf(w), w.next, w.loaded, w.furthest}; }

void restorePlace(BitWindow *w, const WindowPlace &place) {
  putBack(w, place.head);
  w->next = place.next;
  w->loaded = place.loaded;
  w->furthest = place.furthest;
}

Result byBits(JpgContext *c, BitWindow *w, int16_t *block, JpgScanComponent *component) {
  if (isOpen(*w)) closeWindow(w, &c->stream);
  return c->blockDecoder(c, block, component);
}

Block beginBlock(JpgContext *c, BitWindow *w, int16_t *block, const JpgScanComponent &component) {
  const HuffDecoder table = acDecoder(component);
  return {c, w, headOf(*w), block, table, JPG_OK};
}

Result finish(const Block &b, End end) {
  putBack(b.w, b.head);
  return end == End::kFailed ? b.result : JPG_OK;
}

// After kAgain the block is decoded again from its start, which stores the same coefficients. Out
// of line, as is refinement: together the two need more registers than there are.
[[gnu::noinline]] Result decodeAcFirstFast(JpgContext *c, BitWindow *w, int16_t *block,
                                           JpgScanComponent *component) {
  const WindowPlace place = savePlace(*w);
  Block b = beginBlock(c, w, block, *component);
  const End end = decodeFirst(&b);
  if (end != End::kAgain) return finish(b, end);
  restorePlace(w, place);
  c->eobRun = 0;
  return byBits(c, w, block, component);
}

[[gnu::noinline]] Result decodeAcRefineFast(JpgContext *c, BitWindow *w, int16_t *block,
                                            JpgScanComponent *component, uint64_t there) {
  const WindowPlace place = savePlace(*w);
  const uint32_t eobRun = c->eobRun;
  int16_t before[kBlockSize];
  memcpy(before, block, sizeof(before));
  Block b = beginBlock(c, w, block, *component);
  const End end = decodeRefinement(&b, there);
  if (end != End::kAgain) return finish(b, end);
  restorePlace(w, place);
  c->eobRun = eobRun;
  memcpy(block, before, sizeof(before));
  return byBits(c, w, block, component);
}

Result decodeDcRefineFast(JpgContext *c, BitWindow *w, int16_t *block) {
  const bool set = windowBits(*w, 1) != 0;
  dropWindowBits(w, 1);
  if (set) block[0] = low16(block[0] | wrapShl(1, c->Al));
  return JPG_OK;
}

// Decodes a DC difference that has a shortcut; otherwise consumes nothing and returns false.
bool decodeDcFirstFast(JpgContext *c, BitWindow *w, int16_t *block, JpgScanComponent *component) {
  const HuffShortcut fast = component->dcLookup->shortcut[windowBits(*w, kShortcutBits)];
  if (shortcutSkip(fast) != 1 && shortcutSkip(fast) != kSkipEnd) return false;
  noteReach(w, placeOf(*w) + component->dcMaxLength);
  dropWindowBits(w, shortcutLength(fast));
  component->dcPredictor = wrapAdd(component->dcPredictor, shortcutValue(fast));
  memset(block, 0, kBlockSize * sizeof(int16_t));
  block[0] = low16(wrapShl(component->dcPredictor, c->Al));
  return true;
}

// Opens and refills the window for a symbol. False when the bit reader must decode the block.
inline bool isReady(JpgContext *c, BitWindow *w) {
  return (isOpen(*w) || openWindow(w, &c->stream)) && ensureBits(w, kSymbolBits);
}

uint64_t bandOf(const JpgContext &c) { return uint64_t{c.read.band[1]} << 32 | c.read.band[0]; }

// True for a block within an end-of-band run that has nothing to correct: no data are read for it.
bool isPassed(const JpgContext &c, uint64_t there) { return c.eobRun > 0 && there == 0; }

}  // namespace

Result decodeProgressiveFast(JpgContext *c, BitWindow *w, int16_t *block,
                             JpgScanComponent *component) {
  const ScanKind kind = c->read.scanKind;
  uint64_t there = 0;
  if (kind == ScanKind::kAcRefine) there = c->kernels->nonZeroMask(block) & bandOf(*c);
  if (kind == ScanKind::kAcFirst || kind == ScanKind::kAcRefine) {
    if (isPassed(*c, there)) {
      c->eobRun--;
      return JPG_OK;
    }
    const bool ready = component->acLookup != nullptr && isReady(c, w);
    if (!ready) return byBits(c, w, block, component);
    return kind == ScanKind::kAcFirst ? decodeAcFirstFast(c, w, block, component)
                                      : decodeAcRefineFast(c, w, block, component, there);
  }
  if (!isReady(c, w)) return byBits(c, w, block, component);
  if (kind == ScanKind::kDcRefine) return decodeDcRefineFast(c, w, block);
  const bool done = component->dcLookup != nullptr && decodeDcFirstFast(c, w, block, component);
  return done ? JPG_OK : byBits(c, w, block, component);
}

}  // namespace jpg
