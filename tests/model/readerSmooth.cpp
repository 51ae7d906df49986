// SPDX-License-Identifier: MIT
// The model's interpolated chroma: all rows of samples since the start are kept, and each pixel is
// worked out by exact fractions.
#include <algorithm>

#include "model/reader.h"

namespace jpgtest {
namespace {

int64_t ceilDiv(int64_t n, int64_t d) { return (n + d - 1) / d; }
int64_t floorDiv(int64_t n, int64_t d) { return n >= 0 ? n / d : -ceilDiv(-n, d); }

// Where a pixel's middle lies among samples: between `first` and the one behind it, `part` of
// `whole` of the way.
struct Place {
  int64_t first, part, whole;
};

// Of `whole` pixels for each `part` samples.
Place placeOf(int64_t pixel, int64_t part, int64_t whole) {
  if (part == whole) return {pixel, 0, 1};
  const int64_t n = (2 * pixel + 1) * part - whole, d = 2 * whole;
  const int64_t first = floorDiv(n, d);
  return {first, n - first * d, d};
}

// The nearest whole number; halves go down or up.
int64_t nearest(int64_t n, int64_t d, bool halvesUp) {
  const int64_t down = n / d, rest = n % d;
  return 2 * rest > d || (2 * rest == d && halvesUp) ? down + 1 : down;
}

}  // namespace

bool Model::readsSmoothly() const {
  if (!smooth_ || partialAllowed_ || mcusPerRow_ == 0) return false;
  bool subsampled = false;
  for (const Component &c : components_) {
    if (c.h == 0 || c.v == 0) return false;
    subsampled = subsampled || c.h != hMax_ || c.v != vMax_;
  }
  return subsampled;
}

void Model::resetSmooth() { kept_ = Kept(); }

uint32_t Model::keepNextRow(const RowReader &read) {
  const unsigned side = 1U << scanState_;
  std::vector<std::vector<Plane>> mcus;
  if (const uint32_t r = read(kept_.mcuRows, mcus); r != JPG_OK) return r;
  kept_.samples.resize(components_.size());
  for (size_t k = 0; k < components_.size(); k++) {
    const unsigned h = components_[k].h, v = components_[k].v;
    for (unsigned y = 0; y < v * side; y++) {
      std::vector<int> row;
      for (const std::vector<Plane> &planes : mcus) {
        for (unsigned x = 0; x < h * side; x++) {
          row.push_back(planes[k].blocks[y / side * h + x / side][y % side * 8 + x % side]);
        }
      }
      kept_.samples[k].push_back(row);
    }
  }
  kept_.mcuRows++;
  return JPG_OK;
}

// Rows of a component's samples in the picture, as far as that is known.
int64_t Model::smoothHeight(const Component &c) const {
  if (!kept_.fromTop || height_ == 0) return INT64_MAX;
  return ceilDiv(ceilDiv(height_, 8 >> scanState_) * c.v, vMax_);
}

// True if the row of pixels takes samples that aren't there yet.
bool Model::needsMore() const {
  const int64_t mcuSide = int64_t{1} << scanState_;
  return std::any_of(components_.begin(), components_.end(), [&](const Component &c) {
    if (c.v == vMax_) return false;
    const int64_t last = placeOf(kept_.row, c.v, vMax_).first + 1;
    return std::min(last, smoothHeight(c) - 1) >= int64_t{kept_.mcuRows} * c.v * mcuSide;
  });
}

int Model::smoothSample(size_t k, int64_t x, int64_t y) const {
  const Component &c = components_[k];
  const std::vector<std::vector<int>> &rows = kept_.samples[k];
  const Place across = placeOf(x, c.h, hMax_), down = placeOf(y, c.v, vMax_);
  const int64_t width = ceilDiv(ceilDiv(width_, 8 >> scanState_) * c.h, hMax_);
  const int64_t height = std::min<int64_t>(smoothHeight(c), static_cast<int64_t>(rows.size()));
  const auto at = [&](int64_t column, int64_t row) -> int64_t {
    if (c.h != hMax_) column = std::clamp<int64_t>(column, 0, width - 1);
    if (c.v != vMax_) row = std::clamp<int64_t>(row, 0, height - 1);
    return rows[static_cast<size_t>(row)][static_cast<size_t>(column)] + 128;
  };
  const auto inRow = [&](int64_t row) {
    const int64_t left = at(across.first, row);
    if (across.part == 0) return left * across.whole;
    return left * (across.whole - across.part) + at(across.first + 1, row) * across.part;
  };
  int64_t sum = inRow(down.first) * (down.whole - down.part);
  if (down.part != 0) sum += inRow(down.first + 1) * down.part;
  const bool both = across.whole != 1 && down.whole != 1;
  const bool odd = across.whole != 1 ? x % 2 != 0 : y % 2 != 0;
  return static_cast<int>(nearest(sum, across.whole * down.whole, odd != both)) - 128;
}

uint32_t Model::smoothRows(const JpgRect &rect, int64_t rows, int64_t width, Writer writer,
                           const RowReader &read) {
  const int64_t side = int64_t{1} << scanState_, mcuHeight = vMax_ * side;
  const int64_t columns = std::min(width, int64_t{mcusPerRow_} * hMax_ * side);
  const size_t count = writer == Writer::kComponents ? components_.size()
                       : writer == Writer::kGray     ? 1
                                                     : 3;
  // Full size may follow a scaled band without a way back to the top.
  if (kept_.scale != scanState_) resetSmooth();
  kept_.scale = scanState_;
  if (!kept_.begun) kept_.fromTop = rowPosition_ == 0;
  kept_.begun = true;
  for (int64_t i = 0; i < rows; i++) {
    while (kept_.mcuRows <= kept_.row / mcuHeight) {
      const uint32_t failed = kept_.failure;
      kept_.failure = JPG_OK;
      const uint32_t r = failed != JPG_OK ? failed : keepNextRow(read);
      if (r != JPG_OK) return r;
    }
    if (kept_.failure == JPG_OK && needsMore()) kept_.failure = keepNextRow(read);
    for (int64_t x = 0; x < columns; x++) {
      std::vector<int> samples;
      for (size_t k = 0; k < components_.size(); k++) {
        samples.push_back(smoothSample(k, x, kept_.row));
      }
      putSamples(
          samples, writer,
          static_cast<uint8_t *>(rect.bits) + i * rect.stride + x * static_cast<int64_t>(count));
    }
    kept_.row++;
    rowPosition_++;
  }
  return JPG_OK;
}

uint32_t Model::smoothSequentialRows(const JpgRect &rect, int64_t rows, int64_t width,
                                     Writer writer) {
  return smoothRows(rect, rows, width, writer,
                    [this](uint32_t, std::vector<std::vector<Plane>> &mcus) -> uint32_t {
                      for (uint32_t mcu = 0; mcu < mcusPerRow_; mcu++) {
                        if (lastMarker_ == 0xFFD9) return JPG_E_END_OF_IMAGE;
                        std::vector<Plane> planes;
                        const uint32_t r =
                            scanState_ == JPG_SCALE_FULL ? decodeMcu(planes) : scaledMcu(planes);
                        if (r != JPG_OK) return r;
                        mcus.push_back(planes);
                      }
                      return JPG_OK;
                    });
}

uint32_t Model::smoothStoredRows(const JpgRect &rect, int64_t rows, uint32_t first, Writer writer) {
  if (height_ == 0) return JPG_OK;
  // Every call makes all samples anew.
  resetSmooth();
  scanState_ = JPG_SCALE_FULL;
  const auto read = [this](uint32_t mcuRow, std::vector<std::vector<Plane>> &mcus) -> uint32_t {
    for (uint32_t mcu = 0; mcu < mcusPerRow_; mcu++) mcus.push_back(storedPlanes(mcuRow, mcu));
    return JPG_OK;
  };
  kept_.begun = kept_.fromTop = true;
  kept_.scale = scanState_;
  kept_.row = first;
  rowPosition_ = first;
  return smoothRows(rect, rows, rect.width, writer, read);
}

}  // namespace jpgtest
