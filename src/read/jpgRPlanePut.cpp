// Pixels of a row from its samples, component by component.
#include <string.h>

#include "read/jpgRPlaneRows.h"
#include "share/jpgArith.h"
#include "share/jpgSamples.h"

namespace jpg {
namespace {

// Samples of a depth of kBits, 8 or 12.
template <uint32_t kBits>
struct Depth {
  static constexpr int32_t kMost = (1 << kBits) - 1;
  static constexpr int32_t kMiddle = 1 << (kBits - 1);
  static int32_t limit(int32_t v) { return v < 0 ? 0 : v > kMost ? kMost : v; }
};

struct Colour {
  int32_t blue, green, red;
};

// As the colour tables have it: each term rounded by itself.
Colour colourOfBytes(int32_t y, int32_t cb, int32_t cr) {
  const ColorPair b = jpgCbTable.entry[cb], r = jpgCrTable.entry[cr];
  const uint8_t *limit = jpgPixelLimit.entry + kPixelLimitZero - kLevelShift;
  return {limit[y + b.first], limit[y + b.second + r.first], limit[y + r.second]};
}

// Factors with 16 fraction bits.
Colour colourOfWords(int32_t y, int32_t cb, int32_t cr) {
  constexpr int32_t kHalf = 1 << 15;
  using D = Depth<12>;
  const int32_t b = cb - D::kMiddle, r = cr - D::kMiddle;
  return {D::limit(y + asr(116130 * b + kHalf, 16)),
          D::limit(y + asr(-22553 * b - 46802 * r + kHalf, 16)),
          D::limit(y + asr(91881 * r + kHalf, 16))};
}

template <uint32_t kBits>
Colour colourOf(int32_t y, int32_t cb, int32_t cr) {
  return kBits == 8 ? colourOfBytes(y, cb, cr) : colourOfWords(y, cb, cr);
}

template <uint32_t kBits>
void turnRound(Colour *c) {
  c->blue = Depth<kBits>::kMost - c->blue;
  c->green = Depth<kBits>::kMost - c->green;
  c->red = Depth<kBits>::kMost - c->red;
}

// What ink of v leaves of light of `light`, rounded; `v` counts what isn't covered.
template <uint32_t kBits>
int32_t dimmed(int32_t v, int32_t light) {
  constexpr int32_t kMost = Depth<kBits>::kMost;
  return (v * light + kMost / 2) / kMost;
}

// The light of a pixel of cyan, magenta, yellow and black: each ink takes its share.
template <uint32_t kBits>
Colour colourOfInk(const PlaneOutput &output, const int32_t *s) {
  constexpr int32_t kMost = Depth<kBits>::kMost;
  Colour c = {s[2], s[1], s[0]};
  if (output.format == PlaneFormat::kYcckToBgr) {
    // The first three components are red, green and blue light, from which the ink is what is left.
    c = colourOf<kBits>(s[0], s[1], s[2]);
    turnRound<kBits>(&c);
  }
  if (!output.inverted) turnRound<kBits>(&c);
  const int32_t light = output.inverted ? s[3] : kMost - s[3];
  return {dimmed<kBits>(c.blue, light), dimmed<kBits>(c.green, light), dimmed<kBits>(c.red, light)};
}

// Stores at any address.
template <typename Word>
void putWord(uint8_t *out, uint32_t i, int32_t v) {
  const auto word = static_cast<Word>(v);
  memcpy(out + sizeof(Word) * i, &word, sizeof(Word));
}

template <uint32_t kBits, typename Word>
class RowStorer {
 public:
  RowStorer(const Planes &p, const PlaneOutput &output) : p_(p), output_(output) {}

  void store(uint8_t *out, uint32_t columns) const {
    const size_t bytes = sizeof(Word) * wordsOfPixel();
    for (uint32_t x = 0; x < columns; x++, out += bytes) {
      int32_t s[kMaxComponents] = {};
      for (uint32_t i = 0; i < p_.components; i++) s[i] = sampleOf(i, x);
      putPixel(s, out);
    }
  }

 private:
  uint32_t wordsOfPixel() const {
    switch (output_.format) {
      case PlaneFormat::kGray:
        return 1;
      case PlaneFormat::kComponents:
        return p_.components;
      case PlaneFormat::kCmyk:
      case PlaneFormat::kYcckToCmyk:
        return 4;
      default:
        return 3;
    }
  }

  // Samples of 12 bits are rounded to bytes where bytes are asked for.
  int32_t sampleOf(uint32_t i, uint32_t x) const {
    const int32_t v = p_.work[i][x];
    if (kBits == 12 || !p_.wide) return v;
    return Depth<8>::limit((v + 8) >> 4);
  }

  static void putColour(const Colour &c, uint8_t *out) {
    putWord<Word>(out, 0, c.blue);
    putWord<Word>(out, 1, c.green);
    putWord<Word>(out, 2, c.red);
  }

  void putInk(const int32_t *s, uint8_t *out) const {
    Colour ink = {s[2], s[1], s[0]};
    if (output_.format == PlaneFormat::kYcckToCmyk) {
      ink = colourOf<kBits>(s[0], s[1], s[2]);
      turnRound<kBits>(&ink);
    }
    int32_t black = s[3];
    if (output_.inverted) {
      turnRound<kBits>(&ink);
      black = Depth<kBits>::kMost - black;
    }
    putColour({ink.red, ink.green, ink.blue}, out);
    putWord<Word>(out, 3, black);
  }

  void putPixel(const int32_t *s, uint8_t *out) const {
    switch (output_.format) {
      case PlaneFormat::kGray:
        putWord<Word>(out, 0, s[0]);
        break;
      case PlaneFormat::kComponents:
        for (uint32_t i = 0; i < p_.components; i++) putWord<Word>(out, i, s[i]);
        break;
      case PlaneFormat::kRgbToBgr:
        putColour({s[2], s[1], s[0]}, out);
        break;
      case PlaneFormat::kYccToBgr:
        putColour(colourOf<kBits>(s[0], s[1], s[2]), out);
        break;
      case PlaneFormat::kCmykToBgr:
      case PlaneFormat::kYcckToBgr:
        putColour(colourOfInk<kBits>(output_, s), out);
        break;
      default:
        putInk(s, out);
        break;
    }
  }

  const Planes &p_;
  const PlaneOutput &output_;
};

}  // namespace

void storePlaneRow(const Planes &p, const PlaneOutput &output, uint8_t *out, uint32_t columns) {
  if (output.wide) {
    RowStorer<12, uint16_t>(p, output).store(out, columns);
  } else {
    RowStorer<8, uint8_t>(p, output).store(out, columns);
  }
}

uint32_t pixelBytesOf(const JpgContext &c, const PlaneOutput &output) {
  const uint32_t word = output.wide ? 2 : 1;
  switch (output.format) {
    case PlaneFormat::kGray:
      return word;
    case PlaneFormat::kComponents:
      return word * c.numComponents;
    case PlaneFormat::kCmyk:
    case PlaneFormat::kYcckToCmyk:
      return word * 4;
    default:
      return word * 3;
  }
}

}  // namespace jpg
