// SPDX-License-Identifier: MIT
#include "support/picture.h"

#include <algorithm>

#include "support/random.h"

namespace jpgtest {
namespace {

// A quantised block by rule.
Block makeBlock(Fill fill, Random &random) {
  Block block{};
  const auto some = [&](int count, int32_t range, unsigned size) {
    for (int i = 0; i < count; ++i) {
      const int row = random.between(0, static_cast<int32_t>(size) - 1);
      const int column = random.between(0, static_cast<int32_t>(size) - 1);
      block[static_cast<size_t>(row * 8 + column)] = random.between(-range, range);
    }
  };
  switch (fill) {
    case Fill::kZero:
      break;
    case Fill::kDcOnly:
      block[0] = random.between(-600, 600);
      break;
    case Fill::kSmooth:
      some(random.between(0, 8), 40, 4);
      block[0] = random.between(-300, 300);
      break;
    case Fill::kNoFirstVertical:
      some(random.between(0, 24), 60, 8);
      std::fill(block.begin() + 8, block.begin() + 16, 0);
      break;
    case Fill::kSparse:
      some(random.between(1, 3), 90, 8);
      break;
    case Fill::kDense:
      for (int32_t &c : block) c = random.between(-30, 30);
      break;
    case Fill::kExtreme:
      for (int32_t &c : block) {
        const int32_t limit = random.oneIn(3) ? 0 : random.oneIn(2) ? 32767 : 1023;
        c = random.between(-limit, limit);
      }
      block[0] = random.between(-16000, 16000);  // so that no difference exceeds 15 bits
      break;
  }
  return block;
}

QuantTable risingQuant(uint16_t first) {
  QuantTable table;
  for (size_t k = 0; k < 64; ++k) table[k] = static_cast<uint16_t>(first + k / 3);
  return table;
}

// How often each symbol of each table occurs.
struct Counts {
  std::array<std::array<uint32_t, 256>, 4> dc{};
  std::array<std::array<uint32_t, 256>, 4> ac{};
};

void countAc(const Block &block, std::array<uint32_t, 256> &counts) {
  unsigned run = 0;
  for (unsigned k = 1; k < 64; ++k) {
    const int32_t value = block[kZigzag[k]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) ++counts[0xF0];
    ++counts[run << 4 | categoryOf(value)];
    run = 0;
  }
  if (run > 0) ++counts[0];
}

// Calls `code(component, block, difference)` for every block in coded order, and `boundary()`
// ahead of each restart interval but the first.
template <typename Code, typename Boundary>
void walkBlocks(const Picture &picture, const Code &code, const Boundary &boundary) {
  std::vector<int32_t> predictions(picture.components.size(), 0);
  for (unsigned mcu = 0; mcu < picture.mcuCount(); ++mcu) {
    if (mcu > 0 && picture.restartInterval != 0 && mcu % picture.restartInterval == 0) {
      boundary();
      std::fill(predictions.begin(), predictions.end(), 0);
    }
    for (size_t c = 0; c < picture.components.size(); ++c) {
      const unsigned count = picture.blocksInMcu(c);
      for (unsigned i = 0; i < count; ++i) {
        const Block &block = picture.components[c].blocks[mcu * count + i];
        code(picture.components[c], block, block[0] - predictions[c]);
        predictions[c] = block[0];
      }
    }
  }
}

unsigned largestFactor(const Picture &picture, unsigned shift) {
  if (picture.components.size() == 1) return 1;
  unsigned largest = 0;
  for (const PictureComponent &c : picture.components) {
    largest = std::max(largest, static_cast<unsigned>(c.sampling) >> shift & 15U);
  }
  return largest;
}

}  // namespace

unsigned Picture::hMax() const { return largestFactor(*this, 4); }
unsigned Picture::vMax() const { return largestFactor(*this, 0); }
unsigned Picture::mcusPerRow() const { return (width + mcuWidth() - 1) / mcuWidth(); }
unsigned Picture::mcuRows() const { return (height + mcuHeight() - 1) / mcuHeight(); }

unsigned Picture::blocksInMcu(size_t component) const {
  if (components.size() == 1) return 1;
  const unsigned sampling = components[component].sampling;
  return (sampling >> 4) * (sampling & 15);
}

Picture makePicture(uint16_t width, uint16_t height, const std::vector<uint8_t> &samplings,
                    Fill fill, uint32_t seed) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  for (size_t c = 0; c < samplings.size(); ++c) {
    PictureComponent component;
    component.id = static_cast<uint8_t>(c + 1);
    component.sampling = samplings[c];
    component.tq = component.td = component.ta = c == 0 ? 0 : 1;
    picture.components.push_back(component);
  }
  const bool steps = fill != Fill::kExtreme;
  for (uint16_t i = 0; i < 4; ++i) {
    picture.quant[i] = steps ? risingQuant(static_cast<uint16_t>(2 + i)) : flatQuant(1);
  }
  picture.dc.fill(fullDc());
  picture.ac.fill(fullAc());
  Random random(seed);
  for (size_t c = 0; c < samplings.size(); ++c) {
    const size_t count = size_t{picture.mcuCount()} * picture.blocksInMcu(c);
    for (size_t i = 0; i < count; ++i) {
      picture.components[c].blocks.push_back(makeBlock(fill, random));
    }
  }
  return picture;
}

Picture grayPicture(const std::vector<Block> &blocks) {
  Picture picture = makePicture(static_cast<uint16_t>(8 * blocks.size()), 8, {0x11}, Fill::kZero);
  picture.quant[0] = flatQuant(1);
  picture.components[0].blocks = blocks;
  return picture;
}

Block dcBlock(int32_t dc) {
  Block block{};
  block[0] = dc;
  return block;
}

void useOptimalTables(Picture &picture) {
  Counts counts;
  walkBlocks(
      picture,
      [&](const PictureComponent &c, const Block &block, int32_t difference) {
        ++counts.dc[c.td][categoryOf(difference)];
        countAc(block, counts.ac[c.ta]);
      },
      [] {});
  for (size_t i = 0; i < 4; ++i) {
    picture.dc[i] = optimalTable(counts.dc[i]);
    picture.ac[i] = optimalTable(counts.ac[i]);
  }
}

void useLongTables(Picture &picture) {
  // The rare symbols first, so that the common ones get the long codes.
  std::vector<uint8_t> ac = fullAcSymbols();
  std::reverse(ac.begin(), ac.end());
  std::vector<uint8_t> dc = fullDc().values;
  std::reverse(dc.begin(), dc.end());
  picture.dc.fill(longTailTable(dc));
  picture.ac.fill(longTailTable(ac));
}

void useAnnexKTables(Picture &picture) {
  picture.dc = {annexKLumaDc(), annexKChromaDc(), annexKLumaDc(), annexKChromaDc()};
  picture.ac = {annexKLumaAc(), annexKChromaAc(), annexKLumaAc(), annexKChromaAc()};
}

StreamBuilder headersOf(const Picture &picture) {
  StreamBuilder stream;
  stream.soi().raw(picture.before);
  std::array<bool, 4> quant{}, dc{}, ac{};
  std::vector<FrameComponent> frame;
  std::vector<ScanComponent> scan;
  for (const PictureComponent &c : picture.components) {
    quant[c.tq] = dc[c.td] = ac[c.ta] = true;
    frame.push_back({c.id, c.sampling, c.tq});
    scan.push_back({c.id, static_cast<uint8_t>(c.td << 4 | c.ta)});
  }
  for (uint8_t i = 0; i < 4; ++i) {
    if (quant[i]) stream.dqt(i, picture.quant[i], picture.wideQuant);
    if (dc[i]) stream.dht(i, picture.dc[i]);
    if (ac[i]) stream.dht(static_cast<uint8_t>(0x10 | i), picture.ac[i]);
  }
  const uint16_t height = picture.heightByDnl ? uint16_t{0} : picture.height;
  stream.sof(picture.sof, picture.precision, height, picture.width, frame);
  if (picture.restartInterval != 0) stream.dri(picture.restartInterval);
  return stream.sos(scan);
}

std::vector<Bytes> intervalsOf(const Picture &picture) {
  std::array<std::array<HuffCode, 256>, 4> dc, ac;
  for (size_t i = 0; i < 4; ++i) {
    dc[i] = codesOf(picture.dc[i]);
    ac[i] = codesOf(picture.ac[i]);
  }
  std::vector<Bytes> intervals;
  EntropyWriter writer;
  walkBlocks(
      picture,
      [&](const PictureComponent &c, const Block &block, int32_t difference) {
        writer.dc(difference, dc[c.td]);
        writer.ac(block, ac[c.ta]);
      },
      [&] { intervals.push_back(writer.take()); });
  intervals.push_back(writer.take());
  return intervals;
}

Bytes scanOf(const Picture &picture) {
  StreamBuilder stream;
  unsigned n = 0;
  for (const Bytes &interval : intervalsOf(picture)) {
    if (n > 0) stream.rst(n - 1);
    stream.raw(interval);
    ++n;
  }
  return stream.bytes();
}

Bytes encode(const Picture &picture) {
  StreamBuilder stream = headersOf(picture);
  stream.raw(scanOf(picture));
  if (picture.heightByDnl) stream.dnl(picture.height);
  return stream.eoi().bytes();
}

}  // namespace jpgtest
