// SPDX-License-Identifier: MIT
// Settings, marker segments, pieces and the end of a stream.
#include "whole/state/writerState.h"

#include <algorithm>

namespace jpgtest {

WriterState::WriterState(bool memory, uint32_t flags)
    : memory_(memory), pieces_(memory && (flags & 2) != 0) {
  encoder_.out().marker(0xFFD8);
}

uint32_t WriterState::setImageSize(uint32_t width, uint32_t height) {
  if (width == 0 || height == 0) return JPG_E_INVALID_PARAMETER;
  width_ = width;
  height_ = height;
  return JPG_OK;
}

uint32_t WriterState::setNoColorConversion() {
  raw_ = true;
  return JPG_OK;
}

uint32_t WriterState::setSubsampling(uint32_t packed) {
  uint32_t rest = packed;
  for (int i = 0; i < 4 && (rest & 255) != 0; i++, rest >>= 8) {
    const uint32_t b = rest & 255;
    if (b != 0x11 && b != 0x12 && b != 0x21 && b != 0x22) return JPG_E_INVALID_PARAMETER;
  }
  sampling_ = packed;
  return JPG_OK;
}

uint32_t WriterState::setComponents(int32_t count) {
  if (count < 1 || count > 4) return JPG_E_INVALID_PARAMETER;
  components_ = static_cast<uint32_t>(count);
  return JPG_OK;
}

uint32_t WriterState::setQuality(int32_t quality) {
  if (quality < 1 || quality > 100) return JPG_E_INVALID_PARAMETER;
  quality_ = static_cast<uint32_t>(quality);
  return JPG_OK;
}

uint32_t WriterState::setRestart(int32_t interval) {
  restart_ = static_cast<uint32_t>(interval) & 0xFFFF;
  return JPG_OK;
}

uint32_t WriterState::setPredictor(int32_t predictor) {
  if (predictor < 1 || predictor > 7) return JPG_E_INVALID_PARAMETER;
  predictor_ = static_cast<uint32_t>(predictor);
  return JPG_OK;
}

uint32_t WriterState::markerCode(uint32_t marker, uint32_t length) {
  const bool valid = marker >= 0xFFC0 && marker <= 0xFFFE && length >= 1 && length <= 65533;
  if (!valid) return JPG_E_INVALID_PARAMETER;
  segLength_ = length;
  segConsumed_ = 0;
  encoder_.out().marker(marker);
  encoder_.out().word(length + 2);
  return JPG_OK;
}

uint32_t WriterState::markerData(const uint8_t *data, uint32_t size, uint32_t *written) {
  if (data == nullptr) return JPG_E_INVALID_HANDLE;
  if (size == 0) return JPG_E_INVALID_PARAMETER;
  const uint32_t n = std::min(size, segLength_ - segConsumed_);
  for (uint32_t i = 0; i < n; i++) encoder_.out().raw(data[i]);
  segConsumed_ += n;
  if (written != nullptr) *written = n;
  return n > 0 ? JPG_OK : JPG_NO_DATA;
}

uint32_t WriterState::markerSegment(uint32_t marker, const uint8_t *data, uint32_t length) {
  if (data == nullptr) return JPG_E_INVALID_HANDLE;
  const uint32_t r = markerCode(marker, length);
  return r == JPG_OK ? markerData(data, length, nullptr) : r;
}

uint32_t WriterState::partial(Bytes *piece) {
  if (!pieces_) return JPG_E_INVALID_FUNCTION;
  if (lines_ == 0 && !headers_) {
    if (width_ > 65535 || height_ > 65535) return JPG_E_INVALID_PARAMETER;
    // As the settings are, served or not: the first encode call tells.
    takeUp(false, false);
    early_ = true;
  }
  encoder_.out().marker(0xFFD9);
  *piece = encoder_.out().take();
  encoder_.endPiece();
  return JPG_OK;
}

uint32_t WriterState::epilog(Bytes *stream) {
  const uint32_t height = headers_ ? encoder_.frame().height : height_;
  uint32_t r = JPG_OK;
  if (height == 0 && lines_ > 65535) r = JPG_E_INVALID_PARAMETER;
  if (height == 0 && r == JPG_OK) {
    encoder_.out().segment(0xFFDC,
                           {static_cast<uint8_t>(lines_ >> 8), static_cast<uint8_t>(lines_)});
  }
  if (r == JPG_OK) encoder_.out().marker(0xFFD9);
  *stream = encoder_.out().take();
  return r;
}

uint32_t WriterState::getCodingProcess(uint32_t *process) const {
  if (process == nullptr) return JPG_E_INVALID_HANDLE;
  *process = 0x8000U >> (sof_ - 0xFFC0);
  return JPG_OK;
}

uint32_t WriterState::getImageSize(uint32_t *width, uint32_t *height) const {
  if (width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  *width = width_;
  *height = height_;
  return JPG_OK;
}

uint32_t WriterState::getNumberOfChannels(uint32_t *channels) const {
  if (channels == nullptr) return JPG_E_INVALID_HANDLE;
  *channels = components_;
  return JPG_OK;
}

uint32_t WriterState::getSamplePrecision(uint32_t *precision) const {
  if (precision == nullptr) return JPG_E_INVALID_HANDLE;
  *precision = precision_;
  return JPG_OK;
}

uint32_t WriterState::getScaledSize(uint32_t *width, uint32_t *height, int32_t scale) const {
  if (scale < 0 || scale > 3) return JPG_E_INVALID_PARAMETER;
  if (width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  if (sof_ > 0xFFC1) return JPG_E_UNSUPPORTED;
  const uint32_t step = 1U << (3 - scale);
  *width = (width_ + step - 1) / step;
  *height = (height_ + step - 1) / step;
  return JPG_OK;
}

std::vector<Word> WriterState::words() const {
  uint32_t flags = 0x08000000;
  if (memory_) flags |= 0x20000000;
  if (pieces_) flags |= 2;
  if (early_) flags |= 0x02000000;
  if (raw_) flags |= 0x80000000;
  if (encoder_.firstLine()) flags |= 0x04000000;
  return {{"sofMarker", sof_},
          {"restartInterval", restart_},
          {"samplingPacked", sampling_},
          {"flags", flags},
          {"restartCounter", encoder_.restarts() % 8},
          {"rowPosition", lines_},
          {"segLength", segLength_},
          {"segConsumed", segConsumed_},
          {"height", height_},
          {"width", width_},
          {"precision", precision_},
          {"numComponents", components_},
          {"quality", quality_},
          {"predictor", predictor_},
          {"mcusSinceRestart", encoder_.sinceRestart()}};
}

}  // namespace jpgtest
