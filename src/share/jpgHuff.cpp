// SPDX-License-Identifier: MIT
#include "share/jpgHuff.h"

#include <string.h>

#include "jpg.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"

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

// Lengths in ascending order, a final 0 (T.81 Figure C.1); returns the longest.
uint32_t listLengths(const uint8_t *counts, JpgHuffCode *codes) {
  uint32_t maxLength = 0;
  for (uint32_t length = 1; length <= kMaxCodeLength; length++) {
    for (uint32_t i = 0; i < counts[length - 1]; i++) {
      (codes++)->length = static_cast<uint16_t>(length);
      maxLength = length;
    }
  }
  codes->length = 0;
  JPG_ASSERT(maxLength <= kMaxCodeLength);
  return maxLength;
}

// Codes and symbols in order (T.81 Figure C.2).
void assignCodes(const uint8_t *values, JpgHuffCode *codes) {
  uint32_t code = 0;
  uint32_t size = codes->length;
  while (codes->length != 0) {
    for (; codes->length == size; codes++) {
      codes->code = code++;
      codes->value = *values++;
    }
    code <<= 1;
    size++;
  }
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
  memset(codes, 0, (count + 1) * sizeof(JpgHuffCode));
  table->maxLength = listLengths(source.counts, codes);
  assignCodes(source.values, codes);
  table->codes = codes;
  table->lookup = nullptr;
  table->count = count;
  return JPG_OK;
}

uint32_t freeHuffTable(JpgHuffTable *table) {
  uint32_t r = JPG_OK;
  if (table->codes != nullptr) r = heapFree(table->codes);
  if (table->lookup != nullptr) r = heapFree(table->lookup);
  table->codes = nullptr;
  table->lookup = nullptr;
  return r;
}

}  // namespace jpg
