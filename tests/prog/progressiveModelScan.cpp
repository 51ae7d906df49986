// The progressive model's scans (T.81 Annex G) and its pixels.
#include <algorithm>

#include "progressiveModel.h"
#include "support/entropy.h"
#include "support/modelColour.h"
#include "support/modelIdct.h"

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

uint32_t ProgressiveModel::rows(const JpgRect &rect, int32_t lines, int32_t mode) {
  bool newPass = false;
  const bool incremental = (mode & 1) != 0;
  if (!bookRows(lines, incremental, newPass)) return JPG_E_FAIL;
  if (newPass) {
    if (const uint32_t r = decodeScans(incremental); r != JPG_OK) return r;
  }
  return reconstruct(rect, lines, newPass ? 0 : rowsDone_);
}

// What is left of the picture limits the lines. False when nothing is left.
bool ProgressiveModel::bookRows(int32_t &lines, bool incremental, bool &newPass) {
  newPass = rowsDone_ == 0 || rowsDone_ == height();
  if (height() == 0) return true;
  if (rowsDone_ == height()) {
    if (!incrementalActive_) return false;
    if (!incremental) incrementalActive_ = false;
    lines = std::min(lines, height());
  } else {
    if (rowsDone_ == 0 && incremental) incrementalActive_ = true;
    lines = std::min(lines, height() - rowsDone_);
  }
  return true;
}

uint32_t ProgressiveModel::decodeScans(bool onlyOne) {
  do {
    if (const uint32_t r = decodeScan(); r != JPG_OK) return r;
    lastMarker_ = bits_.peekMarker();
    if (!isMarker(lastMarker_)) return JPG_NO_DATA;
    if (lastMarker_ == kEoiMarker) return JPG_OK;
    if (const uint32_t r = toNextScan(); r != JPG_OK) return r;
  } while (!onlyOne);
  return JPG_OK;
}

uint32_t ProgressiveModel::decodeScan() {
  if (lastMarker_ == kEoiMarker) return JPG_NO_DATA;
  scans_++;
  return scan_.size() == 1 ? single() : interleaved();
}

uint32_t ProgressiveModel::interleaved() {
  size_t blocks = 0;
  for (const Selected &s : scan_) {
    blocks += components_[s.component].h * components_[s.component].v;
  }
  const size_t first = scan_.empty() ? 0 : components_[scan_[0].component].firstBlock;
  if (first + blocks > blocksPerMcu_) return JPG_E_UNSUPPORTED;
  const size_t count = size_t{mcusPerRow_} * mcuRows_;
  for (size_t mcu = 0; mcu < count; mcu++) {
    size_t block = mcu * blocksPerMcu_ + first;
    for (Selected &s : scan_) {
      const unsigned n = components_[s.component].h * components_[s.component].v;
      for (unsigned i = 0; i < n; i++) {
        if (const uint32_t r = decodeBlock(store_[block++], s); r != JPG_OK) return r;
      }
    }
    countMcu(mcu + 1 == count);
  }
  return JPG_OK;
}

uint32_t ProgressiveModel::single() {
  const Component &c = components_[scan_[0].component];
  auto pixelRows = static_cast<int64_t>(height_);
  for (uint32_t y = 0; y < mcuRows_ * c.v; y++, pixelRows -= 8) {
    if (pixelRows <= 0) break;
    auto columns = static_cast<int64_t>(width_);
    for (uint32_t x = 0; x < mcusPerRow_ * c.h && columns > 0; x++, columns -= 8) {
      const size_t mcu = size_t{y / c.v} * mcusPerRow_ + x / c.h;
      const size_t block = mcu * blocksPerMcu_ + c.firstBlock + y % c.v * c.h + x % c.h;
      if (const uint32_t r = decodeBlock(store_[block], scan_[0]); r != JPG_OK) return r;
      countMcu(pixelRows <= 8 && columns <= 8);
    }
  }
  return JPG_OK;
}

void ProgressiveModel::countMcu(bool last) {
  if (++sinceRestart_ == restartInterval_) {
    betweenIntervals(last);
  } else if (sinceRestart_ == mcusPerRow_ * mcuRows_) {
    lastMarker_ = bits_.peekMarker();
  }
}

// Takes restart markers. Other markers belong behind the scan.
void ProgressiveModel::betweenIntervals(bool last) {
  uint32_t marker = bits_.peekMarker();
  for (; isRestart(marker); marker = bits_.peekMarker()) {
    bits_.skipMarker();
    sinceRestart_ = eobRun_ = 0;
    for (Selected &s : scan_) s.prediction = 0;
  }
  if (last || !isMarker(marker)) return;
  if (marker == kEoiMarker) {
    lastMarker_ = marker;
  } else {
    lost_ = true;
  }
}

uint32_t ProgressiveModel::decodeBlock(ModelBlock &block, Selected &s) {
  if (ss_ == 0 && se_ == 0) {
    if (ah_ == 0) return dcFirst(block, s);
    if (bits_.bits(1) != 0) block[0] = low16(block[0] | 1 << al_);
    return JPG_OK;
  }
  return ah_ == 0 ? acFirst(block, s) : acRefine(block, s);
}

uint32_t ProgressiveModel::dcFirst(ModelBlock &block, Selected &s) {
  block = {};
  const int size = s.dc.decode(bits_);
  if (size < 0 || size > 15) return JPG_E_BAD_DC_CODE;
  s.prediction += extended(bits_, static_cast<unsigned>(size));
  block[0] = low16(int64_t{s.prediction} * (1 << al_));
  return JPG_OK;
}

uint32_t ProgressiveModel::acFirst(ModelBlock &block, const Selected &s) {
  if (eobRun_ > 0) {
    eobRun_--;
    return JPG_OK;
  }
  for (unsigned k = ss_; k <= se_; k++) {
    const int symbol = s.ac.decode(bits_);
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

void ProgressiveModel::correct(int16_t &coefficient) {
  const int p1 = 1 << al_;
  if (bits_.bits(1) == 0 || (coefficient & p1) != 0) return;
  coefficient = low16(coefficient + (coefficient >= 0 ? p1 : -p1));
}

uint32_t ProgressiveModel::acRefine(ModelBlock &block, const Selected &s) {
  unsigned k = ss_;
  if (eobRun_ == 0) {
    if (const uint32_t r = acRefineCodes(block, s, k); r != JPG_OK) return r;
    if (k > se_ && eobRun_ == 0) return JPG_OK;
  }
  for (; k <= se_; k++) {
    if (block[kZigzag[k]] != 0) correct(block[kZigzag[k]]);
  }
  if (eobRun_ > 0) eobRun_--;
  return JPG_OK;
}

// The codes of a block, up to the end of its band or to one that ends several blocks.
uint32_t ProgressiveModel::acRefineCodes(ModelBlock &block, const Selected &s, unsigned &k) {
  while (k <= se_) {
    const int symbol = s.ac.decode(bits_);
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

// ---- Pixels ----------------------------------------------------------------

uint32_t ProgressiveModel::reconstruct(const JpgRect &rect, int32_t lines, int32_t done) {
  const auto pixelBytes = static_cast<size_t>(rect.bitsPerPixel / 8);
  if (raw_ && pixelBytes != components_.size()) return JPG_E_UNSUPPORTED;
  if (lines < 1) return JPG_OK;
  const auto mcuHeight = static_cast<int32_t>(8 * vMax_);
  int32_t band = std::min(lines, mcuHeight);
  auto *bits = static_cast<uint8_t *>(rect.bits);
  for (auto row = static_cast<uint32_t>(done / mcuHeight); row < mcuRows_; row++) {
    storeMcuRow(row, rect, bits, std::min(band, lines));
    done += band;
    if (height() - done < mcuHeight) band = height() - done;
    lines -= mcuHeight;
    bits += std::ptrdiff_t{mcuHeight} * rect.stride;
    if (band <= 0 || lines < 1) break;
  }
  rowsDone_ = done;  // of a call that failed, or asked for no rows, nothing is counted
  return JPG_OK;
}

ModelBlock ProgressiveModel::samplesOf(size_t block, const Component &c) const {
  ModelBlock samples{};
  for (size_t k = 0; k < 64; k++) {
    samples[kZigzag[k]] = low16(int64_t{store_[block][kZigzag[k]]} * quant_[c.tq][k]);
  }
  modelInverseDct(samples, FirstPass::kSquared);
  return samples;
}

void ProgressiveModel::storeMcuRow(uint32_t mcuRow, const JpgRect &rect, uint8_t *bits,
                                   int32_t rows) const {
  const uint32_t mcuWidth = 8 * hMax_;
  const size_t n = components_.size();
  std::vector<std::vector<ModelBlock>> samples(n);
  for (uint32_t mcu = 0; mcu < mcusPerRow_; mcu++) {
    for (size_t i = 0; i < n; i++) {
      const Component &c = components_[i];
      samples[i].clear();
      for (unsigned b = 0; b < c.h * c.v; b++) {
        const size_t first = (size_t{mcuRow} * mcusPerRow_ + mcu) * blocksPerMcu_ + c.firstBlock;
        samples[i].push_back(samplesOf(first + b, c));
      }
    }
    for (int32_t y = 0; y < rows; y++) {
      for (uint32_t x = 0; x < mcuWidth; x++) {
        const auto column = static_cast<int32_t>(mcu * mcuWidth + x);
        if (column >= rect.width) break;
        std::array<int, 4> s{};
        for (size_t i = 0; i < n; i++) {
          const Component &c = components_[i];
          const unsigned cx = x * c.h / hMax_, cy = static_cast<unsigned>(y) * c.v / vMax_;
          s[i] = samples[i][cy / 8 * c.h + cx / 8][cy % 8 * 8 + cx % 8];
        }
        uint8_t *pixel = bits + std::ptrdiff_t{y} * rect.stride;
        if (raw_ || n < 3) {
          const size_t count = raw_ ? n : 1;
          pixel += static_cast<size_t>(column) * count;
          for (size_t i = 0; i < count; i++) pixel[i] = static_cast<uint8_t>(s[i] + 128);
        } else {
          const auto bgr = modelYccToBgr(s[0], s[1], s[2]);
          std::copy(bgr.begin(), bgr.end(), pixel + static_cast<size_t>(column) * 3);
        }
      }
    }
  }
}

}  // namespace jpgtest
