// SPDX-License-Identifier: MIT
#include "model/encoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "model/encoderTables.h"
#include "model/fdct.h"

namespace jpgtest {
namespace {

int floorDiv(int64_t n, int64_t d) {
  return static_cast<int>(n >= 0 ? n / d : -((-n + d - 1) / d));
}

int predicted(uint32_t predictor, int a, int b, int c) {
  switch (predictor) {
    case 1:
      return a;
    case 2:
      return b;
    case 3:
      return c;
    case 4:
      return a + b - c;
    case 5:
      return a + floorDiv(b - c, 2);
    case 6:
      return b + floorDiv(a - c, 2);
    default:
      return floorDiv(a + b, 2);
  }
}

// Codes of a category: T.81 Table K.3, continued by a code of one more bit each.
std::string codeOf(int category) {
  static const char *const kFirst[] = {"00", "010", "011", "100", "101", "110"};
  return category < 6 ? kFirst[category]
                      : std::string(static_cast<size_t>(category) - 3, '1') + "0";
}

const std::string &wordOf(bool ac, int table, int symbol) {
  static const auto all = [] {
    std::array<std::array<std::string, 256>, 4> words;
    for (size_t i = 0; i < 4; i++) {
      for (const auto &word : codeWords(annexK(i > 1, static_cast<int>(i % 2)))) {
        words[i][static_cast<size_t>(word.first)] = word.second;
      }
    }
    return words;
  }();
  return all[static_cast<size_t>((ac ? 2 : 0) + table)][static_cast<size_t>(symbol)];
}

Bytes dhtOf(bool ac, int id) {
  const AnnexKTable &table = annexK(ac, id);
  Bytes data = {static_cast<uint8_t>((ac ? 0x10 : 0) | id)};
  for (const int n : table.counts) data.push_back(static_cast<uint8_t>(n));
  for (const int v : table.symbols) data.push_back(static_cast<uint8_t>(v));
  return data;
}

}  // namespace

uint32_t ModelEncoder::headers(const EncodeFrame &frame) {
  frame_ = frame;
  hMax_ = vMax_ = 1;
  coded_.clear();
  firstLine_ = frame.lossless;
  return frame.lossless ? losslessHeaders() : baselineHeaders();
}

void ModelEncoder::endPiece() {
  for (Coded &c : coded_) c.prediction = 0;
  firstLine_ = frame_.lossless;
}

uint32_t ModelEncoder::frameSegments(const Bytes &factors, const Bytes &quantSelectors,
                                     const Bytes &tables, const Bytes &spectral) {
  const EncodeFrame &f = frame_;
  const auto n = static_cast<uint8_t>(f.components);
  const auto low = [](uint32_t v) { return static_cast<uint8_t>(v); };
  Bytes sof = {low(f.precision),  low(f.height >> 8), low(f.height),
               low(f.width >> 8), low(f.width),       n};
  Bytes sos = {n};
  for (size_t i = 0; i < n; i++) {
    append(sof, {f.ids[i], factors[i], quantSelectors[i]});
    append(sos, {f.ids[i], tables[i]});
  }
  out_.segment(f.lossless ? 0xFFC3 : 0xFFC0, sof);
  if (f.restart != 0) out_.segment(0xFFDD, {low(f.restart >> 8), low(f.restart)});
  append(sos, spectral);
  out_.segment(0xFFDA, sos);
  return static_cast<uint32_t>(sos.size());
}

uint32_t ModelEncoder::baselineHeaders() {
  Bytes dqt;
  for (int t = 0; t < 2; t++) {
    dqt.push_back(static_cast<uint8_t>(t));
    for (const ZigZagPlace &p : zigZag()) {
      dqt.push_back(static_cast<uint8_t>(quantStep(static_cast<int>(frame_.quality), t, p)));
    }
  }
  out_.segment(0xFFDB, dqt);
  for (const bool ac : {false, true}) {
    for (int id = 0; id < 2; id++) out_.segment(0xFFC4, dhtOf(ac, id));
  }
  Bytes factors, quantSelectors, tables;
  const uint32_t n = frame_.components;
  for (uint32_t i = 0; i < n; i++) {
    const auto b = static_cast<uint8_t>(frame_.sampling >> (8 * (n - 1 - i)));
    const int table = i == 0 ? 0 : 1;
    factors.push_back(b);
    quantSelectors.push_back(static_cast<uint8_t>(table));
    tables.push_back(static_cast<uint8_t>(table * 0x11));
    coded_.push_back({b >> 4, b & 15, table, 0});
    hMax_ = std::max(hMax_, b >> 4);
    vMax_ = std::max(vMax_, b & 15);
  }
  return frameSegments(factors, quantSelectors, tables, {0, 63, 0});
}

uint32_t ModelEncoder::losslessHeaders() {
  // Table K.3, for more than 8 bits continued by one code of each length up to 14.
  const bool wide = frame_.precision > 8;
  Bytes dht = {0, 0, 1, 5};
  for (int length = 4; length <= 16; length++) dht.push_back(length <= (wide ? 14 : 9) ? 1 : 0);
  for (uint8_t v = 0; v <= (wide ? 16 : 11); v++) dht.push_back(v);
  out_.segment(0xFFC4, dht);
  const Bytes zeros(4, 0);
  return frameSegments(Bytes(4, 0x11), zeros, zeros,
                       {static_cast<uint8_t>(frame_.predictor), 0, 0});
}

// A component's sample of a pixel, level-shifted.
int ModelEncoder::baselineSample(const uint8_t *p, size_t component) const {
  if (frame_.components != 3) return p[component] - 128;
  if (frame_.raw) return p[2 - component] - 128;
  const int b = p[0], g = p[1], r = p[2];
  if (component == 0) return floorDiv(1225 * r + 2404 * g + 467 * b + 2048, 4096) - 128;
  if (component == 1) return floorDiv(2048 * b - 691 * r - 1357 * g + 2048, 4096);
  return floorDiv(2048 * r - 1715 * g - 333 * b + 2048, 4096);
}

// Whole MCU rows. What an MCU lacks is what the one before it had there; the area begins with
// zero bytes (which the level shift makes -128 where it comes later).
void ModelEncoder::baselineLines(const uint8_t *bits, std::ptrdiff_t stride, uint32_t lines) {
  const int start = frame_.components == 3 ? 0 : -128;
  for (auto &plane : area_) {
    for (auto &row : plane) row.fill(start);
  }
  const uint32_t mcuWidth = 8 * static_cast<uint32_t>(hMax_);
  const uint32_t mcuHeight = 8 * static_cast<uint32_t>(vMax_);
  for (uint32_t y = 0; y < lines; y += mcuHeight) {
    for (uint32_t x = 0; x < frame_.width; x += mcuWidth) {
      for (uint32_t dy = 0; dy < mcuHeight && y + dy < lines; dy++) {
        const uint8_t *row = bits + stride * static_cast<std::ptrdiff_t>(y + dy);
        for (uint32_t dx = 0; dx < mcuWidth && x + dx < frame_.width; dx++) {
          for (size_t k = 0; k < coded_.size(); k++) {
            area_[k][dy][dx] = baselineSample(row + size_t{x + dx} * frame_.components, k);
          }
        }
      }
      mcu();
    }
  }
}

void ModelEncoder::mcu() {
  for (size_t k = 0; k < coded_.size(); k++) {
    Coded &c = coded_[k];
    const int stepX = hMax_ / c.h, stepY = vMax_ / c.v;
    for (int v = 0; v < c.v; v++) {
      for (int h = 0; h < c.h; h++) {
        int32_t block[8][8];
        for (int y = 0; y < 8; y++) {
          for (int x = 0; x < 8; x++) {
            block[y][x] = area_[k][static_cast<size_t>((8 * v + y) * stepY)]
                               [static_cast<size_t>((8 * h + x) * stepX)];
          }
        }
        codeBlock(block, &c);
      }
    }
  }
  if (++sinceRestart_ == frame_.restart) restartMarker();
}

void ModelEncoder::restartMarker() {
  out_.marker(0xFFD0 + restarts_++ % 8);
  for (Coded &c : coded_) c.prediction = 0;
  sinceRestart_ = 0;
}

void ModelEncoder::codeBlock(int32_t (*block)[8], Coded *c) {
  static const std::vector<ZigZagPlace> order = zigZag();
  modelForwardDct(block);
  int run = 0, category = 0;
  for (size_t k = 0; k < 64; k++) {
    const int q = 8 * quantStep(static_cast<int>(frame_.quality), c->table, order[k]);
    const int value = block[order[k].row][order[k].column];
    const int magnitude = (std::abs(value) + q / 2) / q;
    const int level = value < 0 ? -magnitude : magnitude;
    if (k == 0) {
      const std::string dc = additionalBits(level - c->prediction, &category);
      c->prediction = level;
      out_.bits(wordOf(false, c->table, category) + dc);
    } else if (level == 0) {
      run++;
    } else {
      for (; run > 15; run -= 16) out_.bits(wordOf(true, c->table, 0xF0));
      const std::string bits = additionalBits(level, &category);
      out_.bits(wordOf(true, c->table, run * 16 + category) + bits);
      run = 0;
    }
  }
  if (run > 0) out_.bits(wordOf(true, c->table, 0));
}

int ModelEncoder::losslessSample(const uint8_t *row, size_t i) const {
  if (frame_.precision <= 8) return row[i];
  uint16_t word = 0;
  std::memcpy(&word, row + 2 * i, 2);
  return word;
}

void ModelEncoder::losslessLine(const uint8_t *row) {
  const size_t n = frame_.components;
  for (size_t i = 0; i < frame_.width * n; i++) {
    int p = 1 << (frame_.precision - 1);
    if (i >= n && firstLine_) {
      p = losslessSample(row, i - n);
    } else if (i >= n) {
      p = predicted(frame_.predictor, losslessSample(row, i - n),
                    losslessSample(previous_.data(), i), losslessSample(previous_.data(), i - n));
    } else if (!firstLine_) {
      p = losslessSample(previous_.data(), i);
    }
    putDifference(losslessSample(row, i) - p);
  }
  previous_.assign(row, row + frame_.width * n * (frame_.precision > 8 ? 2 : 1));
  firstLine_ = false;
  sinceRestart_ += frame_.width;
  if (sinceRestart_ == frame_.restart) {
    restartMarker();
    firstLine_ = true;
  }
}

void ModelEncoder::putDifference(int difference) {
  if (frame_.precision > 8) {  // modulo 65536, into -32767 .. 32768
    difference = ((difference % 65536) + 65536) % 65536;
    if (difference > 32768) difference -= 65536;
  }
  int category = 0;
  const std::string bits = additionalBits(difference, &category);
  out_.bits(codeOf(category) + bits);
}

}  // namespace jpgtest
