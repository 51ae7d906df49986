// SPDX-License-Identifier: MIT
// The model's marker access, restart seeks and what happens between rows of MCUs.
#include <algorithm>

#include "model/reader.h"

namespace jpgtest {
namespace {

bool isMarker(uint32_t value) { return value >= 0xFFC0 && value <= 0xFFFE; }
bool isRestart(uint32_t value) { return value >= 0xFFD0 && value <= 0xFFD7; }

}  // namespace

uint32_t Model::seekMarkerSegment(int32_t mode, uint16_t *marker, uint32_t *length) {
  if (!open_ || marker == nullptr || length == nullptr) return JPG_E_INVALID_HANDLE;
  markerAccessUsed_ = true;
  if (mode != 0 && mode != 1) return JPG_E_INVALID_PARAMETER;
  if (mode == 0) {
    reposition(2, false);
    segLength_ = segConsumed_ = 0;
  }
  uint32_t found = 0;
  const uint32_t result = nextSegment(found);
  *marker = static_cast<uint16_t>(result == JPG_OK ? found : 0);
  *length = segLength_;
  return result;
}

uint32_t Model::readMarkerData(void *buffer, uint32_t size, uint32_t *count) {
  if (!open_ || buffer == nullptr) return JPG_E_INVALID_HANDLE;
  markerAccessUsed_ = true;
  if (size == 0) return JPG_E_INVALID_PARAMETER;
  const uint32_t n = std::min(size, remaining());
  for (uint32_t i = 0; i < n; ++i) {
    static_cast<uint8_t *>(buffer)[i] = static_cast<uint8_t>(segmentByte());
  }
  if (count != nullptr) *count = n;
  return n > 0 ? JPG_OK : JPG_NO_DATA;
}

uint32_t Model::seekMarkerData() {
  if (!open_) return JPG_E_INVALID_HANDLE;
  markerAccessUsed_ = true;
  return JPG_E_UNSUPPORTED;
}

uint32_t Model::seekRestartMarker(int32_t intervals, uint32_t mode) {
  if (!open_) return JPG_E_INVALID_HANDLE;
  if (restartInterval_ == 0) return JPG_NO_DATA;
  const uint32_t perRow = sof_ == 0xFFC3 ? width_ : mcusPerRow_;
  if (perRow == 0) return JPG_E_UNSUPPORTED;
  const uint32_t rows = restartInterval_ / perRow;
  if (sof_ != 0xFFC3 && (rows == 0 || restartInterval_ % perRow != 0)) return JPG_E_UNSUPPORTED;
  if (mode > 1) return JPG_E_INVALID_PARAMETER;
  resetSmooth();
  if (!elsewhere_ && !storeBegun_) firstScan_ = {selected_, scan_, ss_, se_, ah_, al_};
  elsewhere_ = true;
  if (mode == 1) {
    if (rows > 0) rowPosition_ -= rowPosition_ % rows;
    bits_.align();
  } else {
    reposition(scanOffset_, true);
  }
  for (int32_t i = 0; i < intervals; ++i) {
    rowPosition_ += rows;
    const uint32_t found = bits_.seekMarkerBytes();
    betweenRows();
    if (!isRestart(found)) return JPG_NO_DATA;
  }
  positioned_ = true;
  return JPG_OK;
}

uint32_t Model::setPartialBitstream(const Bytes &data) {
  if (!open_) return JPG_E_INVALID_HANDLE;
  if (data.empty()) return JPG_E_INVALID_PARAMETER;
  if (!memory_ || !partialAllowed_) return JPG_NO_DATA;
  clearPredictions();
  lastMarker_ = 0;
  markerAccessUsed_ = false;
  positioned_ = true;
  // Decoding begins in the new block, wherever the old one was left.
  elsewhere_ = false;
  inPiece_ = true;
  bits_.attach(data);
  return JPG_OK;
}

void Model::betweenRows() {
  for (uint32_t marker = bits_.peekMarker(); isMarker(marker); marker = bits_.peekMarker()) {
    if (marker == 0xFFD9) {
      lastMarker_ = marker;
      return;
    }
    if (isRestart(marker)) {
      bits_.skipMarker();
      mcusSinceRestart_ = 0;
      eobRun_ = 0;
      clearPredictions();
    } else if (marker == 0xFFDC) {
      loadHeight();
    } else if (setUpScan() != JPG_OK) {
      return;
    }
  }
}

void Model::loadHeight() {
  bits_.skipMarker();
  if (bits_.raw16() != 4) return;
  const uint32_t lines = bits_.raw16();
  if (height_ == 0) height_ = lines;
}

void Model::clearPredictions() {
  for (ScanEntry &entry : scan_) entry.prediction = 0;
}

void Model::reposition(size_t offset, bool full) {
  bits_.seek(offset);
  if (offset == scanOffset_) segLength_ = segConsumed_ = 0;  // what was being read is left for good
  if (!full) return;
  resetSmooth();
  clearPredictions();
  rowPosition_ = 0;
  lastMarker_ = 0;
  mcusSinceRestart_ = 0;
}

void Model::returnFromSegments() {
  if (rowPosition_ != 0 || !markerAccessUsed_) return;
  markerAccessUsed_ = false;
  reposition(scanOffset_, false);
}

}  // namespace jpgtest
