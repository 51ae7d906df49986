// SPDX-License-Identifier: MIT
#include "platform/windows/picture.h"

#include <cstdlib>

namespace windows_test {
namespace {

uint32_t firstOf(uint32_t a, uint32_t b) { return a != JPG_OK ? a : b; }

uint32_t encode(JPGHANDLE h) {
  Bytes pixels = gradient();
  const JpgRect rect = rectOf(pixels);
  jpgWriteSetQuantizationFactor(h, 100);
  jpgWriteSetSubsamplingFactor(h, 0x111111);
  return jpgWriteFromRect(h, &rect, kHeight);
}

Bytes decode(JPGHANDLE h) {
  Bytes pixels(gradient().size());
  const JpgRect rect = rectOf(pixels);
  const uint32_t r = jpgReadToRect(h, &rect, kHeight);
  return firstOf(r, jpgReadEpilog(h)) == JPG_OK ? pixels : Bytes();
}

}  // namespace

Bytes gradient() {
  Bytes out;
  for (int32_t y = 0; y < kHeight; y++) {
    for (int32_t x = 0; x < kWidth; x++) {
      out.push_back(static_cast<uint8_t>(6 * x));
      out.push_back(static_cast<uint8_t>(250 - 5 * x));
      out.push_back(static_cast<uint8_t>(40 + 2 * x));
    }
  }
  return out;
}

JpgRect rectOf(Bytes &pixels) {
  JpgRect rect = {};
  rect.width = kWidth;
  rect.height = kHeight;
  rect.stride = 3 * kWidth;
  rect.bitsPerPixel = 24;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.bits = pixels.data();
  return rect;
}

uint32_t writeFile(const std::wstring &path) {
  JPGHANDLE h = nullptr;
  const uint32_t r = jpgWritePrologToFile(path.c_str(), 0, &h);
  if (r != JPG_OK) return r;
  const uint32_t coded = encode(h);
  return firstOf(coded, jpgWriteEpilogToFile(h));
}

uint32_t writeMemory(Bytes *stream) {
  JPGHANDLE h = nullptr;
  const uint32_t r = jpgWritePrologToMemory(0, &h);
  if (r != JPG_OK) return r;
  const uint32_t coded = encode(h);
  void *data = nullptr;
  uint32_t size = 0;
  const uint32_t closed = jpgWriteEpilogToMemory(h, &data, &size);
  if (data == nullptr) return firstOf(coded, closed);
  stream->assign(static_cast<uint8_t *>(data), static_cast<uint8_t *>(data) + size);
  return firstOf(firstOf(coded, closed), jpgWriteFreeBitstream(data));
}

Bytes readFile(const std::wstring &path) {
  JPGHANDLE h = nullptr;
  return jpgReadPrologFromFile(path.c_str(), 0, 0, 0, &h) == JPG_OK ? decode(h) : Bytes();
}

Bytes readMemory(const Bytes &stream) {
  JPGHANDLE h = nullptr;
  const uint32_t r =
      jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h);
  return r == JPG_OK ? decode(h) : Bytes();
}

int distance(const Bytes &a, const Bytes &b) {
  if (a.size() != b.size()) return 256;
  int most = 0;
  for (size_t i = 0; i < a.size(); i++) {
    const int d = std::abs(int{a[i]} - int{b[i]});
    if (d > most) most = d;
  }
  return most;
}

}  // namespace windows_test
