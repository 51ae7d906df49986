// SPDX-License-Identifier: MIT
// Fuzz target of the Exif attributes: the first byte chooses the bitmap, the rest is the TIFF
// structure of the segment. The cursor over the directories isn't exported; the target uses the
// library's internal header.
#include "exif/jpgRExif.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mutator.h"
#include "options.h"
#include "support/stored.h"

namespace {

constexpr size_t kMaxTiff = 65000;        // fits a segment
constexpr uint64_t kMaxBytes = 1U << 20;  // of a bitmap; a larger one can't be in a segment
constexpr uint8_t kGuard = 0xA5;
constexpr size_t kGuardBytes = 32;

void check(bool holds) {
  if (!holds) __builtin_trap();
}

void put(std::vector<uint8_t> *out, const std::vector<uint8_t> &more) {
  for (const uint8_t byte : more) out->push_back(byte);
}

// A stream of headers alone, with the structure in an Exif segment.
std::vector<uint8_t> makeStream(const uint8_t *tiff, size_t size) {
  const size_t length = size + 8;  // the length field and the Exif header too
  std::vector<uint8_t> stream;
  put(&stream, {0xFF, 0xD8, 0xFF, 0xE1, static_cast<uint8_t>(length >> 8),
                static_cast<uint8_t>(length), 'E', 'x', 'i', 'f', 0, 0});
  for (size_t i = 0; i < size; i++) stream.push_back(tiff[i]);
  put(&stream, {0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0});  // 8 x 8, one component
  put(&stream, {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0});
  return stream;
}

void readElements(const JpgIfdCursor &cursor) {
  uint32_t element = 0;
  for (const uint32_t i : {0U, 1U, 2U, cursor.count / 2, cursor.count - 1}) {
    if (jpg::ifdElement(cursor, i, &element) == JPG_OK) check(i < cursor.count);
  }
  check(jpg::ifdElement(cursor, cursor.count, &element) == JPG_E_NOT_FOUND);
}

void walk(JPGEXIFHANDLE exif, JpgIfdCursor *cursor) {
  uint32_t steps = 0;
  for (;; steps++) {
    uint16_t tag = 0;
    uint32_t size = 0, value = 0;
    const uint32_t r = jpg::nextIfdEntry(cursor, &tag, &size, &value);
    if (r == JPG_E_END_OF_IMAGE) break;
    check(r == JPG_OK || r == JPG_E_NOT_FOUND);
    if (r == JPG_OK && size > 4) check(jpg::insideTiff(*exif, value, size));
    readElements(*cursor);
  }
  check(steps == cursor->entryCount);
  for (const uint32_t tag : {0U, 273U, 279U, 513U, 34665U, 40965U, 65535U}) {
    if (jpg::findIfdEntry(cursor, static_cast<uint16_t>(tag), nullptr, nullptr) == JPG_OK) {
      readElements(*cursor);
    }
  }
}

void walkAll(JPGEXIFHANDLE exif) {
  for (int32_t number = jpg::kIfdZeroth; number <= jpg::kIfdInteroperability; number++) {
    JpgIfdCursor *cursor = nullptr;
    const uint32_t r = jpg::openIfd(exif, number, &cursor);
    check((r == JPG_OK) == (cursor != nullptr));
    check(r == JPG_OK || r == JPG_E_NOT_FOUND);
    if (r != JPG_OK) continue;
    walk(exif, cursor);
    check(jpg::closeIfd(cursor) == JPG_OK);
  }
}

// Reads the thumbnail into a bitmap of exactly the size that was described.
void readThumbnail(JPGEXIFHANDLE exif, uint8_t choice) {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } bitmap = {};
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  bitmap.header.biBitCount = static_cast<uint16_t>(8 * (choice % 3 + 1));
  jpgtest::markDescriptionUnstored(bmi);
  if (jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi) != JPG_OK) return;
  jpgtest::expectDescriptionStored(*bmi, 0);
  check(bitmap.header.biWidth >= 0 && bitmap.header.biHeight >= 0);
  if ((choice & 8) != 0) bitmap.header.biBitCount = 32;
  const auto width = static_cast<uint64_t>(bitmap.header.biWidth);
  const uint64_t row = (width * bitmap.header.biBitCount + 31) / 32 * 4;
  const uint64_t size = row * static_cast<uint64_t>(bitmap.header.biHeight);
  if (size > kMaxBytes) return;
  if ((choice & 4) != 0) bitmap.header.biHeight = -bitmap.header.biHeight;
  std::vector<uint8_t> memory(static_cast<size_t>(size) + 2 * kGuardBytes, kGuard);
  uint8_t *pixels = memory.data() + kGuardBytes;
  jpgtest::markUnstored(pixels, static_cast<size_t>(size));
  const uint32_t r = jpgExifReadThumbnailToWinDIBits(exif, pixels, bmi);
  // Bytes of a row that are pixels in every case: of two components only the first is stored,
  // though the depth is 16; of four, three.
  const size_t bytes = static_cast<size_t>(width) * (bitmap.header.biBitCount < 24 ? 1 : 3);
  for (uint64_t y = 0; r == JPG_OK && y * row < size; y++) {
    jpgtest::expectStored(pixels + y * row, bytes);
  }
  for (size_t i = 0; i < kGuardBytes; i++) {
    check(memory[i] == kGuard && memory[memory.size() - 1 - i] == kGuard);
  }
}

}  // namespace

// The thumbnail's.
size_t streamAt(const uint8_t *data, size_t size) {
  constexpr uint8_t kStart[] = {0xFF, 0xD8, 0xFF};
  return static_cast<size_t>(std::search(data, data + size, kStart, kStart + 3) - data);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1 || size > kMaxTiff) return 0;
  const std::vector<uint8_t> stream = makeStream(data + 1, size - 1);
  JPGHANDLE h = nullptr;
  const uint32_t flags = JPG_READ_COMPLETE | allOptionsBy(data[0] >> 5);
  check(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), flags, &h) ==
        JPG_OK);
  JPGEXIFHANDLE exif = nullptr;
  const uint32_t r = jpgReadExifReadAttributeProlog(h, &exif);
  check(r == (size - 1 < 8 ? JPG_E_NOT_FOUND : JPG_OK));
  check(jpgReadEpilog(h) == JPG_OK);
  if (r != JPG_OK) return 0;
  walkAll(exif);
  readThumbnail(exif, data[0]);
  readThumbnail(exif, data[0] / 16);
  check(jpgReadExifReadAttributeEpilog(exif) == JPG_OK);
  return 0;
}
