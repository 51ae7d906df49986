// SPDX-License-Identifier: MIT
#include "write/jpgWAverage.h"

#include <string.h>

#include "share/jpgArith.h"
#include "write/jpgWMcu.h"

namespace jpg {
namespace {

constexpr uint32_t kFractionBits = 12;
constexpr int32_t kOne = 1 << kFractionBits;
constexpr int32_t kLevelShift = 128;

// How a component is made of the channels of a pixel: factors scaled by 4096.
struct Mixture {
  int32_t factor[kMaxComponents];
  int32_t levelShift;
  bool plain;  // one channel as it is
};

// Blue, green, red to Y, Cb, Cr.
constexpr Mixture kYcc[3] = {{{467, 2404, 1225, 0}, kLevelShift, false},
                             {{2048, -1357, -691, 0}, 0, false},
                             {{-333, -1715, 2048, 0}, 0, false}};

bool isConverted(const JpgContext &c) {
  return c.write.frameComponents == 3 && c.write.frameRaw == 0;
}

// Raw components are the channels as they are, three of them in the order red, green, blue.
Mixture mixtureOf(const JpgContext &c, uint32_t component) {
  if (isConverted(c)) return kYcc[component];
  const uint32_t channels = c.write.frameComponents;
  Mixture m = {{}, kLevelShift, true};
  m.factor[channels == 3 ? 2 - component : component] = kOne;
  return m;
}

// Where a component's samples come from.
struct Group {
  uint32_t channels;
  uint32_t across;  // pixels of a sample, 1 or 2
  uint32_t down;
  ptrdiff_t stride;
};

int32_t weighGroup(const Group &g, const Mixture &m, const uint8_t *in) {
  int32_t sum = 0;
  for (uint32_t y = 0; y < g.down; y++, in += g.stride) {
    for (uint32_t i = 0; i < g.across * g.channels; i++) sum += in[i] * m.factor[i % g.channels];
  }
  return sum;
}

// One block. The averages of raw channels are often halfway between two values: these are rounded
// down in even columns and up in odd ones.
void averageBlock(const Group &g, const Mixture &m, const uint8_t *in, int16_t *out) {
  const uint32_t shift = kFractionBits + (g.across - 1) + (g.down - 1);
  const int32_t half = (1 << (shift - 1)) - (m.levelShift << shift);
  const int32_t evenLess = m.plain && shift != kFractionBits ? 1 : 0;
  for (uint32_t y = 0; y < 8; y++, in += g.stride * static_cast<ptrdiff_t>(g.down)) {
    for (uint32_t x = 0; x < 8; x++) {
      const int32_t sum = weighGroup(g, m, in + size_t{x} * g.across * g.channels);
      *out++ = low16(asr(sum + half - (x % 2 == 0 ? evenLess : 0), shift));
    }
  }
}

}  // namespace

void continueEdges(const JpgContext &c, const McuPixels &in, uint8_t *out) {
  const uint32_t channels = c.write.frameComponents;
  const size_t lineBytes = size_t{kAreaSize} * channels;
  for (uint32_t y = 0; y < c.mcuHeight; y++, out += lineBytes) {
    if (y >= in.lines) {
      memcpy(out, out - lineBytes, lineBytes);
      continue;
    }
    const uint8_t *line = in.bits + in.stride * static_cast<ptrdiff_t>(y);
    memcpy(out, line, size_t{in.columns} * channels);
    for (size_t i = size_t{in.columns} * channels; i < lineBytes; i++) out[i] = out[i - channels];
  }
}

void averageMcu(const JpgContext &c, const uint8_t *in, ptrdiff_t stride, int16_t *blocks) {
  const uint32_t channels = c.write.frameComponents;
  for (uint32_t i = 0; i < channels; i++) {
    const uint32_t h = c.scanComponents[i].sampling >> 4, v = c.scanComponents[i].sampling & 15;
    const Group group = {channels, c.hMax / h, c.vMax / v, stride};
    const Mixture mixture = mixtureOf(c, i);
    const size_t blockBytes = size_t{8} * group.across * channels;
    const ptrdiff_t blockLines = stride * static_cast<ptrdiff_t>(8 * group.down);
    for (uint32_t b = 0; b < h * v; b++, blocks += kBlockSize) {
      averageBlock(group, mixture,
                   in + blockLines * static_cast<ptrdiff_t>(b / h) + blockBytes * (b % h), blocks);
    }
  }
}

}  // namespace jpg
