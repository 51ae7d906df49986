// SPDX-License-Identifier: MIT
#include "picture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace jpgbench {
namespace {

// A triangle wave of 0..255.
int waveAt(uint32_t v, uint32_t period) {
  const uint32_t phase = v % period * 510 / period;
  return static_cast<int>(phase < 256 ? phase : 510 - phase);
}

uint8_t limited(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

// One pixel, blue first: slopes in both directions, discs with hard rims, grain of -8..7.
void paintPhotograph(uint32_t x, uint32_t y, uint8_t *pixel) {
  const int dx = static_cast<int>(x % 400) - 200, dy = static_cast<int>(y % 300) - 150;
  const bool inDisc = dx * dx + dy * dy < 100 * 100;
  const int grain = static_cast<int>(hashOf(x, y, 1) >> 28) - 8;
  const int light = waveAt(x, 1800) / 2 + waveAt(y, 1300) / 3 + grain;
  pixel[0] = limited(light + (inDisc ? -40 : 50));
  pixel[1] = limited(light + waveAt(x + y, 700) / 8);
  pixel[2] = limited(light + (inDisc ? 70 : 0));
}

void paintNoise(uint32_t x, uint32_t y, uint8_t *pixel) {
  const uint32_t h = hashOf(x, y, 2);
  for (int c = 0; c < 3; c++) pixel[c] = static_cast<uint8_t>(h >> 8 * c);
}

// Letters stand in cells of 7 x 12 pixels; each is a pattern of 5 x 7 dots, every sixth one a
// space, and a line ends after 40 to 71 of them.
bool isInk(uint32_t x, uint32_t y) {
  const uint32_t column = x / 7, line = y / 12, dx = x % 7, dy = y % 12;
  if (dx >= 5 || dy >= 7 || column > 40 + hashOf(0, line, 3) % 32) return false;
  const uint32_t letter = hashOf(column, line, 4) % 48;
  return letter % 6 != 0 && (hashOf(letter, dy, 5) >> (8 + dx) & 1) != 0;
}

// Windows of 560 x 300 pixels, 24 of which are the title, 40 apart.
void paintScreen(uint32_t x, uint32_t y, uint8_t *pixel) {
  static constexpr uint8_t kGround[3] = {120, 80, 40}, kTitle[3] = {170, 110, 60},
                           kPaper[3] = {250, 250, 250}, kRim[3] = {90, 90, 90},
                           kInk[3] = {30, 20, 20};
  const uint32_t wx = x % 600, wy = y % 340;
  const uint8_t *color = kPaper;
  if (wx >= 560 || wy >= 300) {
    color = kGround;
  } else if (wx == 0 || wx == 559 || wy == 0 || wy == 299) {
    color = kRim;
  } else if (wy < 24) {
    color = wy > 8 && wx > 12 && wx < 200 && isInk(wx - 12, wy - 9) ? kPaper : kTitle;
  } else if (wx > 12 && wx < 540 && wy > 32 && isInk(wx - 12 + x / 600 * 7007, y)) {
    color = kInk;
  }
  std::memcpy(pixel, color, 3);
}

template <typename Paint>
Picture painted(uint32_t width, uint32_t height, Paint paint) {
  Picture p(width, height);
  for (uint32_t y = 0; y < height; y++) {
    for (uint32_t x = 0; x < width; x++) paint(x, y, p.at(x, y));
  }
  return p;
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

bool writeFile(const std::string &name, const Bytes &data) {
  std::FILE *file = std::fopen(name.c_str(), "wb");
  if (file == nullptr) return false;
  const bool whole = std::fwrite(data.data(), 1, data.size(), file) == data.size();
  return std::fclose(file) == 0 && whole;
}

uint32_t hashOf(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
  h = (h ^ h >> 15) * 0x2C1B3C6DU;
  h = (h ^ h >> 12) * 0x297A2D39U;
  return h ^ h >> 15;
}

Picture boxed(const Picture &picture, uint32_t side) {
  Picture p(picture.width / side, picture.height / side, picture.channels);
  for (uint32_t y = 0; y < p.height; y++) {
    for (uint32_t i = 0; i < p.width * p.channels; i++) {
      const uint32_t x = i / p.channels, c = i % p.channels;
      uint32_t sum = 0;
      for (uint32_t k = 0; k < side * side; k++) {
        sum += picture.at(x * side + k % side, y * side + k / side)[c];
      }
      p.at(x, y)[c] = static_cast<uint8_t>((sum + side * side / 2) / (side * side));
    }
  }
  return p;
}

Picture boxedWords(const Picture &picture) {
  Picture p(picture.width / 2, picture.height / 2, 1, 16);
  for (uint32_t y = 0; y < p.height; y++) {
    for (uint32_t x = 0; x < p.width; x++) {
      uint32_t light = 0;
      for (uint32_t k = 0; k < 4; k++) {
        const uint8_t *in = picture.at(2 * x + k % 2, 2 * y + k / 2);
        light += in[0] + 2U * in[1] + in[2];
      }
      const auto word = static_cast<uint16_t>(light << 3 | hashOf(x, y, 6) >> 29);
      std::memcpy(p.at(x, y), &word, sizeof(word));
    }
  }
  return p;
}

Picture toGray(const Picture &picture) {
  Picture p(picture.width, picture.height, 1);
  for (size_t i = 0; i < p.pixels.size(); i++) {
    const uint8_t *in = &picture.pixels[3 * i];
    p.pixels[i] = static_cast<uint8_t>((in[0] + 2 * in[1] + in[2]) / 4);
  }
  return p;
}

Picture cropped(const Picture &picture, uint32_t width, uint32_t height) {
  Picture p(std::min(width, picture.width), std::min(height, picture.height), picture.channels,
            picture.bits);
  const uint32_t left = (picture.width - p.width) / 2, top = (picture.height - p.height) / 2;
  for (uint32_t y = 0; y < p.height; y++) {
    std::memcpy(p.at(0, y), picture.at(left, top + y), p.rowBytes());
  }
  return p;
}

Picture makePhotograph(uint32_t width, uint32_t height) {
  return painted(width, height, paintPhotograph);
}

Picture makeNoise(uint32_t width, uint32_t height) { return painted(width, height, paintNoise); }

Picture makeScreen(uint32_t width, uint32_t height) { return painted(width, height, paintScreen); }

}  // namespace jpgbench
