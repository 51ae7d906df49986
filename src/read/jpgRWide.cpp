#include "read/jpgRWide.h"

#include "read/jpgRVLC.h"
#include "share/jpgArith.h"

namespace jpg {
namespace {

// A symbol by the lookup array; kMaxCodeLength bits must be there. False for none.
bool windowSymbol(BitWindow *w, const HuffDecoder &table, uint32_t *value) {
  noteReach(w, placeOf(*w) + table.maxLength);
  const uint8_t entry = table.lookup[windowBits(*w, table.maxLength)];
  if (entry == kNoCode) return false;
  dropWindowBits(w, table.codes[entry].length);
  *value = table.codes[entry].value;
  return true;
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
  if (!windowSymbol(w, dcDecoder(*component), &category) || category > kMaxDctCategory) {
    return JPG_E_BAD_DC_CODE;
  }
  if (category == 0) return JPG_OK;
  component->dcPredictor = wrapAdd(component->dcPredictor, windowExtend(w, s, category));
  return JPG_OK;
}

// Adds a DC difference to the predictor. At least kSymbolBits bits must be there.
inline Result updateDcWide(BitWindow *w, JpgStream *s, JpgScanComponent *component) {
  const HuffShortcut fast =
      shortcutsOf(component->dcLookup, component->dcMaxLength)[windowBits(*w, kShortcutBits)];
  const uint32_t skip = shortcutSkip(fast);
  if (skip != 1 && skip != kSkipEnd) return updateDcLong(w, s, component);
  noteReach(w, placeOf(*w) + component->dcMaxLength);
  dropWindowBits(w, shortcutLength(fast));
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
  if (!windowSymbol(w, acDecoder(component), &symbol)) return AcEnd::kFailed;
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

// Symbols of a round.
constexpr uint32_t kRound = kWindowBits >= 64 ? 4 : 1;

// Fills the window's head for one round of symbols: up to four, of which three are shortcuts, on
// wide registers. Those are filled up without a look at how much is left, which no branch
// prediction could tell.
inline bool fillForRound(BitWindow *w, WindowHead *head) {
  if (kWindowBits < 64 && head->count >= kMaxCodeLength) return true;
  return fillHead(w, head);
}

// The AC coefficients as far as the window goes. Its head is kept in registers between the
// symbols that need more than a look at the shortcuts.
template <uint32_t kLastStored>
AcEnd decodeAcWide(BitWindow *w, JpgStream *s, const JpgScanComponent &component, int16_t *block,
                   uint32_t *last, Result *result) {
  const HuffShortcut *shortcuts = shortcutsOf(component.acLookup, component.acMaxLength);
  const uint32_t *quant = component.quantTable;
  WindowHead head = headOf(*w);
  uint32_t k = 0;
  HuffShortcut fast = 0;
  const auto take = [&](uint32_t position) {
    head.bits <<= shortcutLength(fast);
    head.count -= shortcutLength(fast);
    k = position;
    // Of a corner, what lies outside of it doesn't matter; of DC alone nothing is kept.
    if (kLastStored == 0) return;
    block[kZigZag.natural[position]] = dequantise(shortcutValue(fast), quant[position]);
  };
  // A coefficient that leaves the block unfinished. Ends, and what has no shortcut, lie beyond
  // the block, and so does its last coefficient here, behind which no end follows.
  const auto inside = [&] {
    fast = acShortcut(shortcuts, head.bits);
    const uint32_t next = k + shortcutSkip(fast);
    if (next >= kBlockSize - 1) return false;
    take(next);
    return true;
  };
  for (;;) {
    if (!fillForRound(w, &head)) break;
    uint32_t taken = 0;
    while (taken < kRound && inside()) taken++;
    if (taken == kRound) continue;
    const uint32_t next = k + shortcutSkip(fast);
    const bool coefficient = (shortcutSkip(fast) & kSkipThenEnd) != 0;
    if (coefficient && next < kSkipThenEnd + kBlockSize - 1) {
      take(next - kSkipThenEnd);
      putBack(w, head);
      *last = k;
      // Ahead of the end's code the bit reader would have looked at the longest one there is.
      noteReach(w, placeOf(*w) - endLengthOf(shortcuts) + component.acMaxLength);
      return AcEnd::kBlock;
    }
    if (shortcutSkip(fast) == kSkipEnd) {
      noteReach(w, w->loaded - head.count + component.acMaxLength);
      head.bits <<= shortcutLength(fast);
      head.count -= shortcutLength(fast);
      putBack(w, head);
      *last = k;
      return AcEnd::kBlock;
    }
    putBack(w, head);
    uint32_t reached = k;
    const AcEnd end = decodeLongAc(w, s, component, block, kLastStored, &reached, result);
    *last = k = reached;
    if (end != AcEnd::kLeft) return end;
    head = headOf(*w);
  }
  putBack(w, head);
  *last = k;
  return AcEnd::kLeft;
}

// True when the window is open and has bits for a symbol.
inline bool isReady(BitWindow *w, JpgStream *s, const JpgScanComponent &component) {
  if (component.dcLookup == nullptr || component.acLookup == nullptr) return false;
  return (isOpen(*w) || openWindow(w, s)) && ensureBits(w, kSymbolBits);
}

template <uint32_t kLastStored>
Result decodeWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                  uint32_t *last) {
  *last = kBlockSize - 1;
  if (!isReady(w, s, *component)) {
    if (isOpen(*w)) closeWindow(w, s);
    return decodeBlockCorner(s, block, component, kLastStored);
  }
  if (const Result r = updateDcWide(w, s, component); r != JPG_OK) return r;
  block[0] = dequantise(component->dcPredictor, component->quantTable[0]);
  Result result = JPG_OK;
  const AcEnd end = decodeAcWide<kLastStored>(w, s, *component, block, last, &result);
  if (end == AcEnd::kBlock) return JPG_OK;
  if (end == AcEnd::kFailed) return result;
  if (isOpen(*w)) closeWindow(w, s);
  const uint32_t reached = *last;
  *last = kBlockSize - 1;
  return decodeAcFrom(s, block, *component, kLastStored, reached);
}

}  // namespace

Result decodeBlockWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                       uint32_t *last) {
  return decodeWide<kBlockSize - 1>(w, s, block, component, last);
}

Result decodeCornerWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
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
