// SPDX-License-Identifier: MIT
// What a call says that it has stored, byte for byte: MemorySanitizer (preset msan) is told
// ahead of the call that nothing is there, and asked behind it. Without it nothing happens.
#ifndef JPG_TESTS_SUPPORT_STORED_H
#define JPG_TESTS_SUPPORT_STORED_H

#include <jpg.h>

#include <cstddef>
#include <cstdint>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#include <sanitizer/msan_interface.h>
#define JPG_STORED_IS_CHECKED 1
#endif
#endif

namespace jpgtest {

#ifdef JPG_STORED_IS_CHECKED
inline void markUnstored(void *bytes, size_t count) { __msan_poison(bytes, count); }
inline void markStored(void *bytes, size_t count) { __msan_unpoison(bytes, count); }
// Ends the program with a report when one of the bytes isn't defined.
inline void expectStored(const void *bytes, size_t count) {
  __msan_check_mem_is_initialized(bytes, count);
}
// True when they all hold this value, defined or not.
__attribute__((no_sanitize("memory"))) inline bool holdOnly(const void *bytes, size_t count,
                                                            uint8_t value) {
  for (size_t i = 0; i < count; i++) {
    if (static_cast<const uint8_t *>(bytes)[i] != value) return false;
  }
  return true;
}

// The stack below the caller counts as defined again. MemorySanitizer remembers what the codec
// left there, and a library that isn't instrumented may hand variables that lie there to
// functions that are watched.
__attribute__((noinline)) inline void forgetStack() {
  uint8_t below[1 << 16];
  __msan_unpoison(below, sizeof(below));
}
#else
inline void markUnstored(void * /*bytes*/, size_t /*count*/) {}
inline void markStored(void * /*bytes*/, size_t /*count*/) {}
inline void expectStored(const void * /*bytes*/, size_t /*count*/) {}
inline bool holdOnly(const void * /*bytes*/, size_t /*count*/, uint8_t /*value*/) { return false; }
inline void forgetStack() {}
#endif

template <typename Word>
void expectStored(const Word &word) {
  expectStored(&word, sizeof(word));
}

// The first bytes of rows, top row first.
inline void *rowOf(const JpgRect &rect, int32_t row) {
  return static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(row) * rect.stride;
}
inline void markRowsUnstored(const JpgRect &rect, int32_t rows, size_t rowBytes) {
  for (int32_t y = 0; y < rows; y++) markUnstored(rowOf(rect, y), rowBytes);
}
inline void expectRowsStored(const JpgRect &rect, int32_t rows, size_t rowBytes) {
  for (int32_t y = 0; y < rows; y++) expectStored(rowOf(rect, y), rowBytes);
}

// A bitmap's description with all 256 colours, when the reader is to fill it in: the depth
// asked for is the caller's.
inline void markDescriptionUnstored(BITMAPINFO *bmi) {
  const uint16_t depth = bmi->bmiHeader.biBitCount;
  markUnstored(bmi, sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD));
  bmi->bmiHeader.biBitCount = depth;
}
// The header, and what its depth asks of the colour table: masks, or the colours of one or
// three components.
inline void expectDescriptionStored(const BITMAPINFO &bmi, uint32_t components) {
  expectStored(bmi.bmiHeader);
  const uint16_t depth = bmi.bmiHeader.biBitCount;
  if (depth == 16) expectStored(bmi.bmiColors, 3 * sizeof(RGBQUAD));
  if (depth == 8 && components % 2 != 0) expectStored(bmi.bmiColors, 256 * sizeof(RGBQUAD));
}

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_STORED_H
