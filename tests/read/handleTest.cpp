// SPDX-License-Identifier: MIT
// What is a handle and what isn't, for every function.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support/twin.h"

// Freed memory can't be read under AddressSanitizer or MemorySanitizer, nor in the loader's heap.
#if defined(__SANITIZE_ADDRESS__) || defined(JPG_LOADER)
#define JPG_TESTS_NO_FREED_MEMORY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define JPG_TESTS_NO_FREED_MEMORY 1
#endif
#endif

namespace jpgtest {
namespace {

struct Call {
  const char *name;
  std::function<uint32_t(JPGHANDLE)> call;
};

// Every function of a read handle, with arguments that are right.
const std::vector<Call> &calls() {
  static uint32_t word;
  static uint32_t second;
  static uint16_t marker;
  static uint8_t byte;
  static uint8_t pixels[64];
  static JpgRect rect;
  rect.width = 8;
  rect.stride = 8;
  rect.bitsPerPixel = 8;
  rect.bits = pixels;
  static const std::vector<Call> all = {
      {"GetCodingProcess", [](JPGHANDLE h) { return jpgReadGetCodingProcess(h, &word); }},
      {"GetImageSize", [](JPGHANDLE h) { return jpgReadGetImageSize(h, &word, &second); }},
      {"GetNumberOfChannels", [](JPGHANDLE h) { return jpgReadGetNumberOfChannels(h, &word); }},
      {"GetSamplePrecision", [](JPGHANDLE h) { return jpgReadGetSamplePrecision(h, &word); }},
      {"SetNoColorConversion", [](JPGHANDLE h) { return jpgReadSetNoColorConversion(h); }},
      {"SeekMarkerSegment",
       [](JPGHANDLE h) { return jpgReadSeekMarkerSegment(h, 0, &marker, &word); }},
      {"ReadMarkerData", [](JPGHANDLE h) { return jpgReadReadMarkerData(h, &byte, 1, &word); }},
      {"SeekMarkerData", [](JPGHANDLE h) { return jpgReadSeekMarkerData(h); }},
      {"SeekRestartMarker", [](JPGHANDLE h) { return jpgReadSeekRestartMarker(h, 0, 0); }},
      {"SetPartialBitstream", [](JPGHANDLE h) { return jpgReadSetPartialBitstream(h, &byte, 1); }},
      {"ToRect", [](JPGHANDLE h) { return jpgReadToRect(h, &rect, 8); }},
      {"Epilog", [](JPGHANDLE h) { return jpgReadEpilog(h); }},
  };
  return all;
}

void expectRefusedByAll(JPGHANDLE handle) {
  for (const Call &c : calls()) EXPECT_RESULT(JPG_E_INVALID_HANDLE, c.call(handle)) << c.name;
}

Bytes stream() { return encode(grayPicture({dcBlock(80)})); }

TEST(Handles, NullIsRefusedByEveryFunction) { expectRefusedByAll(nullptr); }

TEST(Handles, ForeignMemoryIsRefusedByEveryFunction) {
  alignas(16) uint32_t words[2048] = {};
  expectRefusedByAll(reinterpret_cast<JPGHANDLE>(words));
  for (uint32_t &word : words) word = 0xFFFFFFFF;
  expectRefusedByAll(reinterpret_cast<JPGHANDLE>(words));
  words[0] = 0x4A504547;  // the signature, but another size behind it
  for (const uint32_t size : {0U, 7371U, 7373U, 84U, 36U, 0xCC1CU}) {
    words[1] = size;
    expectRefusedByAll(reinterpret_cast<JPGHANDLE>(words));
  }
  words[0] = 0x4745504A;  // the signature in the other byte order, and the right size
  words[1] = 7372;
  expectRefusedByAll(reinterpret_cast<JPGHANDLE>(words));
}

TEST(Handles, AnOpenRecordBeginsWithItsSignatureAndSize) {
  const Reader reader = Reader::ofMemory(stream());
  ASSERT_RESULT(JPG_OK, reader.result());
  uint8_t begin[8];
  std::memcpy(begin, reader.handle(), sizeof begin);
  EXPECT_EQ(0, std::memcmp(begin, "GEPJ", 4));
  EXPECT_EQ(7372, begin[4] | begin[5] << 8 | begin[6] << 16 | begin[7] << 24);
}

TEST(Handles, AddressesThatAreNotAlignedAreRefusedByEveryFunction) {
  // The bytes of a good beginning, at odd places.
  const uint8_t begin[8] = {'G', 'E', 'P', 'J', 0xCC, 0x1C, 0, 0};
  alignas(16) uint8_t bytes[16384] = {};
  for (size_t at = 1; at < 8; ++at) {
    if (at % 4 == 0) continue;
    std::memcpy(bytes + at, begin, sizeof begin);
    expectRefusedByAll(reinterpret_cast<JPGHANDLE>(static_cast<void *>(bytes + at)));
  }
  const Reader reader = Reader::ofMemory(stream());
  auto *record = reinterpret_cast<uint8_t *>(reader.handle());
  for (int at = 1; at < 4; ++at) {
    expectRefusedByAll(reinterpret_cast<JPGHANDLE>(static_cast<void *>(record + at)));
  }
}

TEST(Handles, AnOpenHandleIsTakenByEveryFunction) {
  for (const Call &c : calls()) {
    JPGHANDLE handle = nullptr;
    const Bytes data = stream();
    ASSERT_RESULT(JPG_OK, jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0,
                                                  &handle));
    const bool closes = std::string(c.name) == "Epilog";
    EXPECT_NE(JPG_E_INVALID_HANDLE, c.call(handle)) << c.name;
    if (!closes) {
      EXPECT_RESULT(JPG_OK, jpgReadEpilog(handle));
    }
  }
}

TEST(Handles, AClosedHandleIsRefusedByEveryFunction) {
#ifdef JPG_TESTS_NO_FREED_MEMORY
  GTEST_SKIP() << "reads freed memory";
#else
  JPGHANDLE handle = nullptr;
  const Bytes data = stream();
  ASSERT_RESULT(
      JPG_OK, jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0, &handle));
  ASSERT_RESULT(JPG_OK, jpgReadEpilog(handle));
  expectRefusedByAll(handle);
#endif
}

TEST(Handles, NullOutputsAreRefusedLikeHandles) {
  const Reader reader = Reader::ofMemory(stream());
  JPGHANDLE h = reader.handle();
  uint32_t word = 0x12345678;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadGetCodingProcess(h, nullptr));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadGetImageSize(h, nullptr, &word));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadGetImageSize(h, &word, nullptr));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadGetImageSize(h, nullptr, nullptr));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadGetNumberOfChannels(h, nullptr));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadGetSamplePrecision(h, nullptr));
}

TEST(Handles, ManyOpenHandlesDoNotDisturbEachOther) {
  const Picture first = makePicture(30, 40, {0x22, 0x11, 0x11}, Fill::kSmooth, 91);
  const Picture second = makePicture(30, 40, {0x11}, Fill::kSmooth, 92);
  const Bytes firstPixels = pixelsOf(encode(first), {30, 40});
  const Bytes secondPixels = pixelsOf(encode(second), {30, 40, 1});
  Twin a(encode(first));
  Twin b(encode(second));
  Twin c(encode(first));
  b.setNoColorConversion();
  Bytes fromA, fromB, fromC;
  for (int32_t y = 0; y < 40; y += 16) {
    const int32_t rows = std::min(16, 40 - y);
    EXPECT_RESULT(JPG_OK, a.decode({30, rows}, rows));
    EXPECT_RESULT(JPG_OK, b.decode({30, rows, 1}, rows));
    EXPECT_RESULT(JPG_OK, c.decode({30, rows}, rows));
    append(fromA, a.canvas().pixels());
    append(fromB, b.canvas().pixels());
    append(fromC, c.canvas().pixels());
  }
  EXPECT_EQ(firstPixels, fromA);
  EXPECT_EQ(secondPixels, fromB);
  EXPECT_EQ(firstPixels, fromC);
}

}  // namespace
}  // namespace jpgtest
