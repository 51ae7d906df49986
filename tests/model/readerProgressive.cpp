// SPDX-License-Identifier: MIT
// Progressive pictures: passes, scans (T.81 Annex G) and rows from the coefficients.
#include <algorithm>

#include "model/colour.h"
#include "model/idct.h"
#include "model/reader.h"
#include "support/entropy.h"

namespace jpgtest {
namespace {

constexpr uint32_t kEoiMarker = 0xFFD9;

bool isMarker(uint32_t m) { return m >= 0xFFC0 && m <= 0xFFFE; }
bool isRestart(uint32_t m) { return m >= 0xFFD0 && m <= 0xFFD7; }

int16_t low16(int64_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }

int32_t extended(ModelBits &bits, unsigned size) {
  if (size == 0) return 0;
  const auto v = static_cast<int32_t>(bits.bits(size));
  return v >= 1 << (size - 1) ? v : v + 1 - (1 << size);
}

}  // namespace

size_t Model::firstBlockOf(size_t component) const {
  size_t blocks = 0;
  for (size_t i = 0; i < component; i++) blocks += size_t{components_[i].h} * components_[i].v;
  return blocks;
}

uint32_t Model::progressiveToRect(const JpgRect &rect, int32_t lines, int32_t mode) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (sof_ != 0xFFC2) return JPG_E_UNSUPPORTED;
  const bool incremental = (mode & 1) != 0;
  if (!storeBegun_) beginStore();
  uint32_t done = rowPosition_;
  if (height_ != 0 && done > height_) done = height_;
  const bool pass = done == 0 || done == height_;
  if (height_ != 0) {
    if (done == height_) {
      if (!incrementalActive_) return JPG_E_FAIL;
      if (!incremental) incrementalActive_ = false;
      lines = std::min(lines, static_cast<int32_t>(height_));
    } else {
      if (done == 0 && incremental) incrementalActive_ = true;
      lines = std::min(lines, static_cast<int32_t>(height_ - done));
    }
  }
  if (pass) {
    done = 0;
    if (const uint32_t r = decodeScans(incremental); r != JPG_OK) return r;
  }
  return reconstruct(rect, lines, done);
}

// Whatever was walked or sought before: the first scan comes first, and its first row.
void Model::beginStore() {
  storeBegun_ = true;
  rowPosition_ = 0;
  const size_t mcuRows = mcusPerRow_ == 0 ? 0 : mcuCount_ / mcusPerRow_;
  store_.assign(mcuRows * mcusPerRow_ * blocksPerMcu(), ModelBlock{});
  // There is no way back from a later piece.
  if (inPiece_) elsewhere_ = false;
  if (elsewhere_) {
    selected_ = firstScan_.selected;
    scan_ = firstScan_.entries;
    ss_ = firstScan_.ss;
    se_ = firstScan_.se;
    ah_ = firstScan_.ah;
    al_ = firstScan_.al;
    lastMarker_ = eobRun_ = mcusSinceRestart_ = 0;
    clearPredictions();
  }
  if (!elsewhere_ && !markerAccessUsed_) return;
  markerAccessUsed_ = false;
  reposition(scanOffset_, false);
  segLength_ = segConsumed_ = 0;
  // To go back from another scan is to read the first one's header again.
  if (elsewhere_ && setUps_ > 1)
    segLength_ = segConsumed_ = static_cast<uint32_t>(4 + 2 * selected_.size());
}

uint32_t Model::decodeScans(bool onlyOne) {
  do {
    if (const uint32_t r = decodeScan(); r != JPG_OK) return r;
    lastMarker_ = bits_.peekMarker();
    if (!isMarker(lastMarker_)) return JPG_NO_DATA;
    if (lastMarker_ == kEoiMarker) return JPG_OK;
    if (const uint32_t r = setUpScan(); r != JPG_OK) return r;
  } while (!onlyOne);
  return JPG_OK;
}

uint32_t Model::decodeScan() {
  if (lastMarker_ == kEoiMarker) return JPG_NO_DATA;
  return scan_.size() == 1 ? single() : interleaved();
}

uint32_t Model::interleaved() {
  size_t blocks = 0;
  for (const ScanEntry &entry : scan_) blocks += entry.blocks;
  const size_t first = selected_.empty() ? 0 : firstBlockOf(selected_[0].component);
  if (first + blocks > blocksPerMcu()) return JPG_E_UNSUPPORTED;
  for (size_t mcu = 0; mcu < mcuCount_; mcu++) {
    size_t block = mcu * blocksPerMcu() + first;
    for (ScanEntry &entry : scan_) {
      for (unsigned i = 0; i < entry.blocks; i++) {
        if (const uint32_t r = decodeBlock(store_[block++], entry); r != JPG_OK) return r;
      }
    }
    countMcu(mcu + 1 == mcuCount_);
  }
  return JPG_OK;
}

uint32_t Model::single() {
  const size_t index = selected_[0].component;
  const Component &c = components_[index];
  const uint32_t mcuRows = mcusPerRow_ == 0 ? 0 : mcuCount_ / mcusPerRow_;
  auto pixelRows = static_cast<int64_t>(height_);
  for (uint32_t y = 0; y < mcuRows * c.v && pixelRows > 0; y++, pixelRows -= 8) {
    auto columns = static_cast<int64_t>(width_);
    for (uint32_t x = 0; x < mcusPerRow_ * c.h && columns > 0; x++, columns -= 8) {
      const size_t mcu = size_t{y / c.v} * mcusPerRow_ + x / c.h;
      const size_t block = mcu * blocksPerMcu() + firstBlockOf(index) + y % c.v * c.h + x % c.h;
      if (const uint32_t r = decodeBlock(store_[block], scan_[0]); r != JPG_OK) return r;
      countMcu(pixelRows <= 8 && columns <= 8);
    }
  }
  return JPG_OK;
}

// Between intervals RSTn are taken, and EOI noted. Another marker belongs behind the scan.
void Model::countMcu(bool last) {
  if (++mcusSinceRestart_ != restartInterval_) {
    if (mcusSinceRestart_ == mcuCount_) lastMarker_ = bits_.peekMarker();
    return;
  }
  uint32_t marker = bits_.peekMarker();
  for (; isRestart(marker); marker = bits_.peekMarker()) {
    bits_.skipMarker();
    mcusSinceRestart_ = eobRun_ = 0;
    clearPredictions();
  }
  if (last || !isMarker(marker)) return;
  if (marker == kEoiMarker) {
    lastMarker_ = marker;
  } else {
    lost_ = true;
  }
}

uint32_t Model::decodeBlock(ModelBlock &block, ScanEntry &entry) {
  if (ss_ != 0 || se_ != 0) return ah_ == 0 ? acFirst(block, entry) : acRefine(block, entry);
  if (ah_ == 0) return dcFirst(block, entry);
  if (bits_.bits(1) != 0) block[0] = low16(block[0] | 1 << al_);
  return JPG_OK;
}

uint32_t Model::dcFirst(ModelBlock &block, ScanEntry &entry) {
  block = {};
  const int size = entry.dc.decode(bits_);
  if (size < 0 || size > 15) return JPG_E_BAD_DC_CODE;
  entry.prediction += static_cast<uint32_t>(extended(bits_, static_cast<unsigned>(size)));
  block[0] = low16(int64_t{entry.prediction} * (1 << al_));
  return JPG_OK;
}

uint32_t Model::acFirst(ModelBlock &block, const ScanEntry &entry) {
  if (eobRun_ > 0) {
    eobRun_--;
    return JPG_OK;
  }
  for (unsigned k = ss_; k <= se_; k++) {
    const int symbol = entry.ac.decode(bits_);
    if (symbol < 0) return JPG_E_BAD_AC_CODE;
    const unsigned r = static_cast<unsigned>(symbol) >> 4;
    const unsigned size = static_cast<unsigned>(symbol) & 15;
    if (size == 0 && r < 15) {
      eobRun_ = (1U << r) - 1 + (r > 0 ? bits_.bits(r) : 0);
      return JPG_OK;
    }
    k += r;
    if (size == 0) continue;
    if (k > 63) return JPG_E_COEF_OVERFLOW;
    block[kZigzag[k]] = low16(int64_t{extended(bits_, size)} * (1 << al_));
  }
  return JPG_OK;
}

void Model::correct(int16_t &coefficient) {
  const int p1 = 1 << al_;
  if (bits_.bits(1) == 0 || (coefficient & p1) != 0) return;
  coefficient = low16(coefficient + (coefficient >= 0 ? p1 : -p1));
}

uint32_t Model::acRefine(ModelBlock &block, const ScanEntry &entry) {
  unsigned k = ss_;
  if (eobRun_ == 0) {
    if (const uint32_t r = acRefineCodes(block, entry, k); r != JPG_OK) return r;
    if (k > se_ && eobRun_ == 0) return JPG_OK;
  }
  for (; k <= se_; k++) {
    if (block[kZigzag[k]] != 0) correct(block[kZigzag[k]]);
  }
  if (eobRun_ > 0) eobRun_--;
  return JPG_OK;
}

// The codes of a block, up to the end of its band or to one that ends several blocks.
uint32_t Model::acRefineCodes(ModelBlock &block, const ScanEntry &entry, unsigned &k) {
  while (k <= se_) {
    const int symbol = entry.ac.decode(bits_);
    if (symbol < 0) return JPG_E_BAD_AC_CODE;
    int zeros = symbol >> 4;
    if ((symbol & 15) > 1) return JPG_NO_DATA;
    if ((symbol & 15) == 0 && zeros < 15) {
      eobRun_ = (1U << zeros) + (zeros > 0 ? bits_.bits(static_cast<unsigned>(zeros)) : 0);
      return JPG_OK;
    }
    int16_t fresh = 0;
    if ((symbol & 15) == 1) fresh = low16(bits_.bits(1) != 0 ? 1 << al_ : -(1 << al_));
    for (; k <= se_; k++) {
      int16_t &coefficient = block[kZigzag[k]];
      if (coefficient != 0) {
        correct(coefficient);
      } else if (--zeros < 0) {
        break;
      }
    }
    // A run that leads out of the band leaves its value behind the band's last place; there is
    // none behind the block's.
    if (fresh != 0 && k > 63) return JPG_E_COEF_OVERFLOW;
    if (fresh != 0) block[kZigzag[k]] = fresh;
    k++;
  }
  return JPG_OK;
}

uint32_t Model::reconstruct(const JpgRect &rect, int32_t lines, uint32_t rowsDone) {
  const auto channels = static_cast<int32_t>(components());
  if (noColorConversion_ && rect.bitsPerPixel / 8 != channels) return JPG_E_UNSUPPORTED;
  if (lines < 1) return JPG_OK;
  if (readsSmoothly()) return smoothStoredRows(rect, lines, rowsDone, progressiveWriter());
  const auto mcuHeight = static_cast<int32_t>(8 * vMax_);
  const uint32_t mcuRows = mcusPerRow_ == 0 ? 0 : mcuCount_ / mcusPerRow_;
  const auto height = static_cast<int32_t>(height_);
  auto done = static_cast<int32_t>(rowsDone);
  int32_t band = std::min(lines, mcuHeight);
  auto *bits = static_cast<uint8_t *>(rect.bits);
  for (uint32_t row = rowsDone / (8 * vMax_); row < mcuRows; row++) {
    storeMcuRow(row, rect, bits, std::min(band, lines));
    done += band;
    if (height - done < mcuHeight) band = height - done;
    lines -= mcuHeight;
    bits += std::ptrdiff_t{mcuHeight} * rect.stride;
    if (band <= 0 || lines < 1) break;
  }
  rowPosition_ = static_cast<uint32_t>(done);
  return JPG_OK;
}

ModelBlock Model::samplesOf(size_t block, size_t component) const {
  const auto &quant = quant_[components_[component].tq];
  ModelBlock samples{};
  for (size_t k = 0; k < 64; k++) {
    samples[kZigzag[k]] = low16(int64_t{store_[block][kZigzag[k]]} * quant[k]);
  }
  modelInverseDct(samples, firstPass_);
  return samples;
}

std::vector<Model::Plane> Model::storedPlanes(uint32_t mcuRow, uint32_t mcu) const {
  std::vector<Plane> planes;
  for (size_t i = 0; i < components_.size(); i++) {
    Plane plane{components_[i].h, components_[i].v, {}};
    const size_t first = (size_t{mcuRow} * mcusPerRow_ + mcu) * blocksPerMcu() + firstBlockOf(i);
    for (unsigned b = 0; b < plane.h * plane.v; b++) {
      plane.blocks.push_back(samplesOf(first + b, i));
    }
    planes.push_back(plane);
  }
  return planes;
}

Model::Writer Model::progressiveWriter() const {
  if (noColorConversion_) return Writer::kComponents;
  return components_.size() < 3 ? Writer::kGray : Writer::kYcc;
}

void Model::storeMcuRow(uint32_t mcuRow, const JpgRect &rect, uint8_t *bits, int32_t rows) const {
  const uint32_t mcuWidth = 8 * hMax_;
  const size_t n = components_.size(), count = noColorConversion_ ? n : n < 3 ? 1 : 3;
  for (uint32_t mcu = 0; mcu < mcusPerRow_; mcu++) {
    const std::vector<Plane> planes = storedPlanes(mcuRow, mcu);
    const int64_t left = int64_t{rect.width} - int64_t{mcu} * mcuWidth;
    const Writer writer = progressiveWriter();
    for (int64_t y = 0; y < rows; y++) {
      for (int64_t x = 0; x < std::min<int64_t>(left, mcuWidth); x++) {
        store(planes, writer, static_cast<unsigned>(x), static_cast<unsigned>(y),
              bits + y * rect.stride + (int64_t{mcu} * mcuWidth + x) * static_cast<int64_t>(count));
      }
    }
  }
}

}  // namespace jpgtest
