// SPDX-License-Identifier: MIT
// Pixels of a row from its samples, component by component.
#include <string.h>

#include "read/jpgRPlaneRows.h"
#include "share/jpgArith.h"
#include "share/jpgSamples.h"

namespace jpg {
namespace {

// The range of samples, and the word that one is stored as.
struct Bytes {
  using Word = uint8_t;
  static constexpr int32_t kMost = 255;
};
struct Words {
  using Word = uint16_t;
  static constexpr int32_t kMost = 4095;
};

template <typename Depth>
int32_t limit(int32_t v) {
  return v < 0 ? 0 : v > Depth::kMost ? Depth::kMost : v;
}

struct Colour {
  int32_t blue, green, red;
};

template <typename Depth>
Colour colourOf(int32_t y, int32_t cb, int32_t cr);

// As the colour tables have it: each term rounded by itself.
template <>
Colour colourOf<Bytes>(int32_t y, int32_t cb, int32_t cr) {
  const ColorPair b = jpgCbTable.entry[cb], r = jpgCrTable.entry[cr];
  const uint8_t *limited = jpgPixelLimit.entry + kPixelLimitZero - kLevelShift + y;
  return {limited[b.first], limited[b.second + r.first], limited[r.second]};
}

// Factors with 16 fraction bits.
template <>
Colour colourOf<Words>(int32_t y, int32_t cb, int32_t cr) {
  constexpr int32_t kHalf = 1 << 15;
  const int32_t b = cb - kWideLevelShift, r = cr - kWideLevelShift;
  return {limit<Words>(y + asr(116130 * b + kHalf, 16)),
          limit<Words>(y + asr(-22553 * b - 46802 * r + kHalf, 16)),
          limit<Words>(y + asr(91881 * r + kHalf, 16))};
}

template <typename Depth>
Colour turnedRound(const Colour &c) {
  return {Depth::kMost - c.blue, Depth::kMost - c.green, Depth::kMost - c.red};
}

// Samples of a pixel; of components that the frame doesn't have, anything.
struct Samples {
  int32_t s[kMaxComponents];
};

constexpr bool isYcck(PlaneFormat format) {
  return format == PlaneFormat::kYcckToBgr || format == PlaneFormat::kYcckToCmyk;
}

// Cyan, magenta and yellow, in the places of red, green and blue. Of YCCK, the first three
// components are red, green and blue light, and ink is what is left of it.
template <typename Depth, PlaneFormat kFormat>
Colour inkOf(const Samples &p, bool inverted) {
  Colour ink = {p.s[2], p.s[1], p.s[0]};
  if (isYcck(kFormat)) ink = turnedRound<Depth>(colourOf<Depth>(p.s[0], p.s[1], p.s[2]));
  return inverted ? turnedRound<Depth>(ink) : ink;
}

template <typename Depth>
int32_t blackOf(const Samples &p, bool inverted) {
  return inverted ? Depth::kMost - p.s[3] : p.s[3];
}

// The light that an ink and black leave of all of it, rounded.
template <typename Depth>
int32_t lightOf(int32_t ink, int32_t black) {
  return ((Depth::kMost - ink) * (Depth::kMost - black) + Depth::kMost / 2) / Depth::kMost;
}

// The colour that a pixel has in memory; of formats with four words, without black.
template <typename Depth, PlaneFormat kFormat>
Colour pixelOf(const Samples &p, bool inverted) {
  if constexpr (kFormat == PlaneFormat::kRgbToBgr) {
    return {p.s[2], p.s[1], p.s[0]};
  } else if constexpr (kFormat == PlaneFormat::kYccToBgr) {
    return colourOf<Depth>(p.s[0], p.s[1], p.s[2]);
  } else {
    const Colour ink = inkOf<Depth, kFormat>(p, inverted);
    if (kFormat == PlaneFormat::kCmyk || kFormat == PlaneFormat::kYcckToCmyk) {
      return {ink.red, ink.green, ink.blue};
    }
    const int32_t black = blackOf<Depth>(p, inverted);
    return {lightOf<Depth>(ink.blue, black), lightOf<Depth>(ink.green, black),
            lightOf<Depth>(ink.red, black)};
  }
}

// Stores a word at any address.
template <typename Depth>
void putWord(uint8_t *out, size_t i, int32_t v) {
  const auto word = static_cast<typename Depth::Word>(v);
  memcpy(out + sizeof(word) * i, &word, sizeof(word));
}

template <typename Depth, PlaneFormat kFormat>
void storeColours(const Planes &p, bool inverted, uint8_t *out, uint32_t columns) {
  constexpr bool kInk = kFormat == PlaneFormat::kCmyk || kFormat == PlaneFormat::kYcckToCmyk;
  constexpr size_t kWords = kInk ? 4 : 3;
  for (uint32_t x = 0; x < columns; x++, out += kWords * sizeof(typename Depth::Word)) {
    const Samples s = {{p.work[0][x], p.work[1][x], p.work[2][x], p.work[3][x]}};
    const Colour c = pixelOf<Depth, kFormat>(s, inverted);
    putWord<Depth>(out, 0, c.blue);
    putWord<Depth>(out, 1, c.green);
    putWord<Depth>(out, 2, c.red);
    if (kInk) putWord<Depth>(out, 3, blackOf<Depth>(s, inverted));
  }
}

// The first `count` components in their order.
template <typename Depth>
void storeComponents(const Planes &p, uint32_t count, uint8_t *out, uint32_t columns) {
  for (uint32_t i = 0; i < count; i++) {
    for (uint32_t x = 0; x < columns; x++) {
      putWord<Depth>(out, size_t{x} * count + i, p.work[i][x]);
    }
  }
}

template <typename Depth>
void storeRow(const Planes &p, const PlaneOutput &output, uint8_t *out, uint32_t columns) {
  using Storer = void (*)(const Planes &, bool, uint8_t *, uint32_t);
  static constexpr Storer kStorers[] = {nullptr,
                                        nullptr,
                                        storeColours<Depth, PlaneFormat::kRgbToBgr>,
                                        storeColours<Depth, PlaneFormat::kYccToBgr>,
                                        storeColours<Depth, PlaneFormat::kCmykToBgr>,
                                        storeColours<Depth, PlaneFormat::kYcckToBgr>,
                                        storeColours<Depth, PlaneFormat::kCmyk>,
                                        storeColours<Depth, PlaneFormat::kYcckToCmyk>};
  const Storer storer = kStorers[static_cast<uint32_t>(output.format)];
  if (storer != nullptr) {
    storer(p, output.inverted, out, columns);
  } else {
    const bool gray = output.format == PlaneFormat::kGray;
    storeComponents<Depth>(p, gray ? 1 : p.components, out, columns);
  }
}

// Rounds samples of 12 bits to bytes.
void roundRow(uint16_t *row, uint32_t columns) {
  for (uint32_t x = 0; x < columns; x++) {
    row[x] = static_cast<uint16_t>(limit<Bytes>((row[x] + 8) >> 4));
  }
}

}  // namespace

void storePlaneRow(const Planes &p, const PlaneOutput &output, uint8_t *out, uint32_t columns) {
  if (output.wide) {
    storeRow<Words>(p, output, out, columns);
    return;
  }
  for (uint32_t i = 0; p.wide && i < p.components; i++) roundRow(p.work[i], columns);
  storeRow<Bytes>(p, output, out, columns);
}

}  // namespace jpg
