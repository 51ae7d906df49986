#include "picture.h"

#include <algorithm>
#include <cstdio>

#include "jpg.h"

namespace jpgbench {
namespace {

constexpr uint32_t kSampling420 = 0x00221111;
constexpr int32_t kQuality = 90;

// Grain of -8..7 from a hash of the place.
int grainAt(uint32_t x, uint32_t y) {
  uint32_t h = x * 0x9E3779B1U ^ y * 0x85EBCA77U;
  h ^= h >> 15;
  h *= 0x2C1B3C6DU;
  return static_cast<int>(h >> 28) - 8;
}

// A triangle wave of 0..255.
int waveAt(uint32_t v, uint32_t period) {
  const uint32_t phase = v % period * 510 / period;
  return static_cast<int>(phase < 256 ? phase : 510 - phase);
}

uint8_t limited(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

// One pixel, blue first: slopes in both directions, discs with hard rims, grain.
void paint(uint32_t x, uint32_t y, uint8_t *pixel) {
  const int dx = static_cast<int>(x % 400) - 200, dy = static_cast<int>(y % 300) - 150;
  const bool inDisc = dx * dx + dy * dy < 100 * 100;
  const int light = waveAt(x, 1800) / 2 + waveAt(y, 1300) / 3 + grainAt(x, y);
  pixel[0] = limited(light + (inDisc ? -40 : 50));
  pixel[1] = limited(light + waveAt(x + y, 700) / 8);
  pixel[2] = limited(light + (inDisc ? 70 : 0));
}

Bytes takeBlock(JPGHANDLE handle, bool good) {
  void *data = nullptr;
  uint32_t size = 0;
  Bytes stream;
  if (jpgWriteEpilogToMemory(handle, &data, &size) == JPG_OK && good) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    stream.assign(bytes, bytes + size);
  }
  if (data != nullptr) jpgWriteFreeBitstream(data);
  return stream;
}

}  // namespace

Bytes readFile(const std::string &name) {
  Bytes data;
  std::FILE *file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) return data;
  uint8_t chunk[65536];
  for (size_t n; (n = std::fread(chunk, 1, sizeof(chunk), file)) > 0;) {
    data.insert(data.end(), chunk, chunk + n);
  }
  std::fclose(file);
  return data;
}

Bytes makePhotograph(uint32_t width, uint32_t height) {
  Bytes pixels(size_t{width} * height * 3);
  for (uint32_t y = 0; y < height; y++) {
    for (uint32_t x = 0; x < width; x++) paint(x, y, &pixels[(size_t{y} * width + x) * 3]);
  }
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width);
  rect.height = static_cast<int32_t>(height);
  rect.stride = static_cast<int32_t>(width * 3);
  rect.bitsPerPixel = 24;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.bits = pixels.data();
  JPGHANDLE handle = nullptr;
  if (jpgWritePrologToMemory(0, &handle) != JPG_OK) return {};
  uint32_t r = jpgWriteSetSubsamplingFactor(handle, kSampling420);
  if (r == JPG_OK) r = jpgWriteSetQuantizationFactor(handle, kQuality);
  if (r == JPG_OK) r = jpgWriteFromRect(handle, &rect, height);
  return takeBlock(handle, r == JPG_OK);
}

}  // namespace jpgbench
