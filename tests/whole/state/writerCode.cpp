// Pixels to bits: baseline MCUs and lossless lines.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "model/encoder.h"
#include "model/encoderTables.h"
#include "model/fdct.h"
#include "whole/state/writerState.h"

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

}  // namespace

uint32_t WriterState::fromRect(const JpgRect &rect, uint32_t lines) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  if (lines_ == 0) {
    if (const uint32_t r = beginBaseline(rect); r != JPG_OK) return r;
  }
  if (frame_.lossless) return JPG_E_UNSUPPORTED;
  band(rect, lines);
  lines_ += lines;
  return JPG_OK;
}

// A component's sample of a pixel, level-shifted.
int WriterState::sample(const uint8_t *p, size_t component) const {
  if (frame_.components != 3) return p[component] - 128;
  if (frame_.raw) return p[2 - component] - 128;
  const int b = p[0], g = p[1], r = p[2];
  if (component == 0) return floorDiv(1225 * r + 2404 * g + 467 * b + 2048, 4096) - 128;
  if (component == 1) return floorDiv(2048 * b - 691 * r - 1357 * g + 2048, 4096);
  return floorDiv(2048 * r - 1715 * g - 333 * b + 2048, 4096);
}

// Whole MCU rows. What an MCU lacks is what the one before it had there; the area begins with
// zero bytes (which the level shift makes -128 where it comes later).
void WriterState::band(const JpgRect &rect, uint32_t lines) {
  const int start = frame_.components == 3 ? 0 : -128;
  for (auto &plane : area_) {
    for (auto &row : plane) row.fill(start);
  }
  const uint32_t mcuWidth = 8 * static_cast<uint32_t>(hMax_);
  const uint32_t mcuHeight = 8 * static_cast<uint32_t>(vMax_);
  const auto *bits = static_cast<const uint8_t *>(rect.bits);
  for (uint32_t y = 0; y < lines; y += mcuHeight) {
    for (uint32_t x = 0; x < frame_.width; x += mcuWidth) {
      for (uint32_t dy = 0; dy < mcuHeight && y + dy < lines; dy++) {
        const uint8_t *row = bits + int64_t{rect.stride} * (y + dy);
        for (uint32_t dx = 0; dx < mcuWidth && x + dx < frame_.width; dx++) {
          for (size_t k = 0; k < coded_.size(); k++) {
            area_[k][dy][dx] = sample(row + size_t{x + dx} * frame_.components, k);
          }
        }
      }
      mcu();
    }
  }
}

void WriterState::mcu() {
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
  if (++mcusSinceRestart_ == frame_.restart) restartMarker();
}

void WriterState::restartMarker() {
  out_.marker(0xFFD0 + restarts_++ % 8);
  for (Coded &c : coded_) c.prediction = 0;
  mcusSinceRestart_ = 0;
}

void WriterState::codeBlock(int32_t (*block)[8], Coded *c) {
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

uint32_t WriterState::spatialFromRect(const JpgRect &rect, uint32_t lines) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  if (lines_ == 0 && !frame_.lossless) {
    if (const uint32_t r = beginLossless(rect); r != JPG_OK) return r;
  }
  if (!frame_.lossless) return JPG_E_UNSUPPORTED;
  const auto *row = static_cast<const uint8_t *>(rect.bits);
  for (uint32_t i = 0; i < lines; i++, row += rect.stride) {
    if (frame_.height != 0 && lines_ >= frame_.height) return JPG_OK;
    spatialLine(row);
    firstLine_ = false;
    mcusSinceRestart_ += frame_.width;
    if (mcusSinceRestart_ == frame_.restart) {
      restartMarker();
      firstLine_ = true;
    }
    lines_++;
    const size_t bytes = size_t{frame_.width} * frame_.components * (frame_.precision > 8 ? 2 : 1);
    previous_.assign(row, row + bytes);
  }
  return JPG_OK;
}

int WriterState::spatialSample(const uint8_t *row, size_t i) const {
  if (frame_.precision <= 8) return row[i];
  uint16_t word = 0;
  std::memcpy(&word, row + 2 * i, 2);
  return word;
}

void WriterState::spatialLine(const uint8_t *row) {
  const size_t n = frame_.components;
  for (size_t i = 0; i < frame_.width * n; i++) {
    int p = 1 << (frame_.precision - 1);
    if (i >= n && firstLine_) {
      p = spatialSample(row, i - n);
    } else if (i >= n) {
      p = predicted(frame_.predictor, spatialSample(row, i - n), spatialSample(previous_.data(), i),
                    spatialSample(previous_.data(), i - n));
    } else if (!firstLine_) {
      p = spatialSample(previous_.data(), i);
    }
    putDifference(spatialSample(row, i) - p);
  }
}

void WriterState::putDifference(int difference) {
  if (frame_.precision > 8) {  // modulo 65536, into -32767 .. 32768
    difference = ((difference % 65536) + 65536) % 65536;
    if (difference > 32768) difference -= 65536;
  }
  int category = 0;
  const std::string bits = additionalBits(difference, &category);
  out_.bits(codeOf(category) + bits);
}

}  // namespace jpgtest
