// SPDX-License-Identifier: MIT
#include "win/jpgRle.h"

namespace jpg {
namespace {

// Codes behind a count of 0; larger ones count literal pixels.
constexpr uint32_t kEndOfRow = 0;
constexpr uint32_t kEndOfBitmap = 1;
constexpr uint32_t kDelta = 2;

struct RleState {
  const uint8_t *next;
  uint32_t left;  // bytes of data
  uint32_t column;
  uint32_t row;
};

// The next byte; the code for the end of the bitmap when there is none.
uint32_t take(RleState *s) {
  if (s->left == 0) return kEndOfBitmap;
  s->left--;
  return *s->next++;
}

uint32_t rowPixels(const RlePlane &plane) { return plane.rowBytes * 8 / plane.bitsPerPixel; }

bool hasRoom(const RleState &s, const RlePlane &plane, uint32_t count) {
  const uint32_t pixels = rowPixels(plane);
  return s.column <= pixels && count <= pixels - s.column;
}

void putPixel(RleState *s, const RlePlane &plane, uint32_t value) {
  uint8_t *row = plane.bits + static_cast<size_t>(s->row) * plane.rowBytes;
  if (plane.bitsPerPixel == 8) {
    row[s->column] = static_cast<uint8_t>(value);
  } else {
    const uint32_t shift = s->column % 2 == 0 ? 4 : 0;
    uint8_t *pair = &row[s->column / 2];
    *pair = static_cast<uint8_t>((*pair & ~(15U << shift)) | value << shift);
  }
  s->column++;
}

// The i-th pixel of a byte: the byte, or its high and low nibble by turns.
uint32_t pixelOf(const RlePlane &plane, uint32_t byte, uint32_t i) {
  if (plane.bitsPerPixel == 8) return byte;
  return i % 2 == 0 ? byte >> 4 : byte & 15;
}

Result putRun(RleState *s, const RlePlane &plane, uint32_t count) {
  if (!hasRoom(*s, plane, count)) return JPG_E_FAIL;
  if (s->left == 0) return JPG_OK;  // the data end before the run's value
  const uint32_t byte = take(s);
  for (uint32_t i = 0; i < count; i++) putPixel(s, plane, pixelOf(plane, byte, i));
  return JPG_OK;
}

// Literal bytes are padded to an even number.
Result putLiterals(RleState *s, const RlePlane &plane, uint32_t count) {
  if (!hasRoom(*s, plane, count)) return JPG_E_FAIL;
  const uint32_t perByte = 8 / plane.bitsPerPixel;
  const uint32_t bytes = (count + perByte - 1) / perByte;
  if (bytes > s->left) {
    s->left = 0;
    return JPG_OK;
  }
  uint32_t byte = 0;
  for (uint32_t i = 0; i < count; i++) {
    if (i % perByte == 0) byte = take(s);
    putPixel(s, plane, pixelOf(plane, byte, i));
  }
  if (bytes % 2 != 0) take(s);
  return JPG_OK;
}

// Handles the code behind a count of 0.
Result escape(RleState *s, const RlePlane &plane) {
  const uint32_t code = take(s);
  switch (code) {
    case kEndOfRow:
      s->row++;
      s->column = 0;
      return JPG_OK;
    case kEndOfBitmap:
      s->row = plane.rows;
      return JPG_OK;
    case kDelta:
      s->column += take(s);
      s->row += take(s);
      return JPG_OK;
    default:
      return putLiterals(s, plane, code);
  }
}

}  // namespace

Result expandRle(const uint8_t *data, uint32_t size, const RlePlane &plane) {
  RleState s = {data, size != 0 ? size : UINT32_MAX, 0, 0};
  while (s.row < plane.rows && s.left != 0) {
    const uint32_t count = take(&s);
    const Result r = count != 0 ? putRun(&s, plane, count) : escape(&s, plane);
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

}  // namespace jpg
