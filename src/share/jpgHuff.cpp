// SPDX-License-Identifier: MIT
#include "share/jpgHuff.h"

#include "jpg.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"
#include "share/jpgHuffFast.h"

namespace jpg {
namespace {

// True when every length has room for its codes behind those of the shorter ones.
bool codesFit(const uint8_t *counts) {
  uint32_t code = 0;  // first code of the current length
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    code += counts[length - 1];
    if (code > uint32_t{1} << length) return false;
    code <<= 1;
  }
  return true;
}

// Codes of ascending length (T.81 Figures C.1 and C.2) and an entry of length 0 behind them.
// Returns the longest length.
uint32_t listCodes(const HuffSource &source, JpgHuffCode *codes) {
  const uint8_t *values = source.values;
  uint32_t code = 0, maxLength = 0;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++, code <<= 1) {
    for (uint32_t i = 0; i < source.counts[length - 1]; i++) {
      *codes++ = {code++, *values++, static_cast<uint16_t>(length)};
      maxLength = length;
    }
  }
  *codes = {};
  JPG_ASSERT(maxLength <= kMaxCodeLength);
  return maxLength;
}

}  // namespace

uint32_t countCodes(const uint8_t *counts) {
  uint32_t sum = 0;
  for (uint32_t i = 0; i < kMaxCodeLength; i++) sum += counts[i];
  return sum;
}

uint32_t makeHuffCodes(const HuffSource &source, JpgHuffTable *table) {
  const uint32_t count = countCodes(source.counts);
  if (count > kMaxCodes || !codesFit(source.counts)) return JPG_E_UNSUPPORTED;
  auto *codes = static_cast<JpgHuffCode *>(heapAlloc((count + 1) * sizeof(JpgHuffCode)));
  if (codes == nullptr) return JPG_E_OUT_OF_MEMORY;
  table->maxLength = listCodes(source, codes);
  table->codes = codes;
  table->lookup = nullptr;
  table->count = count;
  return JPG_OK;
}

uint32_t freeHuffTable(JpgHuffTable *table) {
  uint32_t r = JPG_OK;
  if (table->codes != nullptr) r = heapFree(table->codes);
  if (table->lookup != nullptr) r = freeHuffLookup(table->lookup);
  table->codes = nullptr;
  table->lookup = nullptr;
  return r;
}

}  // namespace jpg
