// SPDX-License-Identifier: MIT
// Calls that encode.
#include <algorithm>
#include <cstdlib>

#include "support/random.h"
#include "whole/state/arguments.h"
#include "whole/state/machine.h"

namespace jpgtest {
namespace {

// Noise, gradients and flat places.
Bytes pixelsOf(size_t size, uint32_t seed) {
  Bytes bytes(size);
  Random random(seed);
  for (size_t i = 0; i < size; i++) {
    const uint32_t noise = random.byte();
    const uint32_t kind = (i / 32 + seed) % 4;
    const size_t v = kind == 0 ? noise : kind == 1 ? 3 * i : kind == 2 ? 0 : noise & 3;
    bytes[i] = static_cast<uint8_t>(v);
  }
  return bytes;
}

// Rows of run-length codes: runs and literals, an end of each row, the end of the bitmap. Now and
// then a run is too long.
Bytes runLengths(int32_t width, int32_t rows, bool sound, uint32_t seed) {
  Random random(seed);
  Bytes codes;
  const auto any = [&random] { return static_cast<uint8_t>(random.between(0, 255)); };
  for (int32_t y = 0; y < rows; y++) {
    for (int32_t x = 0; x < width;) {
      int32_t n = std::min(random.between(1, 9), width - x);
      if (!sound && random.oneIn(400)) n = width - x + 1;
      x += n;
      if (n < 3 || random.oneIn(2)) {
        append(codes, {static_cast<uint8_t>(n), any()});
        continue;
      }
      append(codes, {0, static_cast<uint8_t>(n)});
      for (int32_t i = 0; i < n + n % 2; i++) codes.push_back(any());
    }
    append(codes, {0, static_cast<uint8_t>(y + 1 == rows && random.oneIn(2))});
  }
  return codes;
}

}  // namespace

bool Machine::encoding(const Call &call) {
  if (call.op == Op::kWriteFromRect || call.op == Op::kWriteSpatialFromRect) {
    encode(call);
    return true;
  }
  if (call.op != Op::kWriteFromWinDIBits) return false;
  fromBitmap(call);
  return true;
}

void Machine::encode(const Call &call) {
  WriterState *w = writer(call.a[0]);
  const auto lines = static_cast<uint32_t>(std::clamp(call.a[1], 0, 64));
  const int32_t nulls = call.a[7], seed = call.a[6];
  // Rows as the rectangle or the frame has them, whichever are longer.
  uint32_t width = static_cast<uint32_t>(std::clamp(call.a[2], 1, 100)), channels = 4;
  if (w != nullptr) width = std::max(width, w->widthOfFrame());
  const auto pitch = static_cast<int32_t>(width * channels * 2 + 2);
  const Bytes pixels =
      pixelsOf(static_cast<size_t>(pitch) * (lines + 1), static_cast<uint32_t>(seed));
  const bool bottomUp = seed % 3 == 0;
  const uint8_t *top = &pixels[bottomUp ? static_cast<size_t>(pitch) * lines : 0];
  const JpgRect rect = {call.a[2],
                        call.a[3],
                        bottomUp ? -pitch : pitch,
                        77,
                        call.a[4],
                        call.a[5],
                        bit(nulls, 1) ? nullptr : const_cast<uint8_t *>(top),
                        1,
                        2};
  const bool known = w != nullptr && !bit(nulls, 0);
  JPGHANDLE h = handle(call.a[0]);
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (call.op == Op::kWriteFromRect) {
    if (known) expected = w->fromRect(rect, lines);
    sameResult(expected, jpgWriteFromRect(h, orNull(&rect, nulls, 0), lines));
  } else {
    if (known) expected = w->spatialFromRect(rect, lines);
    sameResult(expected, jpgWriteSpatialFromRect(h, orNull(&rect, nulls, 0), lines));
  }
}

void Machine::fromBitmap(const Call &call) {
  WriterState *w = writer(call.a[0]);
  const int32_t lines = std::min(call.a[1], 64), nulls = call.a[7], depth = call.a[4];
  BitmapInfo info;
  info.header.biSize = 40;
  info.header.biWidth = call.a[2];
  info.header.biHeight = call.a[3];
  info.header.biPlanes = 1;
  info.header.biBitCount = static_cast<uint16_t>(depth);
  info.header.biCompression = static_cast<uint32_t>(call.a[5]);
  const auto seed = static_cast<uint32_t>(call.a[6]);
  if (seed % 4 == 1) info.header.biClrUsed = seed % 100;
  const Bytes table = pixelsOf(sizeof(info.colors), seed + 1);
  std::copy(table.begin(), table.end(), reinterpret_cast<uint8_t *>(info.colors));
  const auto width = static_cast<size_t>(std::max(call.a[2], 1));
  // Room for the frame's rows, should they be longer.
  const size_t row = (width * 32 + 31) / 32 * 4;
  Bytes bits = pixelsOf(row * static_cast<size_t>(std::max(lines, 1)), seed);
  if (info.header.biCompression == BI_RLE8 && depth == 8) {
    // Damage is told by calls that need all rows.
    const bool sound = lines != call.a[3];
    const Bytes codes = runLengths(call.a[2], call.a[3], sound, seed);
    info.header.biSizeImage = static_cast<uint32_t>(codes.size());
    if (seed % 5 == 0)
      info.header.biSizeImage = sound ? 0 : seed % 2 * (info.header.biSizeImage / 2);
    // Nothing is read behind the codes.
    bits = codes;
  }
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (w != nullptr && (nulls & 3) == 0) expected = w->fromBitmap(lines, bits.data(), info.bmi());
  sameResult(expected,
             jpgWriteFromWinDIBits(handle(call.a[0]), lines, orNull(bits.data(), nulls, 0),
                                   orNull(info.bmi(), nulls, 1)));
}

}  // namespace jpgtest
