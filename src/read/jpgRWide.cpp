#include "read/jpgRWide.h"

#include <string.h>

#include "read/jpgRVLC.h"
#include "share/jpgArith.h"

namespace jpg {
namespace {

// Bits that the window should have ahead of a symbol: on wide registers a code and its
// additional bits, else a whole code or a whole shortcut.
constexpr uint32_t kSymbolBits = kWindowBits >= 64 ? 2 * kMaxCodeLength : kMaxCodeLength;

int16_t dequantise(int32_t value, uint32_t quant) { return low16(wrapMul(value, asSigned(quant))); }

// Closes the window, unless receiving bits has done so.
void leave(BitWindow *w, JpgStream *s) {
  if (isOpen(*w)) closeWindow(w, s);
}

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
  return v >= kExtend.threshold[category] ? v : v + kExtend.offset[category];
}

// Adds a DC difference to the predictor. At least kSymbolBits bits must be there.
Result updateDcWide(BitWindow *w, JpgStream *s, JpgScanComponent *component) {
  const HuffDecoder table = dcDecoder(*component);
  const HuffShortcut fast =
      shortcutsOf(table.lookup, table.maxLength)[windowBits(*w, kShortcutBits)];
  if (fast.skip == 1 || fast.skip == kSkipEnd) {
    noteReach(w, placeOf(*w) + table.maxLength);
    dropWindowBits(w, fast.length);
    component->dcPredictor = wrapAdd(component->dcPredictor, fast.value);
    return JPG_OK;
  }
  uint32_t category = 0;
  if (!windowSymbol(w, table, &category) || category > kMaxDctCategory) return JPG_E_BAD_DC_CODE;
  if (category == 0) return JPG_OK;
  component->dcPredictor = wrapAdd(component->dcPredictor, windowExtend(w, s, category));
  return JPG_OK;
}

// How the AC coefficients end.
enum class AcEnd {
  kBlock,   // at the end of the block
  kFailed,  // with a code
  kLeft     // the bit reader must go on
};

struct AcState {
  int16_t *block;
  const uint32_t *quant;  // zig-zag order
  HuffDecoder table;
  uint32_t lastStored;  // coefficients behind this coded position are dropped
  uint32_t k;           // coded position of the last coefficient
  Result result;
};

// A symbol that has no shortcut, or whose shortcut leads out of the block.
AcEnd decodeLongAc(BitWindow *w, JpgStream *s, AcState *a) {
  uint32_t symbol = 0;
  a->result = JPG_E_BAD_AC_CODE;
  if (!windowSymbol(w, a->table, &symbol)) return AcEnd::kFailed;
  const uint32_t size = symbol & 15;
  if (size == 0) {
    if (symbol == 0) return AcEnd::kBlock;
    // Data are there, so zero runs can't go on for ever.
    if (a->k < kBlockSize) a->k += 16;
    return AcEnd::kLeft;
  }
  a->k += (symbol >> 4) + 1;
  a->result = JPG_E_COEF_OVERFLOW;
  if (a->k >= kBlockSize) return AcEnd::kFailed;
  const int32_t value = windowExtend(w, s, size);
  if (a->k <= a->lastStored) {
    a->block[kZigZag.natural[a->k]] = dequantise(value, a->quant[a->k]);
  }
  return a->k == kBlockSize - 1 ? AcEnd::kBlock : AcEnd::kLeft;
}

// The AC coefficients as far as the window goes.
AcEnd decodeAcWide(BitWindow *w, JpgStream *s, AcState *a) {
  const HuffShortcut *shortcuts = shortcutsOf(a->table.lookup, a->table.maxLength);
  BitWindow local = *w;
  uint32_t k = a->k;
  for (;;) {
    if (!ensureBits(&local, kSymbolBits)) break;
    const HuffShortcut fast = shortcuts[windowBits(local, kShortcutBits)];
    const uint32_t next = k + fast.skip;
    if (next < kBlockSize) {
      dropWindowBits(&local, fast.length);
      if (next <= a->lastStored) {
        a->block[kZigZag.natural[next]] = dequantise(fast.value, a->quant[next]);
      }
      k = next;
      if (next != kBlockSize - 1) continue;
      noteReach(&local, placeOf(local) - fast.length + a->table.maxLength);
      *w = local;
      a->k = k;
      return AcEnd::kBlock;
    }
    if (fast.skip == kSkipEnd) {
      noteReach(&local, placeOf(local) + a->table.maxLength);
      dropWindowBits(&local, fast.length);
      *w = local;
      a->k = k;
      return AcEnd::kBlock;
    }
    *w = local;
    a->k = k;
    const AcEnd end = decodeLongAc(w, s, a);
    local = *w;
    k = a->k;
    if (end != AcEnd::kLeft) return end;
  }
  *w = local;
  a->k = k;
  return AcEnd::kLeft;
}

// Without a window: a block, or what is left of it behind coded position k.
Result decodeByBits(BitWindow *w, JpgStream *s, AcState *a, JpgScanComponent *component) {
  leave(w, s);
  return decodeAcFrom(s, a->block, *component, a->lastStored, a->k);
}

Result decodeWide(BitWindow *w, JpgStream *s, AcState *a, JpgScanComponent *component) {
  const bool tables = component->dcLookup != nullptr && component->acLookup != nullptr;
  if (!isOpen(*w) && !(tables && openWindow(w, s))) {
    a->k = kBlockSize - 1;
    return decodeBlockCorner(s, a->block, component, a->lastStored);
  }
  if (!tables || !ensureBits(w, kSymbolBits)) {
    closeWindow(w, s);
    a->k = kBlockSize - 1;
    return decodeBlockCorner(s, a->block, component, a->lastStored);
  }
  if (const Result r = updateDcWide(w, s, component); r != JPG_OK) return r;
  a->block[0] = dequantise(component->dcPredictor, a->quant[0]);
  switch (decodeAcWide(w, s, a)) {
    case AcEnd::kBlock:
      return JPG_OK;
    case AcEnd::kFailed:
      return a->result;
    default:
      const Result r = decodeByBits(w, s, a, component);
      a->k = kBlockSize - 1;
      return r;
  }
}

}  // namespace

Result decodeBlockWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                       uint32_t *last) {
  memset(block, 0, kBlockSize * sizeof(int16_t));
  AcState a = {block, component->quantTable, acDecoder(*component), kBlockSize - 1, 0, JPG_OK};
  const Result r = decodeWide(w, s, &a, component);
  *last = a.k;
  return r;
}

Result decodeCornerWide(BitWindow *w, JpgStream *s, int16_t *block, JpgScanComponent *component,
                        uint32_t lastStored) {
  AcState a = {block, component->quantTable, acDecoder(*component), lastStored, 0, JPG_OK};
  return decodeWide(w, s, &a, component);
}

}  // namespace jpg
