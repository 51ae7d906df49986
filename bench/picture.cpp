#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "yardstick.h"

namespace jpgbench {
namespace {

// Grain of -8..7 by a hash of the position.
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

// Width and height of the first frame header; false without one.
bool frameSize(const Bytes &stream, uint32_t *width, uint32_t *height) {
  for (size_t at = 2; at + 9 < stream.size();) {
    const uint32_t code = stream[at + 1];
    if (code >= 0xC0 && code <= 0xC2) {
      *height = static_cast<uint32_t>(stream[at + 5] << 8 | stream[at + 6]);
      *width = static_cast<uint32_t>(stream[at + 7] << 8 | stream[at + 8]);
      return true;
    }
    at += 2 + static_cast<size_t>(stream[at + 2] << 8 | stream[at + 3]);
  }
  return false;
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

Picture makePhotograph(uint32_t width, uint32_t height) {
  Picture p;
  p.width = width;
  p.height = height;
  p.pixels.resize(p.rowBytes() * height);
  for (uint32_t y = 0; y < height; y++) {
    for (uint32_t x = 0; x < width; x++) paint(x, y, &p.pixels[(size_t{y} * width + x) * 3]);
  }
  return p;
}

Picture photographOf(const std::string &folder, double megapixels) {
  const char *name = megapixels < 1   ? "/photos/flower_0.4mp_420_q90.jpg"
                     : megapixels < 6 ? "/photos/flower_3mp_420_q75.jpg"
                                      : "/photos/flower_12mp_420_q90.jpg";
  const Bytes stream = readFile(folder + name);
  Picture p;
  if (frameSize(stream, &p.width, &p.height) && decodeWithLibjpeg(stream, 1, &p.pixels)) return p;
  const double side = std::sqrt(megapixels * 1e6 / 12);
  return makePhotograph(static_cast<uint32_t>(4 * side), static_cast<uint32_t>(3 * side));
}

Picture toGray(const Picture &picture) {
  Picture p = picture;
  p.channels = 1;
  p.pixels.resize(p.rowBytes() * p.height);
  for (size_t i = 0; i < p.pixels.size(); i++) {
    const uint8_t *in = &picture.pixels[3 * i];
    p.pixels[i] = static_cast<uint8_t>((in[0] + 2 * in[1] + in[2]) / 4);
  }
  return p;
}

Picture toWords(const Picture &picture) {
  Picture p = picture;
  p.channels = 1;
  p.bits = 16;
  p.pixels.resize(p.rowBytes() * p.height);
  for (size_t i = 0; i < p.pixels.size() / 2; i++) {
    const uint8_t *in = &picture.pixels[3 * i];
    const auto word = static_cast<uint16_t>(in[1] << 8 | ((in[0] ^ in[2]) & 63));
    std::memcpy(&p.pixels[2 * i], &word, sizeof(word));
  }
  return p;
}

Picture cropped(const Picture &picture, uint32_t width, uint32_t height) {
  Picture p = picture;
  p.width = std::min(width, picture.width);
  p.height = std::min(height, picture.height);
  p.pixels.resize(p.rowBytes() * p.height);
  const uint32_t left = (picture.width - p.width) / 2, top = (picture.height - p.height) / 2;
  for (uint32_t y = 0; y < p.height; y++) {
    const uint8_t *row = &picture.pixels[picture.rowBytes() * (top + y)];
    std::memcpy(&p.pixels[p.rowBytes() * y], row + size_t{left} * picture.channels, p.rowBytes());
  }
  return p;
}

}  // namespace jpgbench
