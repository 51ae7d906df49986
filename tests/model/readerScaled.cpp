// SPDX-License-Identifier: MIT
// Reduced sizes: the scale code, the reduced transforms and their pixels.
#include <algorithm>

#include "model/colour.h"
#include "model/reader.h"

namespace jpgtest {
namespace {

uint32_t scaledLength(uint32_t length, uint32_t scale) {
  const uint32_t step = 1U << (3 - scale);
  return (length + step - 1) / step;
}

int32_t shifted(int64_t value, unsigned n) {
  const auto word = static_cast<int32_t>(static_cast<uint32_t>(value));
  const int64_t divisor = int64_t{1} << n;
  const int64_t v = word;
  return static_cast<int32_t>(v >= 0 ? v / divisor : -((-v + divisor - 1) / divisor));
}

int16_t limited(int32_t value) {
  const auto low = static_cast<int16_t>(static_cast<uint16_t>(value));
  return std::clamp<int16_t>(low, -128, 127);
}

std::array<int64_t, 4> line4(const std::array<int64_t, 4> &x) {
  const int64_t e0 = (x[0] + x[2]) * 4096, e1 = (x[0] - x[2]) * 4096;
  const int64_t u = x[1] * 5352 + x[3] * 2217, t = x[1] * 2217 - x[3] * 5352;
  return {e0 + u, e1 + t, e1 - t, e0 - u};
}

void half(ModelBlock &b) {
  int32_t work[4][4];
  for (size_t j = 0; j < 4; j++) {
    const auto y = line4({b[j], b[8 + j], b[16 + j], b[24 + j]});
    for (size_t k = 0; k < 4; k++) work[k][j] = shifted(y[k] + 2048, 12);
  }
  for (size_t r = 0; r < 4; r++) {
    const auto y = line4({work[r][0], work[r][1], work[r][2], work[r][3]});
    for (size_t k = 0; k < 4; k++) b[8 * r + k] = limited(shifted(y[k] + 16384, 15));
  }
}

void quarter(ModelBlock &block) {
  const int32_t a = block[0], b = block[8], m = block[1], n = block[9];
  block[0] = limited(shifted(a + b + m + n + 4, 3));
  block[1] = limited(shifted((a + b) - (m + n) + 4, 3));
  block[8] = limited(shifted((a - b) + (m - n) + 4, 3));
  block[9] = limited(shifted((a - b) - (m - n) + 4, 3));
}

void reduce(ModelBlock &block, uint32_t scale) {
  if (scale == 2) {
    half(block);
  } else if (scale == 1) {
    quarter(block);
  } else {
    block[0] = limited(shifted(block[0] + 4, 3));
  }
}

}  // namespace

uint32_t Model::getScaledSize(uint32_t *width, uint32_t *height, int32_t scale) const {
  if (scale < 0 || scale > 3) return JPG_E_INVALID_PARAMETER;
  if (width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  if (sof_ > 0xFFC1) return JPG_E_UNSUPPORTED;
  *width = scaledLength(width_, static_cast<uint32_t>(scale));
  *height = scaledLength(height_, static_cast<uint32_t>(scale));
  return JPG_OK;
}

uint32_t Model::scaledToRect(const JpgRect &rect, int32_t lines, int32_t scale) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (sof_ > 0xFFC1) return JPG_E_UNSUPPORTED;
  const auto code = static_cast<uint32_t>(scale);
  if (scanState_ != code) {
    if (scanState_ != 0xFFFFFFFF) reposition(scanOffset_, true);
    scanState_ = code;
  }
  if (scale == JPG_SCALE_FULL) return readToRect(rect, lines);
  if (scale < 0 || scale > 3) return JPG_E_INVALID_PARAMETER;
  const auto left = static_cast<int32_t>(scaledLength(height_, code) - rowPosition_);
  if (left < 1) return JPG_E_INVALID_PARAMETER;
  if (noColorConversion_) return JPG_E_INVALID_PARAMETER;
  if (scan_.size() != components_.size()) return JPG_E_UNSUPPORTED;
  returnFromSegments();
  int64_t wanted = std::min(lines, left);
  if (readsSmoothly()) {
    Writer writer;
    chooseWriter(rect, writer);
    return smoothSequentialRows(rect, wanted, scaledLength(width_, code), writer);
  }
  const int64_t mcuHeight = 8 * vMax_ >> (3 - code);
  int64_t band = std::min(wanted, mcuHeight), sum = 0;
  auto *bits = static_cast<uint8_t *>(rect.bits);
  do {
    const uint32_t r = scaledRow(rect, bits, std::min(band, wanted));
    if (r != JPG_OK) return r;
    sum += band;
    wanted -= mcuHeight;
    if (wanted < mcuHeight) band = wanted;
    if (wanted > 0) bits += mcuHeight * rect.stride;
  } while (wanted > 0);
  rowPosition_ += static_cast<uint32_t>(sum);
  return JPG_OK;
}

uint32_t Model::scaledRow(const JpgRect &rect, uint8_t *bits, int64_t rows) {
  const unsigned mcuWidth = 8 * hMax_ >> (3 - scanState_);
  const size_t pixelBytes = components_.size() < 3 ? 1 : 3;
  const auto width = static_cast<int64_t>(scaledLength(width_, scanState_));
  for (uint32_t mcu = 0; mcu < mcusPerRow_; ++mcu) {
    if (lastMarker_ == 0xFFD9) return JPG_E_END_OF_IMAGE;
    std::vector<Plane> planes;
    if (const uint32_t r = scaledMcu(planes); r != JPG_OK) return r;
    const int64_t first = int64_t{mcu} * mcuWidth;
    for (int64_t y = 0; y < rows; ++y) {
      for (int64_t x = 0; x < std::min<int64_t>(width - first, mcuWidth); ++x) {
        storeScaled(planes, static_cast<unsigned>(x), static_cast<unsigned>(y),
                    bits + y * rect.stride + (first + x) * static_cast<int64_t>(pixelBytes));
      }
    }
  }
  return JPG_OK;
}

uint32_t Model::scaledMcu(std::vector<Plane> &planes) {
  if (scan_.size() != components_.size() || !knowsPixels()) return JPG_E_UNSUPPORTED;
  for (size_t c = 0; c < components_.size(); ++c) {
    ScanEntry &entry = scan_[c];
    Plane plane{components_[c].h, components_[c].v, {}};
    for (unsigned i = 0; i < entry.blocks; ++i) {
      ModelBlock block;
      const uint32_t r = decodeModelBlock(bits_, entry.dc, entry.ac, quant_[components_[c].tq],
                                          entry.prediction, block);
      if (r != JPG_OK) return r;
      reduce(block, scanState_);
      plane.blocks.push_back(block);
    }
    planes.push_back(plane);
  }
  ++mcusSinceRestart_;
  if (mcusSinceRestart_ == restartInterval_) {
    betweenRows();
  } else if (mcusSinceRestart_ == mcuCount_) {
    lastMarker_ = bits_.peekMarker();
  }
  return JPG_OK;
}

void Model::storeScaled(const std::vector<Plane> &planes, unsigned x, unsigned y,
                        uint8_t *pixel) const {
  const unsigned side = 1U << scanState_;
  std::vector<int> samples;
  for (const Plane &plane : planes) {
    const unsigned column = x * plane.h / hMax_, row = y * plane.v / vMax_;
    samples.push_back(
        plane.blocks[row / side * plane.h + column / side][row % side * 8 + column % side]);
  }
  if (samples.size() > 3 || (samples.size() == 3 && ycc_)) {
    const auto bgr = modelYccToBgr(samples[0], samples[1], samples[2]);
    std::copy(bgr.begin(), bgr.end(), pixel);
  } else if (samples.size() == 3) {
    for (size_t i = 0; i < 3; i++) pixel[i] = static_cast<uint8_t>(samples[2 - i] + 128);
  } else {
    *pixel = static_cast<uint8_t>(samples[0] + 128);
  }
}

}  // namespace jpgtest
