// SPDX-License-Identifier: MIT
// Lossless rows (T.81 Annex H) and the row that is kept between calls.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "model/reader.h"

namespace jpgtest {
namespace {

int32_t floorHalf(int32_t v) { return (v - (v % 2 != 0 && v < 0 ? 1 : 0)) / 2; }

int32_t predicted(uint32_t selection, int32_t left, int32_t above, int32_t corner) {
  switch (selection) {
    case 1:
      return left;
    case 2:
      return above;
    case 3:
      return corner;
    case 4:
      return left + above - corner;
    case 5:
      return left + floorHalf(above - corner);
    case 6:
      return above + floorHalf(left - corner);
    default:
      return floorHalf(left + above);
  }
}

}  // namespace

size_t Model::rowBytes() const {
  return size_t{width_} * components_.size() * (precision_ > 8 ? 2U : 1U);
}

uint32_t Model::spatialToRect(const JpgRect &rect, int32_t lines) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (sof_ != 0xFFC3) return JPG_E_UNSUPPORTED;
  if (height_ != 0) {
    const auto left = static_cast<int32_t>(height_ - rowPosition_);
    if (left < 1) return JPG_E_FAIL;
    lines = std::min(lines, left);
  }
  if (precision_ < 2 || precision_ > 16) return JPG_E_NOT_JPEG;
  if (scan_.size() != components_.size()) return JPG_E_UNSUPPORTED;
  returnFromSegments();
  saved_.resize(rowBytes());
  Bytes above = saved_;
  auto *bits = static_cast<uint8_t *>(rect.bits);
  for (int32_t i = 0; i < lines; i++) {
    if (const uint32_t r = spatialRow(bits, above.data(), positioned_); r != JPG_OK) return r;
    positioned_ = false;
    mcusSinceRestart_ += width_;
    if (mcusSinceRestart_ == restartInterval_) {
      positioned_ = true;
      spatialMarkers();
    }
    if (++rowPosition_ >= height_) break;
    above.assign(bits, bits + rowBytes());
    bits += rect.stride;
  }
  const auto room = static_cast<size_t>(std::abs(int64_t{rect.stride}));
  std::memcpy(saved_.data(), bits, std::min(room, rowBytes()));
  return JPG_OK;
}

uint32_t Model::spatialRow(uint8_t *now, const uint8_t *above, bool first) {
  const size_t n = components_.size();
  const bool known = first || (ss_ >= 1 && ss_ <= 7);
  for (size_t i = 0; i < width_ * n; i++) {
    if (i == n && !known) return JPG_E_INVALID_PARAMETER;
    int32_t d = 0;
    if (const uint32_t r = difference(scan_[i % n].dc, &d); r != JPG_OK) return r;
    int32_t p = 0;
    if (i >= n && first) {
      p = sampleAt(now, i - n);
    } else if (i >= n) {
      p = predicted(ss_, sampleAt(now, i - n), sampleAt(above, i), sampleAt(above, i - n));
    } else if (!first) {
      p = sampleAt(above, i);
    } else if (al_ < precision_) {
      p = 1 << (precision_ - al_ - 1);
    }
    storeSample(now, i, p + d);
  }
  return known ? JPG_OK : JPG_E_INVALID_PARAMETER;
}

uint32_t Model::difference(const ModelTable &table, int32_t *value) {
  const int category = table.decode(bits_);
  if (category < 0 || category > 16) return JPG_E_FAIL;
  const auto v = static_cast<int32_t>(bits_.bits(static_cast<unsigned>(category)));
  const bool negative = category >= 1 && category <= 15 && v >> (category - 1) == 0;
  *value = negative ? v - (1 << category) + 1 : v;
  return JPG_OK;
}

int32_t Model::sampleAt(const uint8_t *row, size_t i) const {
  if (precision_ <= 8) return row[i];
  uint16_t word = 0;
  std::memcpy(&word, row + 2 * i, 2);
  return word;
}

void Model::storeSample(uint8_t *row, size_t i, int32_t value) const {
  if (precision_ <= 8) {
    row[i] = static_cast<uint8_t>(value & 255);
    return;
  }
  const auto word = static_cast<uint16_t>(value & ((1 << precision_) - 1));
  std::memcpy(row + 2 * i, &word, 2);
}

// RSTn begin an interval, EOI ends the loop, all others are passed over.
void Model::spatialMarkers() {
  for (;;) {
    const uint32_t marker = bits_.peekMarker();
    if (marker < 0xFFC0 || marker > 0xFFFE) return;
    if (marker == 0xFFD9) {
      lastMarker_ = marker;
      return;
    }
    bits_.skipMarker();
    if (marker >= 0xFFD0 && marker <= 0xFFD7) mcusSinceRestart_ = 0;
  }
}

}  // namespace jpgtest
