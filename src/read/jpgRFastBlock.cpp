#include "read/jpgRFastBlock.h"

#include "read/jpgRVLC.h"
#include "share/jpgArith.h"

namespace jpg {
namespace {

// A symbol out of the window's own head.
bool symbolOf(BitWindow *w, const HuffDecoder &table, uint32_t *symbol) {
  WindowHead head = headOf(*w);
  const bool found = windowSymbol(w, &head, table, symbol);
  putBack(w, head);
  return found;
}

// As receiveExtend, out of the window or, where that can't be filled, behind it.
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

// Adds a DC difference to the predictor. At least kSymbolBits bits must be there.
inline Result updateDcWide(BitWindow *w, WindowHead *head, JpgStream *s,
                           JpgScanComponent *component) {
  const HuffShortcut fast = shortcutsOf(
      component->dcLookup, component->dcMaxLength)[head->bits >> (kWindowBits - kShortcutBits)];
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

// How the AC coefficients end.
enum class AcEnd {
  kBlock,   // at the end of the block
  kFailed,  // with *result
  kLeft     // not yet: the next symbol is due
};

// A symbol that has no shortcut, or whose shortcut leads out of the block; *k is the coded
// position reached. Coefficients behind `lastStored` are dropped.
[[gnu::noinline]] AcEnd decodeLongAc(BitWindow *w, JpgStream *s, const JpgScanComponent &component,
                                     int16_t *block, uint32_t lastStored, uint32_t *k,
                                     Result *result) {
  uint32_t symbol = 0;
  *result = JPG_E_BAD_AC_CODE;
  if (!symbolOf(w, acDecoder(component), &symbol)) return AcEnd::kFailed;
  const uint32_t size = symbol & 15;
  if (symbol == 0) return AcEnd::kBlock;
  if (size == 0) {
    // Data are there, so zero runs can't go on for ever.
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

// Fills the window's head for one round of symbols: up to four, of which three are shortcuts, on
// wide registers. Those are filled up without a look at how much is left, which no branch
// prediction could tell.
inline bool fillForRound(BitWindow *w, WindowHead *head) {
  if (kWindowBits < 64 && head->count >= kMaxCodeLength) return true;
  return fillHead(w, head);
}

// The AC coefficients of a block as far as the window goes. Its head is kept in registers between
// the symbols that need more than a look at the shortcuts.
template <uint32_t kLastStored>
struct AcLoop {
  const HuffShortcut *shortcuts;
  const uint32_t *quant;
  int16_t *block;
  WindowHead head;
  uint32_t k;         // coded position reached
  HuffShortcut fast;  // looked at last

  void drop(uint32_t bits) { dropHeadBits(&head, bits); }

  // Of a corner, what lies outside of it doesn't matter; of DC alone nothing is kept.
  void store(uint32_t position, int32_t value) {
    k = position;
    if (kLastStored == 0) return;
    block[kZigZag.natural[position]] = dequantise(value, quant[position]);
  }

  // A coefficient that leaves the block unfinished. Ends, and what has no shortcut, lie beyond
  // the block, and so does its last coefficient here, behind which no end follows.
  bool inside() {
    fast = acShortcut(shortcuts, head.bits);
    const uint32_t next = k + shortcutSkip(fast);
    if (next >= kBlockSize - 1) return false;
    drop(shortcutLength(fast));
    store(next, shortcutValue(fast));
    return true;
  }

  // Symbols behind a refill, and those that a filled window still has behind a DC shortcut.
  bool wholeRound() {
    return kWindowBits < 64 ? inside() : inside() && inside() && inside() && inside();
  }
  bool firstRound() { return kWindowBits < 64 ? inside() : inside() && inside() && inside(); }

  // A coefficient inside of the block whose code is in the shortcuts, but not its bits.
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

  // The last coefficient with the end behind it, or the end alone, which is taken for a
  // coefficient of 0, since no branch prediction could tell them apart. False for anything else.
  bool atEnd(BitWindow *w, uint32_t maxLength) {
    const uint32_t skip = shortcutSkip(fast);
    const uint32_t next = k + skip % kSkipEnd + skip / kSkipEnd % 2;
    if (skip == kSkipNone || next >= kBlockSize - 1) return false;
    const int32_t value = shortcutValue(fast);
    const uint32_t reached = value != 0 ? next : k;
    // A table may have several codes for the end.
    const uint32_t endLength = value != 0 ? endLengthOf(shortcuts) : shortcutLength(fast);
    drop(shortcutLength(fast));
    store(next, value);
    k = reached;
    putBack(w, head);
    // Ahead of the end's code the bit reader would have looked at the longest one there is.
    noteReach(w, placeOf(*w) - endLength + maxLength);
    return true;
  }
};

// Bits for the first round: as for a whole one, but of three shortcuts. A window that was filled
// ahead of the DC difference has them, unless that had no shortcut.
constexpr uint32_t kFirstRoundBits =
    kWindowBits >= 64 ? kEnoughBits - kShortcutBits : kMaxCodeLength;

// Skips behind a refill: the second one may begin kLongestSkip bits on.
static_assert(!kHaveSkips || kLongestSkip + kSkipBits - 1 + kMaxCodeLength <= kEnoughBits,
              "a filled window has enough for two skips");
static_assert(!kHaveSkips || kLongestSkip <= kFirstRoundBits, "and at first for one");

// The AC coefficients behind coded position *last, which are dropped, as far as the window goes.
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
        const HuffShortcut *shortcuts = shortcutsOf(component.acLookup, component.acMaxLength);
        noteReach(w, placeOf(*w) - endLengthOf(shortcuts) + component.acMaxLength);
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
  AcLoop<kLastStored> loop = {shortcutsOf(component.acLookup, component.acMaxLength),
                              component.quantTable,
                              block,
                              head,
                              0,
                              0};
  if (loop.head.count < kFirstRoundBits && !fillForRound(w, &loop.head)) {
    putBack(w, loop.head);
    *last = 0;
    return AcEnd::kLeft;
  }
  const HuffSkip *skips =
      kLastStored <= kCornerOf2 ? skipsOf(component.acLookup, component.acMaxLength) : nullptr;
  if (kLastStored == 0 && skips != nullptr) {
    *last = 0;
    return skipAc(w, loop.head, s, component, skips, block, last, result);
  }
  bool going = loop.firstRound();
  for (;;) {
    if (!going && !loop.longInside()) {
      const bool ended = loop.atEnd(w, component.acMaxLength);
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

// True when the window is open and filled for a DC symbol and the first round of AC symbols; its
// head is taken out then.
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
