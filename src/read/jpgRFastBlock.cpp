// SPDX-License-Identifier: MIT
#include "read/jpgRFastBlock.h"

#include "read/jpgRVLC.h"
#include "share/jpgArith.h"
#include "share/jpgAssert.h"

namespace jpg {
namespace {

// Decodes a symbol from the bits stored in the window itself.
bool symbolOf(BitWindow *w, const HuffDecoder &table, uint32_t *symbol) {
  WindowHead head = headOf(*w);
  const bool found = windowSymbol(w, &head, table, symbol);
  putBack(w, head);
  return found;
}

// As receiveExtend, from the window or, if it can't be refilled, from the bit reader.
int32_t windowExtend(BitWindow *w, JpgStream *s, uint32_t category) {
  if (!ensureBits(w, category)) {
    closeWindow(w, s);
    return receiveExtend(s, category);
  }
  const auto v = static_cast<int32_t>(windowBits(*w, category));
  dropWindowBits(w, category);
  return extend(v, category);
}

// A DC difference that has no shortcut.
[[gnu::noinline]] Result updateDcLong(BitWindow *w, JpgStream *s, JpgScanComponent *component) {
  uint32_t category = 0;
  if (!symbolOf(w, dcDecoder(*component), &category) || category > kMaxDctCategory) {
    return JPG_E_BAD_DC_CODE;
  }
  if (category == 0) return JPG_OK;
  component->dcPredictor = wrapAdd(component->dcPredictor, windowExtend(w, s, category));
  return JPG_OK;
}

// Adds a DC difference to the predictor. At least kSymbolBits bits must be in the window.
inline Result updateDcWide(BitWindow *w, WindowHead *head, JpgStream *s,
                           JpgScanComponent *component) {
  const HuffShortcut fast = nextShortcut(*component->dcLookup, head->bits);
  const uint32_t skip = shortcutSkip(fast);
  if (skip != 1 && skip != kSkipEnd) {
    putBack(w, *head);
    const Result r = updateDcLong(w, s, component);
    *head = headOf(*w);
    return r;
  }
  noteReach(w, w->loaded - head->count + component->dcMaxLength);
  dropHeadBits(head, shortcutLength(fast));
  component->dcPredictor = wrapAdd(component->dcPredictor, shortcutValue(fast));
  return JPG_OK;
}

// State of the AC coefficients after a step.
enum class AcEnd {
  kBlock,   // the block is complete
  kFailed,  // the error is in *result
  kLeft     // more symbols follow
};

// Decodes a symbol that has no shortcut, or whose shortcut leads out of the block; *k is the
// zig-zag position reached. Coefficients after `lastStored` are dropped.
[[gnu::noinline]] AcEnd decodeLongAc(BitWindow *w, JpgStream *s, const JpgScanComponent &component,
                                     int16_t *block, uint32_t lastStored, uint32_t *k,
                                     Result *result) {
  uint32_t symbol = 0;
  *result = JPG_E_BAD_AC_CODE;
  if (!symbolOf(w, acDecoder(component), &symbol)) return AcEnd::kFailed;
  const uint32_t size = symbol & 15;
  if (symbol == 0) return AcEnd::kBlock;
  if (size == 0) {
    // Zero runs can't go on without end: the window has real data, not 1-bits after the end.
    if (*k < kBlockSize) *k += 16;
    return AcEnd::kLeft;
  }
  *k += (symbol >> 4) + 1;
  *result = JPG_E_COEF_OVERFLOW;
  if (*k >= kBlockSize) return AcEnd::kFailed;
  const int32_t value = windowExtend(w, s, size);
  if (*k <= lastStored) block[kZigZag.natural[*k]] = dequantise(value, component.quantTable[*k]);
  return *k == kBlockSize - 1 ? AcEnd::kBlock : AcEnd::kLeft;
}

// Refills the window's head for one round of symbols: on 64-bit registers up to four, three of them
// shortcuts. Those are refilled without a test of how many bits are left: the branch would be
// unpredictable.
inline bool fillForRound(BitWindow *w, WindowHead *head) {
  if (kWindowBits < 64 && head->count >= kMaxCodeLength) return true;
  return fillHead(w, head);
}

// Decodes the AC coefficients of a block until the window can't be refilled. Its head stays in
// registers except around symbols that need more than the shortcut table.
template <uint32_t kLastStored>
struct AcLoop {
  const HuffShortcut *shortcuts;
  const uint32_t *quant;
  const uint8_t *natural;
  int16_t *block;
  WindowHead head;
  uint32_t k;         // zig-zag position reached
  HuffShortcut fast;  // looked at last

  void drop(uint32_t bits) { dropHeadBits(&head, bits); }

  // Corner decoding may store outside of the corner; DC-only decoding stores no AC at all.
  void store(uint32_t position, int32_t value) {
    k = position;
    JPG_ASSERT(position < kBlockSize);
    if (kLastStored == 0) return;
    block[natural[position]] = dequantise(value, quant[position]);
  }

  // Takes a coefficient from the shortcuts, unless it is the block's last one, behind which no end
  // follows. One comparison: an end, or no shortcut, has a skip that leads out of the block.
  bool inside() {
    fast = shortcuts[head.bits >> (kWindowBits - kShortcutBits)];
    const uint32_t next = k + shortcutSkip(fast);
    if (next >= kBlockSize - 1) return false;
    drop(shortcutLength(fast));
    store(next, shortcutValue(fast));
    return true;
  }

  // As many symbols as fit the bits after a refill; firstRound: after a refill and a DC shortcut.
  bool wholeRound() {
    return kWindowBits < 64 ? inside() : inside() && inside() && inside() && inside();
  }
  bool firstRound() { return kWindowBits < 64 ? inside() : inside() && inside() && inside(); }

  // Takes a coefficient whose shortcut covers its code but not its additional bits.
  bool longInside() {
    const uint32_t symbol = static_cast<uint32_t>(shortcutValue(fast));
    const uint32_t size = symbol & 15;
    const uint32_t next = k + (symbol >> 4) + 1;
    const uint32_t length = shortcutLength(fast);
    if (shortcutSkip(fast) != kSkipNone || size == 0 || next >= kBlockSize - 1) return false;
    if (kWindowBits < 64 && length + size > head.count) return false;
    drop(length);
    const auto v = static_cast<int32_t>(head.bits >> (kWindowBits - size));
    drop(size);
    store(next, extend(v, size));
    return true;
  }

  // Takes the last coefficient with the end of the block, or the end alone, which is handled as a
  // coefficient of 0: a branch between the two would be unpredictable. False for anything else.
  bool atEnd(BitWindow *w, const JpgHuffLookup &lookup, uint32_t maxLength) {
    const uint32_t skip = shortcutSkip(fast);
    const uint32_t next = k + skip % kSkipEnd + skip / kSkipEnd % 2;
    if (skip == kSkipNone || next >= kBlockSize - 1) return false;
    const int32_t value = shortcutValue(fast);
    const uint32_t reached = value != 0 ? next : k;
    // A table may have several codes for the end.
    const uint32_t endLength = value != 0 ? lookup.endLength : shortcutLength(fast);
    drop(shortcutLength(fast));
    store(next, value);
    k = reached;
    putBack(w, head);
    // The bit reader would have peeked the table's longest code length for the end's code.
    noteReach(w, placeOf(*w) - endLength + maxLength);
    return true;
  }
};

// Bits needed for the first round: one shortcut fewer than a whole round. A window that was
// refilled before the DC difference has them, unless the difference had no shortcut.
constexpr uint32_t kFirstRoundBits =
    kWindowBits >= 64 ? kEnoughBits - kShortcutBits : kMaxCodeLength;

// Two skips after a refill: the second one may begin kLongestSkip bits further on.
static_assert(!kHaveSkips || kLongestSkip + kSkipBits - 1 + kMaxCodeLength <= kEnoughBits,
              "a filled window has enough for two skips");
static_assert(!kHaveSkips || kLongestSkip <= kFirstRoundBits, "and at first for one");

// Decodes and drops the AC coefficients after zig-zag position *last until the window can't be
// refilled.
AcEnd skipAc(BitWindow *w, WindowHead head, JpgStream *s, const JpgScanComponent &component,
             const HuffSkip *skips, int16_t *block, uint32_t *last, Result *result) {
  uint32_t k = *last;
  HuffSkip fast = 0;
  const auto inside = [&] {
    fast = skips[head.bits >> (kWindowBits - kSkipBits)];
    const uint32_t next = k + skipOf(fast);
    if (next >= kBlockSize - 1) return false;
    dropHeadBits(&head, skippedBits(fast));
    k = next;
    return true;
  };
  bool going = inside();
  for (;;) {
    if (!going) {
      const bool ended =
          skipOf(fast) / kSkipEnd == 1 && k + skipOf(fast) % kSkipEnd < kBlockSize - 1;
      if (ended) dropHeadBits(&head, skippedBits(fast));
      putBack(w, head);
      if (ended) {
        noteReach(w, placeOf(*w) - component.acLookup->endLength + component.acMaxLength);
        return AcEnd::kBlock;
      }
      *last = k;
      const AcEnd end = decodeLongAc(w, s, component, block, 0, last, result);
      if (end != AcEnd::kLeft) return end;
      head = headOf(*w);
      k = *last;
    }
    if (!fillHead(w, &head)) break;
    going = inside();
    if (going) going = inside();
  }
  putBack(w, head);
  *last = k;
  return AcEnd::kLeft;
}

template <uint32_t kLastStored>
AcEnd decodeAcWide(BitWindow *w, const WindowHead &head, JpgStream *s,
                   const JpgScanComponent &component, int16_t *block, uint32_t *last,
                   Result *result) {
  AcLoop<kLastStored> loop = {
      component.acLookup->shortcut, component.quantTable, naturalOrder(), block, head, 0, 0};
  if (loop.head.count < kFirstRoundBits && !fillForRound(w, &loop.head)) {
    putBack(w, loop.head);
    *last = 0;
    return AcEnd::kLeft;
  }
  const HuffSkip *skips = kLastStored <= kCornerOf2 ? skipsOf(*component.acLookup) : nullptr;
  if (kLastStored == 0 && skips != nullptr) {
    *last = 0;
    return skipAc(w, loop.head, s, component, skips, block, last, result);
  }
  bool going = loop.firstRound();
  for (;;) {
    if (!going && !loop.longInside()) {
      const bool ended = loop.atEnd(w, *component.acLookup, component.acMaxLength);
      *last = loop.k;
      if (ended) return AcEnd::kBlock;
      putBack(w, loop.head);
      const AcEnd end = decodeLongAc(w, s, component, block, kLastStored, last, result);
      if (end != AcEnd::kLeft) return end;
      loop.head = headOf(*w);
      loop.k = *last;
    }
    if (!fillForRound(w, &loop.head)) break;
    if (kLastStored != 0 && skips != nullptr && loop.k >= kLastStored) {
      *last = loop.k;
      return skipAc(w, loop.head, s, component, skips, block, last, result);
    }
    going = loop.wholeRound();
  }
  putBack(w, loop.head);
  *last = loop.k;
  return AcEnd::kLeft;
}

// Opens and refills the window for a DC symbol and the first round of AC symbols, and copies its
// head. False when the bit reader must decode the block.
inline bool isReady(BitWindow *w, JpgStream *s, const JpgScanComponent &component,
                    WindowHead *head) {
  if (component.dcLookup == nullptr || component.acLookup == nullptr) return false;
  if (!isOpen(*w) && !openWindow(w, s)) return false;
  *head = headOf(*w);
  const bool filled = (kWindowBits < 64 && head->count >= kSymbolBits) || fillHead(w, head);
  if (!filled) putBack(w, *head);
  return filled;
}

template <uint32_t kLastStored>
Result decodeWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                  uint32_t *last) {
  *last = kBlockSize - 1;
  WindowHead head = {};
  if (!isReady(w, s, *component, &head)) {
    if (isOpen(*w)) closeWindow(w, s);
    return decodeBlock(s, block, component, kLastStored);
  }
  if (const Result r = updateDcWide(w, &head, s, component); r != JPG_OK) return r;
  block[0] = dequantise(component->dcPredictor, component->quantTable[0]);
  Result result = JPG_OK;
  const AcEnd end = decodeAcWide<kLastStored>(w, head, s, *component, block, last, &result);
  if (end == AcEnd::kBlock) return JPG_OK;
  if (end == AcEnd::kFailed) return result;
  if (isOpen(*w)) closeWindow(w, s);
  const uint32_t reached = *last;
  *last = kBlockSize - 1;
  return decodeAcFrom(s, block, *component, kLastStored, reached);
}

}  // namespace

Result decodeBlockFast(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                       uint32_t *last) {
  return decodeWide<kBlockSize - 1>(w, s, block, component, last);
}

Result decodeCornerFast(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                        uint32_t lastStored) {
  uint32_t last = 0;
  switch (lastStored) {
    case 0:
      return decodeWide<0>(w, s, block, component, &last);
    case kCornerOf2:
      return decodeWide<kCornerOf2>(w, s, block, component, &last);
    default:
      return decodeWide<kCornerOf4>(w, s, block, component, &last);
  }
}

}  // namespace jpg
