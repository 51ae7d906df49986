// SPDX-License-Identifier: MIT
// Fuzz target of the read side: the first bytes choose flags and calls, the rest is the
// stream.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "jpg.h"
#include "mutator.h"
#include "options.h"
#include "support/stored.h"

namespace {

using jpgtest::expectStored;

constexpr uint64_t kMaxPixels = 1 << 18;  // keeps a run short
constexpr size_t kChoices = 4;
constexpr uint8_t kGuard = 0xA5;
constexpr size_t kGuardBytes = 32;

// Choices by the first bytes.
struct Choices {
  uint32_t flags;
  uint8_t pieces;  // number and length of the pieces of a partial bitstream
  // bits: marker walk, restart seek, raw, scaled, incremental, Exif, bitmap, bottom-up
  uint8_t calls;
  uint8_t band;
  uint8_t narrow;
};

void check(bool holds) {
  if (!holds) __builtin_trap();
}

void walkMarkers(JPGHANDLE h) {
  uint16_t marker = 0;
  uint32_t length = 0;
  uint8_t data[64];
  int32_t mode = JPG_SEGMENT_FIRST;
  for (int i = 0; i < 64; i++, mode = JPG_SEGMENT_NEXT) {
    if (jpgReadSeekMarkerSegment(h, mode, &marker, &length) != JPG_OK) break;
    uint32_t count = 0;
    jpgtest::markUnstored(data, sizeof(data));
    jpgReadReadMarkerData(h, data, sizeof(data), &count);
    expectStored(data, count);
  }
}

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

// Bytes of a row's pixels, without padding.
size_t pixelBytes(const Bitmap &bitmap) {
  return static_cast<size_t>(bitmap.header.biWidth) * bitmap.header.biBitCount / 8;
}

// Checks that all pixels of a bitmap have been stored.
void expectPixels(const Bitmap &bitmap, const uint8_t *pixels) {
  const size_t row = (pixelBytes(bitmap) + 3) / 4 * 4;
  for (int32_t y = 0; y < bitmap.header.biHeight; y++) {
    expectStored(pixels + row * static_cast<size_t>(y), pixelBytes(bitmap));
  }
}

void readThumbnail(JPGHANDLE h) {
  JPGEXIFHANDLE exif = nullptr;
  if (jpgReadExifReadAttributeProlog(h, &exif) != JPG_OK) {
    check(exif == nullptr);
    return;
  }
  Bitmap bitmap = {};
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  jpgtest::markDescriptionUnstored(bmi);
  if (jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi) == JPG_OK) {
    jpgtest::expectDescriptionStored(*bmi, 0);
    const uint64_t row = (static_cast<uint64_t>(bitmap.header.biWidth) + 3) / 4 * 4;
    const uint64_t rows = static_cast<uint64_t>(bitmap.header.biHeight);
    if (row * rows <= kMaxPixels) {
      std::vector<uint8_t> pixels(static_cast<size_t>(row * rows) + 4);
      jpgtest::markUnstored(pixels.data(), pixels.size());
      const uint32_t r = jpgExifReadThumbnailToWinDIBits(exif, pixels.data(), bmi);
      if (r == JPG_OK) expectPixels(bitmap, pixels.data());
    }
  }
  check(jpgReadExifReadAttributeEpilog(exif) == JPG_OK);
}

uint32_t readBand(JPGHANDLE h, const Choices &choices, uint32_t process, const JpgRect &rect,
                  int32_t lines) {
  if (process == JPG_PROCESS_LOSSLESS) return jpgReadSpatialToRect(h, &rect, lines);
  if (process == JPG_PROCESS_PROGRESSIVE) {
    return jpgReadProgressiveToRect(h, &rect, lines, choices.calls >> 4 & 1);
  }
  if ((choices.calls & 8) != 0) return jpgReadScaleOutputToRect(h, &rect, lines, choices.band & 3);
  return jpgReadToRect(h, &rect, lines);
}

// Size of a picture's rows, and how many of them a successful call has stored.
struct Expected {
  uint32_t height;  // of the output; 0 while it is unknown
  size_t rowBytes;
  bool fromTop;  // no row was read or passed before

  int32_t rows(uint32_t y, int32_t lines) const {
    // Bands that end within an MCU row lose its remaining rows.
    if (height == 0 || !fromTop || (lines % 16 != 0 && y != 0)) return 1;
    const auto left = static_cast<int32_t>(height - y);
    return lines < left ? lines : left;
  }
};

Expected expect(JPGHANDLE h, const Choices &choices, uint32_t process, const JpgRect &rect) {
  uint32_t width = 0, height = 0, channels = 0, precision = 0;
  check(jpgReadGetImageSize(h, &width, &height) == JPG_OK);
  check(jpgReadGetNumberOfChannels(h, &channels) == JPG_OK);
  check(jpgReadGetSamplePrecision(h, &precision) == JPG_OK);
  if (process == JPG_PROCESS_LOSSLESS) {
    return {height, size_t{width} * channels * (precision > 8 ? 2 : 1), true};
  }
  const bool raw = (choices.calls & 4) != 0;
  const size_t pixel = raw ? channels : channels < 3 ? 1 : 3;
  if ((choices.calls & 8) != 0 && process != JPG_PROCESS_PROGRESSIVE) {
    check(jpgReadScaleOutputGetImageSize(h, &width, &height, choices.band & 3) == JPG_OK);
    return {height, width * pixel, true};
  }
  const auto stored = static_cast<uint32_t>(rect.width < 0 ? 0 : rect.width);
  return {height, (stored < width ? stored : width) * pixel, true};
}

// Reads the rows of a band and checks that the call has stored them.
uint32_t readChecked(JPGHANDLE h, const Choices &choices, uint32_t process, const JpgRect &rect,
                     int32_t lines, const Expected &expected, uint32_t y) {
  const int32_t rows = expected.rows(y, lines);
  jpgtest::markRowsUnstored(rect, rows, expected.rowBytes);
  const uint32_t r = readBand(h, choices, process, rect, lines);
  // Unsupported MCU layouts succeed and store nothing.
  if (r == JPG_OK && !jpgtest::holdOnly(rect.bits, expected.rowBytes, kGuard)) {
    jpgtest::expectRowsStored(rect, rows, expected.rowBytes);
  }
  return r;
}

void decode(JPGHANDLE h, const Choices &choices, bool fromTop = false) {
  uint32_t width = 0, height = 0, channels = 0, precision = 0, process = 0;
  check(jpgReadGetImageSize(h, &width, &height) == JPG_OK);
  check(jpgReadGetNumberOfChannels(h, &channels) == JPG_OK);
  check(jpgReadGetSamplePrecision(h, &precision) == JPG_OK);
  check(jpgReadGetCodingProcess(h, &process) == JPG_OK);
  if (height == 0) height = 40;
  if (uint64_t{width} * height > kMaxPixels) return;
  const bool lossless = process == JPG_PROCESS_LOSSLESS;
  const uint32_t bytes = lossless ? 2 * channels : 4;
  const uint32_t rowBytes = width * bytes;
  std::vector<uint8_t> memory(size_t{rowBytes} * (height + 1) + 2 * kGuardBytes, kGuard);
  JpgRect rect = {};
  const bool scaled = (choices.calls & 8) != 0 || lossless;
  rect.width = static_cast<int32_t>(scaled ? width : width - choices.narrow % (width + 1));
  const bool bottomUp = (choices.calls & 128) != 0;
  const auto stride = static_cast<int32_t>(rowBytes);
  rect.stride = bottomUp ? -stride : stride;
  rect.bitsPerPixel = static_cast<int32_t>(8 * channels);
  const int32_t lines = choices.band % 40 + 1;
  Expected expected = expect(h, choices, process, rect);
  expected.fromTop = fromTop;
  for (uint32_t y = 0; y < height; y += static_cast<uint32_t>(lines)) {
    rect.bits = memory.data() + kGuardBytes + size_t{bottomUp ? height - y : y} * rowBytes;
    const auto left = static_cast<int32_t>(height - y);
    const int32_t wanted = lines < left ? lines : left;
    const uint32_t r = readChecked(h, choices, process, rect, wanted, expected, y);
    if (r != JPG_OK) break;
  }
  for (size_t i = 0; i < kGuardBytes; i++) {
    check(memory[i] == kGuard && memory[memory.size() - 1 - i] == kGuard);
  }
}

void readBitmap(JPGHANDLE h, const Choices &choices) {
  Bitmap bitmap = {};
  bitmap.header.biBitCount = static_cast<uint16_t>(8 * (choices.narrow % 4 + 1));
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  uint32_t channels = 0;
  check(jpgReadGetNumberOfChannels(h, &channels) == JPG_OK);
  jpgtest::markDescriptionUnstored(bmi);
  check(jpgReadToWinDIBits(h, 0, nullptr, bmi) == JPG_OK);
  jpgtest::expectDescriptionStored(*bmi, channels);
  const uint64_t row = (static_cast<uint64_t>(bitmap.header.biWidth) * 3 + 3) / 4 * 4;
  const auto rows = static_cast<uint64_t>(bitmap.header.biHeight);
  if (row * rows > kMaxPixels || rows == 0) return;
  std::vector<uint8_t> pixels(static_cast<size_t>(row * rows) + 4);
  jpgtest::markUnstored(pixels.data(), pixels.size());
  const uint32_t r = jpgReadToWinDIBits(h, bitmap.header.biHeight, pixels.data(), bmi);
  if (r == JPG_OK && (choices.calls & 2) == 0) expectPixels(bitmap, pixels.data());
}

// Restart seeks of both modes, each followed by a band.
void seekIntervals(JPGHANDLE h, const Choices &choices) {
  for (int32_t i = 0; i < 4; i++) {
    const int32_t intervals = (choices.band >> i) % 8 - 1;
    jpgReadSeekRestartMarker(h, intervals, static_cast<uint32_t>(choices.narrow >> i & 1));
    decode(h, choices);
  }
}

// Reads the stream from its middle on in pieces of pseudo-random lengths.
void readPieces(JPGHANDLE h, const Choices &choices, const uint8_t *data, size_t size) {
  size_t at = size / 2;
  uint32_t length = choices.narrow;
  for (uint32_t i = 0; i <= choices.pieces && at < size; i++) {
    length = (length * 29 + 7) % 101 + 1;
    const size_t left = size - at;
    const auto n = static_cast<uint32_t>(i == choices.pieces || left < length ? left : length);
    jpgReadSetPartialBitstream(h, data + at, n);
    at += n;
    decode(h, choices);
  }
}

void readStream(const Choices &choices, const uint8_t *data, size_t size) {
  JPGHANDLE h = nullptr;
  const uint32_t r = jpgReadPrologFromMemory(data, static_cast<int32_t>(size), choices.flags, &h);
  if (r != JPG_OK) {
    check(h == nullptr);
    return;
  }
  if ((choices.calls & 1) != 0) walkMarkers(h);
  if ((choices.calls & 32) != 0) readThumbnail(h);
  if ((choices.calls & 2) != 0) jpgReadSeekRestartMarker(h, choices.band % 4, choices.band >> 7);
  if ((choices.calls & 4) != 0) jpgReadSetNoColorConversion(h);
  if ((choices.calls & 64) != 0) {
    readBitmap(h, choices);
  } else {
    decode(h, choices, (choices.calls & 2) == 0);
  }
  if ((choices.calls & 2) != 0) seekIntervals(h, choices);
  if ((choices.flags & JPG_READ_PARTIAL_BITSTREAM) != 0 && size > 32) {
    readPieces(h, choices, data, size);
  }
  check(jpgReadEpilog(h) == JPG_OK);
}

}  // namespace

size_t streamAt(const uint8_t *, size_t) { return kChoices; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size <= kChoices || size > (1 << 20)) return 0;
  const uint32_t flags = (data[0] & 6U) | optionsBy((data[0] & 1U) | (data[0] >> 2 & 2U));
  const Choices choices = {flags, static_cast<uint8_t>(data[0] >> 4), data[1], data[2], data[3]};
  // An exact copy, so that the sanitizer detects a read behind the end.
  const std::vector<uint8_t> stream(data + kChoices, data + size);
  readStream(choices, stream.data(), stream.size());
  return 0;
}
