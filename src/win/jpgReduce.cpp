// SPDX-License-Identifier: MIT
#include "win/jpgReduce.h"

#include "share/jpgArith.h"
#include "share/jpgHeap.h"
#include "win/jpgPalette.h"

namespace jpg {
namespace {

constexpr uint32_t kColors = 3;  // blue, green, red

// Level of the colour cube for a sample value: 0 to 255 is divided into equal parts.
struct LevelTable {
  uint8_t level[256];
};

constexpr LevelTable makeLevels() {
  LevelTable t{};
  for (int32_t v = 0; v < 256; v++) {
    const int32_t part = v * kCubeLevels / 255;
    t.level[v] = static_cast<uint8_t>(part < kCubeLevels ? part : kCubeLevels - 1);
  }
  return t;
}

constexpr LevelTable kLevels = makeLevels();

int32_t clampByte(int32_t v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

// Two rows of samples with the errors added to them so far.
struct ErrorRows {
  int32_t *current;
  int32_t *next;
  uint32_t width;  // pixels
};

// The position of a pixel in the rows.
struct Pixel {
  uint32_t x;
  bool lastColumn;
  bool lastRow;
};

// Writes a pixel and spreads its errors.
using PixelRoutine = void (*)(const ErrorRows &rows, const Pixel &pixel, uint8_t *out);

void loadRow(const uint8_t *in, uint32_t width, int32_t *row) {
  for (uint32_t i = 0; i < kColors * width; i++) row[i] = in[i];
}

// `weight` sixteenths of an error, rounded toward minus infinity.
int32_t share(int32_t error, int32_t weight) { return asr(error * weight, 4); }

// Floyd and Steinberg's weights: 7 to the right; 3, 5, 1 to the row below.
void spreadPaletteError(const ErrorRows &rows, const Pixel &pixel, uint32_t i, int32_t error) {
  if (!pixel.lastColumn) {
    rows.current[i + kColors] += share(error, 7);
    rows.next[i + kColors] += share(error, 1);
  }
  rows.next[i] += share(error, 5);
  if (pixel.x > 0) rows.next[i - kColors] += share(error, 3);
}

void putPalettePixel(const ErrorRows &rows, const Pixel &pixel, uint8_t *out) {
  int32_t level[kColors];
  for (uint32_t k = 0; k < kColors; k++) {
    const uint32_t i = kColors * pixel.x + k;
    const int32_t value = clampByte(rows.current[i]);
    level[k] = kLevels.level[value];
    spreadPaletteError(rows, pixel, i, value - kLevelStep * level[k]);
  }
  out[pixel.x] = static_cast<uint8_t>(cubeIndex(level[2], level[1], level[0]));
}

// Half of the error goes to the pixel below, the rest to the right.
void spreadWordError(const ErrorRows &rows, const Pixel &pixel, uint32_t i, int32_t error) {
  const int32_t below = asr(error, 1);
  if (!pixel.lastRow) rows.next[i] += below;
  if (!pixel.lastColumn) rows.current[i + kColors] += error - below;
}

void putWordPixel(const ErrorRows &rows, const Pixel &pixel, uint8_t *out) {
  constexpr int32_t kKept[kColors] = {0xF8, 0xFC, 0xF8};
  int32_t kept[kColors];
  for (uint32_t k = 0; k < kColors; k++) {
    const uint32_t i = kColors * pixel.x + k;
    const int32_t value = clampByte(rows.current[i]);
    kept[k] = value & kKept[k];
    spreadWordError(rows, pixel, i, value - kept[k]);
  }
  const int32_t word = kept[2] << 8 | kept[1] << 3 | kept[0] >> 3;
  out[2 * pixel.x] = static_cast<uint8_t>(word);
  out[2 * pixel.x + 1] = static_cast<uint8_t>(word >> 8);
}

void reduceRow(const ErrorRows &rows, bool lastRow, PixelRoutine put, uint8_t *out) {
  for (uint32_t x = 0; x < rows.width; x++) {
    put(rows, {x, x + 1 == rows.width, lastRow}, out);
  }
}

void reduceRows(const JpgRect &from, const JpgRect &to, ErrorRows rows, PixelRoutine put) {
  const auto *in = static_cast<const uint8_t *>(from.bits);
  auto *out = static_cast<uint8_t *>(to.bits);
  loadRow(in, rows.width, rows.current);
  for (int32_t y = 0; y < from.height; y++) {
    const bool last = y + 1 == from.height;
    if (!last) {
      in += from.stride;
      loadRow(in, rows.width, rows.next);
    }
    reduceRow(rows, last, put, out);
    if (!last) out += to.stride;
    int32_t *done = rows.current;
    rows.current = rows.next;
    rows.next = done;
  }
}

PixelRoutine choosePixelRoutine(uint32_t bitsPerPixel) {
  if (bitsPerPixel == 8) return putPalettePixel;
  return bitsPerPixel == 16 ? putWordPixel : nullptr;
}

}  // namespace

Result reduceColors(uint32_t bitsPerPixel, const JpgRect &from, const JpgRect &to) {
  const PixelRoutine put = choosePixelRoutine(bitsPerPixel);
  if (put == nullptr) return JPG_E_INVALID_PARAMETER;
  const auto width = static_cast<uint32_t>(from.width);
  const uint32_t rowSamples = kColors * width;
  auto *work = static_cast<int32_t *>(heapAllocChecked(uint64_t{2} * rowSamples * sizeof(int32_t)));
  if (work == nullptr) return JPG_E_OUT_OF_MEMORY;
  // The last row spreads its errors to a row that is never used; it must be initialised even so.
  for (uint32_t i = 0; i < 2 * rowSamples; i++) work[i] = 0;
  if (from.height > 0) reduceRows(from, to, {work, work + rowSamples, width}, put);
  return heapFree(work);
}

}  // namespace jpg
