// SPDX-License-Identifier: MIT
// Entropy decoding: Huffman symbols, and the blocks and differences made of them.
//
// In: the bit reader and the tables of a scan component. Out: the sequential
// decoder gives dequantised coefficients in natural order (64 entries, row-major),
// the progressive ones refine a stored block without dequantising. Called by the
// MCU loops; nothing here knows an MCU.
#ifndef JPG_READ_RVLC_H
#define JPG_READ_RVLC_H

#include <stddef.h>
#include <stdint.h>

#include "read/jpgRBits.h"
#include "share/jpgArith.h"
#include "share/jpgHuffFast.h"
#include "share/jpgShare.h"

namespace jpg {

// The part of a Huffman table that decoding needs.
struct HuffDecoder {
  const JpgHuffLookup *lookup;  // null: never defined, holds no code
  const JpgHuffCode *codes;
  uint32_t maxLength;
};

inline HuffDecoder dcDecoder(const JpgScanComponent &k) {
  return {k.dcLookup, k.dcCodes, k.dcMaxLength};
}
inline HuffDecoder acDecoder(const JpgScanComponent &k) {
  return {k.acLookup, k.acCodes, k.acMaxLength};
}

// A coefficient: the low 16 bits of the product of value and step. The low 16 bits of the step are
// enough for them, and 32-bit ARM has multiplications of halfwords that take a shortcut's value as
// it stands; 64-bit processors multiply by the step in memory.
inline int16_t dequantise(int32_t value, uint32_t quant) {
  const int32_t step = asSigned(quant);
  return low16(wrapMul(value, sizeof(size_t) == 4 ? low16(step) : step));
}

// Decodes one symbol. 0, or JPG_E_NOT_FOUND (nothing is consumed then).
inline Result decodeSymbol(JpgStream *s, const HuffDecoder &table, uint32_t *value) {
  if (table.lookup == nullptr) return JPG_E_NOT_FOUND;
  const uint32_t bits = peekBits(s, table.maxLength) << (kMaxCodeLength - table.maxLength);
  const HuffSymbol symbol = symbolAt(*table.lookup, table.codes, bits);
  if (symbol.length == 0) return JPG_E_NOT_FOUND;
  dropBits(s, symbol.length);
  *value = symbol.value;
  return JPG_OK;
}

// Reads `category` bits, at most kMaxDctCategory, and extends them (T.81 F.2.2.1).
inline int32_t receiveExtend(JpgStream *s, uint32_t category) {
  const int32_t v = static_cast<int32_t>(readBits(s, category));
  return extend(v, category);
}

// Decodes a block of a sequential scan into a block that the caller has cleared. Coefficients after
// zig-zag position `lastStored` are decoded and dropped. 0, JPG_E_BAD_DC_CODE, JPG_E_BAD_AC_CODE
// or JPG_E_COEF_OVERFLOW.
Result decodeBlock(JpgStream *s, int16_t *block, JpgScanComponent *component, uint32_t lastStored);

// Decodes the AC coefficients of such a block after zig-zag position k.
Result decodeAcFrom(JpgStream *s, int16_t *block, const JpgScanComponent &component,
                    uint32_t lastStored, uint32_t k);

// Decode a block of a progressive scan (T.81 G.1.2, G.2) by Ss, Se, Ah, Al and eobRun of
// the context. 0, JPG_E_BAD_DC_CODE, JPG_E_BAD_AC_CODE, JPG_E_COEF_OVERFLOW, or
// JPG_NO_DATA for a refinement of more than one bit.
Result decodeDcFirst(JpgContext *c, int16_t *block, JpgScanComponent *component);
Result decodeDcRefine(JpgContext *c, int16_t *block, JpgScanComponent *component);
Result decodeAcFirst(JpgContext *c, int16_t *block, JpgScanComponent *component);
Result decodeAcRefine(JpgContext *c, int16_t *block, JpgScanComponent *component);

// Decodes a difference of a lossless scan: -32767 to 32767, or for category 16 the 16
// additional bits without extension (0 to 65535). 0 or JPG_E_FAIL.
Result decodeDifference(JpgStream *s, const HuffDecoder &table, int32_t *difference);

}  // namespace jpg

#endif
