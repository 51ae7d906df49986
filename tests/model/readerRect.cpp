// SPDX-License-Identifier: MIT
// The model's sequential decoder: rows of MCUs into a rectangle.
#include <algorithm>
#include <set>

#include "model/colour.h"
#include "model/reader.h"

namespace jpgtest {

uint32_t Model::readToRect(const JpgRect &rect, int32_t lines) {
  if (!open_ || rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (sof_ > 0xFFC1) return JPG_E_UNSUPPORTED;
  int64_t wanted = lines;
  if (height_ != 0) {
    const auto left = static_cast<int32_t>(height_ - rowPosition_);
    if (left < 1) return JPG_E_FAIL;
    wanted = std::min<int64_t>(wanted, left);
  }
  returnFromSegments();
  scanState_ = JPG_SCALE_FULL;
  if (scan_.size() != components_.size()) return JPG_E_UNSUPPORTED;
  Writer writer;
  if (const uint32_t r = chooseWriter(rect, writer); r != JPG_OK) return r;
  if (readsSmoothly()) return smoothSequentialRows(rect, wanted, rect.width, writer);
  const int64_t mcuHeight = 8 * vMax_;
  int64_t band = std::min(wanted, mcuHeight);
  auto *bits = static_cast<uint8_t *>(rect.bits);
  do {
    const int64_t rows = std::min(band, wanted);
    if (const uint32_t r = decodeRow(rect, bits, rows, writer); r != JPG_OK) return r;
    rowPosition_ += static_cast<uint32_t>(band);
    wanted -= mcuHeight;
    if (wanted < mcuHeight && height_ != 0) band = wanted;
    if (wanted > 0) bits += mcuHeight * rect.stride;
  } while (wanted > 0);
  return JPG_OK;
}

uint32_t Model::chooseWriter(const JpgRect &rect, Writer &writer) const {
  const size_t count = components_.size();
  if (noColorConversion_) {
    writer = Writer::kComponents;
    const bool fits = rect.bitsPerPixel / 8 == static_cast<int32_t>(count);
    return fits ? JPG_OK : JPG_E_UNSUPPORTED;
  }
  writer = count < 3 ? Writer::kGray : count == 3 && !ycc_ ? Writer::kReversed : Writer::kYcc;
  return JPG_OK;
}

uint32_t Model::decodeRow(const JpgRect &rect, uint8_t *bits, int64_t rows, Writer writer) {
  const unsigned mcuWidth = 8 * hMax_;
  const size_t pixelBytes = writer == Writer::kComponents ? components_.size()
                            : writer == Writer::kGray     ? 1
                                                          : 3;
  for (uint32_t mcu = 0; mcu < mcusPerRow_; ++mcu) {
    if (lastMarker_ == 0xFFD9) return JPG_E_END_OF_IMAGE;
    std::vector<Plane> planes;
    if (const uint32_t r = decodeMcu(planes); r != JPG_OK) return r;
    const int64_t left = int64_t{rect.width} - int64_t{mcu} * mcuWidth;
    for (int64_t y = 0; y < rows; ++y) {
      for (int64_t x = 0; x < std::min<int64_t>(left, mcuWidth); ++x) {
        uint8_t *pixel = bits + y * rect.stride +
                         (int64_t{mcu} * mcuWidth + x) * static_cast<int64_t>(pixelBytes);
        store(planes, writer, static_cast<unsigned>(x), static_cast<unsigned>(y), pixel);
      }
    }
  }
  return JPG_OK;
}

bool Model::knowsPixels() const {
  if (scan_.size() != components_.size()) return true;  // they are refused
  std::set<size_t> named;
  for (const Selection &s : selected_) named.insert(s.component);
  if (named.size() != components_.size()) return false;
  return std::all_of(components_.begin(), components_.end(),
                     [](const Component &c) { return c.h > 0 && c.v > 0; });
}

uint32_t Model::decodeMcu(std::vector<Plane> &planes) {
  if (scan_.size() != components_.size() || !knowsPixels()) return JPG_E_UNSUPPORTED;
  std::vector<ModelBlock> blocks;
  for (size_t c = 0; c < components_.size(); ++c) {
    ScanEntry &entry = scan_[c];
    for (unsigned i = 0; i < entry.blocks; ++i) {
      ModelBlock block;
      const uint32_t r = decodeModelBlock(bits_, entry.dc, entry.ac, quant_[components_[c].tq],
                                          entry.prediction, block);
      if (r != JPG_OK) return r;
      modelInverseDct(block, firstPass_);
      blocks.push_back(block);
    }
  }
  ++mcusSinceRestart_;
  if (mcusSinceRestart_ == restartInterval_) {
    betweenRows();
  } else if (mcusSinceRestart_ == mcuCount_) {
    lastMarker_ = bits_.peekMarker();
  }
  auto next = blocks.begin();
  for (const Component &c : components_) {
    const auto end = next + c.h * c.v;
    planes.push_back({c.h, c.v, {next, end}});
    next = end;
  }
  return JPG_OK;
}

// Replication: a sample stands for every pixel that it covers.
int Model::Plane::at(unsigned x, unsigned y, unsigned hMax, unsigned vMax) const {
  const unsigned column = x * h / hMax;
  const unsigned row = y * v / vMax;
  return blocks[row / 8 * h + column / 8][row % 8 * 8 + column % 8];
}

void Model::store(const std::vector<Plane> &planes, Writer writer, unsigned x, unsigned y,
                  uint8_t *pixel) const {
  std::vector<int> samples;
  for (const Plane &plane : planes) samples.push_back(plane.at(x, y, hMax_, vMax_));
  putSamples(samples, writer, pixel);
}

void Model::putSamples(std::vector<int> samples, Writer writer, uint8_t *pixel) {
  if (writer == Writer::kYcc) {
    const std::array<uint8_t, 3> bgr = modelYccToBgr(samples[0], samples[1], samples[2]);
    std::copy(bgr.begin(), bgr.end(), pixel);
    return;
  }
  if (writer == Writer::kGray) samples.resize(1);
  if (writer == Writer::kReversed) std::reverse(samples.begin(), samples.end());
  for (const int sample : samples) *pixel++ = static_cast<uint8_t>(sample + 128);
}

}  // namespace jpgtest
