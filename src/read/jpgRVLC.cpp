// SPDX-License-Identifier: MIT
#include "read/jpgRVLC.h"

#include <string.h>

#include "share/jpgArith.h"
#include "share/jpgAssert.h"

namespace jpg {
namespace {

constexpr uint32_t kMaxLosslessCategory = 16;
constexpr uint32_t kZeroRun = 15;  // r of the ZRL code

constexpr uint32_t runOf(uint32_t symbol) { return symbol >> 4; }
constexpr uint32_t sizeOf(uint32_t symbol) { return symbol & 15; }

void clearBlock(int16_t *block) { memset(block, 0, kBlockSize * sizeof(int16_t)); }

// Decodes a DC difference and adds it to the component's predictor.
Result updateDcPredictor(JpgStream *s, JpgScanComponent *k) {
  uint32_t category = 0;
  if (decodeSymbol(s, dcDecoder(*k), &category) != JPG_OK) return JPG_E_BAD_DC_CODE;
  if (category > kMaxDctCategory) return JPG_E_BAD_DC_CODE;
  if (category != 0) k->dcPredictor = wrapAdd(k->dcPredictor, receiveExtend(s, category));
  return JPG_OK;
}

// Length of the end-of-band run that code r announces (T.81 G.1.2.2).
uint32_t readEobRun(JpgStream *s, uint32_t r) {
  return (uint32_t{1} << r) + (r != 0 ? readBits(s, r) : 0);
}

// The values that a refinement scan adds to coefficients.
struct Refinement {
  int32_t plus;   // 1 << Al
  int32_t minus;  // -1 << Al
};

Refinement refinementOf(const JpgContext &c) { return {wrapShl(1, c.Al), wrapShl(-1, c.Al)}; }

// Reads and applies the correction bit of a non-zero coefficient (T.81 G.1.2.3).
void refineCoefficient(JpgStream *s, int16_t *coefficient, const Refinement &add) {
  if (readBits(s, 1) == 0 || (*coefficient & add.plus) != 0) return;
  *coefficient = low16(*coefficient + (*coefficient >= 0 ? add.plus : add.minus));
}

// Refines non-zero coefficients from k to Se until `zeros` zero ones have been
// passed; returns the index of the zero that ended the walk, or Se + 1.
uint32_t refineRun(JpgContext *c, int16_t *block, uint32_t k, uint32_t zeros,
                   const Refinement &add) {
  JPG_ASSERT(c->Se < kBlockSize);
  for (; k <= c->Se; k++) {
    int16_t *coefficient = &block[kZigZag.natural[k]];
    if (*coefficient != 0) {
      refineCoefficient(&c->stream, coefficient, add);
    } else if (zeros-- == 0) {
      break;
    }
  }
  return k;
}

// Decodes the coded part of a refinement block, up to Se or to an end-of-band run. `k`
// is left where the run begins.
Result refineCoded(JpgContext *c, int16_t *block, const HuffDecoder &table, uint32_t *k,
                   const Refinement &add) {
  JpgStream *s = &c->stream;
  while (*k <= c->Se) {
    uint32_t symbol = 0;
    if (decodeSymbol(s, table, &symbol) != JPG_OK) return JPG_E_BAD_AC_CODE;
    const uint32_t run = runOf(symbol);
    int32_t fresh = 0;
    if (sizeOf(symbol) > 1) return JPG_NO_DATA;
    if (sizeOf(symbol) == 1) {
      fresh = readBits(s, 1) != 0 ? add.plus : add.minus;
    } else if (run < kZeroRun) {
      c->eobRun = readEobRun(s, run);
      return JPG_OK;
    }
    *k = refineRun(c, block, *k, run, add);
    if (fresh != 0) {
      if (*k >= kBlockSize) return JPG_E_COEF_OVERFLOW;
      block[kZigZag.natural[*k]] = low16(fresh);
    }
    ++*k;
  }
  return JPG_OK;
}

}  // namespace

Result decodeBlock(JpgStream *s, int16_t *block, JpgScanComponent *component, uint32_t lastStored) {
  if (const Result r = updateDcPredictor(s, component); r != JPG_OK) return r;
  block[0] = dequantise(component->dcPredictor, component->quantTable[0]);
  return decodeAcFrom(s, block, *component, lastStored, 0);
}

// A code with size 0 other than EOB counts as a run of sixteen zeros, whatever its run is.
Result decodeAcFrom(JpgStream *s, int16_t *block, const JpgScanComponent &component,
                    uint32_t lastStored, uint32_t k) {
  const HuffDecoder table = acDecoder(component);
  for (;;) {
    uint32_t symbol = 0;
    if (decodeSymbol(s, table, &symbol) != JPG_OK) return JPG_E_BAD_AC_CODE;
    const uint32_t size = sizeOf(symbol);
    if (size == 0) {
      if (runOf(symbol) == 0) return JPG_OK;
      if (k < kBlockSize) k += 16;
      // A table may map the endless 1-bits after the data to zero runs: don't loop for ever.
      if (k >= kBlockSize && s->endState != kEndNone) return JPG_E_COEF_OVERFLOW;
      continue;
    }
    k += runOf(symbol) + 1;
    if (k >= kBlockSize) return JPG_E_COEF_OVERFLOW;
    const int32_t value = receiveExtend(s, size);
    if (k <= lastStored) block[kZigZag.natural[k]] = dequantise(value, component.quantTable[k]);
    if (k == kBlockSize - 1) return JPG_OK;
  }
}

Result decodeDcFirst(JpgContext *c, int16_t *block, JpgScanComponent *component) {
  clearBlock(block);
  if (const Result r = updateDcPredictor(&c->stream, component); r != JPG_OK) return r;
  block[0] = low16(wrapShl(component->dcPredictor, c->Al));
  return JPG_OK;
}

Result decodeDcRefine(JpgContext *c, int16_t *block, JpgScanComponent * /*component*/) {
  if (readBits(&c->stream, 1) != 0) block[0] = low16(block[0] | wrapShl(1, c->Al));
  return JPG_OK;
}

Result decodeAcFirst(JpgContext *c, int16_t *block, JpgScanComponent *component) {
  if (c->eobRun > 0) {
    c->eobRun--;
    return JPG_OK;
  }
  JpgStream *s = &c->stream;
  const HuffDecoder table = acDecoder(*component);
  for (uint32_t k = c->Ss; k <= c->Se; k++) {
    uint32_t symbol = 0;
    if (decodeSymbol(s, table, &symbol) != JPG_OK) return JPG_E_BAD_AC_CODE;
    const uint32_t run = runOf(symbol);
    const uint32_t size = sizeOf(symbol);
    if (size == 0 && run < kZeroRun) {
      c->eobRun = readEobRun(s, run) - 1;
      return JPG_OK;
    }
    k += run;
    if (size == 0) continue;
    if (k >= kBlockSize) return JPG_E_COEF_OVERFLOW;
    block[kZigZag.natural[k]] = low16(wrapShl(receiveExtend(s, size), c->Al));
  }
  return JPG_OK;
}

Result decodeAcRefine(JpgContext *c, int16_t *block, JpgScanComponent *component) {
  const Refinement add = refinementOf(*c);
  uint32_t k = c->Ss;
  if (c->eobRun == 0) {
    const Result r = refineCoded(c, block, acDecoder(*component), &k, add);
    if (r != JPG_OK) return r;
  }
  if (c->eobRun > 0) {
    refineRun(c, block, k, kBlockSize, add);
    c->eobRun--;
  }
  return JPG_OK;
}

Result decodeDifference(JpgStream *s, const HuffDecoder &table, int32_t *difference) {
  uint32_t category = 0;
  if (decodeSymbol(s, table, &category) != JPG_OK) return JPG_E_FAIL;
  if (category > kMaxLosslessCategory) return JPG_E_FAIL;
  *difference = category == kMaxLosslessCategory ? static_cast<int32_t>(readBits(s, category))
                                                 : receiveExtend(s, category);
  return JPG_OK;
}

}  // namespace jpg
