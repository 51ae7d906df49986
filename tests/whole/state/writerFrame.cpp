// SPDX-License-Identifier: MIT
// Encode calls: what the first one refuses and takes up; what the model of the encoder then gets.
#include "whole/state/writerState.h"

namespace jpgtest {

bool WriterState::samplingServed(uint32_t components, uint32_t sampling) {
  if (components == 1) return true;
  if (components == 4) return sampling == 0x11111111;
  if (components != 3) return false;
  for (const unsigned shift : {0U, 8U, 16U}) {
    const uint32_t b = sampling >> shift & 255;
    if (b != 0x11 && b != 0x12 && b != 0x21 && b != 0x22) return false;
  }
  return true;
}

// All that a first call may refuse comes before anything changes.
uint32_t WriterState::beginBaseline(const JpgRect &rect) {
  const uint32_t height = height_ != 0 ? height_ : static_cast<uint32_t>(rect.height);
  if (rect.width < 1 || rect.width > 65535 || height > 65535 || rect.bitsPerSample != 8) {
    return JPG_E_INVALID_PARAMETER;
  }
  const auto channels = static_cast<uint32_t>(rect.channels);
  const auto width = static_cast<uint32_t>(rect.width);
  if (channels < 1 || channels > 4) return JPG_E_UNSUPPORTED;
  if (headers_) {
    if (width != encoder_.frame().width || channels != encoder_.frame().components)
      return JPG_E_INVALID_PARAMETER;
  }
  if (!samplingServed(channels, headers_ ? encoder_.frame().sampling : sampling_))
    return JPG_E_UNSUPPORTED;
  height_ = height;
  width_ = width;
  components_ = channels;
  precision_ = 8;
  sof_ = 0xFFC0;
  if (headers_) return JPG_OK;
  takeUp(false, true);
  return JPG_OK;
}

uint32_t WriterState::beginLossless(const JpgRect &rect) {
  if (headers_) return JPG_E_UNSUPPORTED;
  const uint32_t height = height_ != 0 ? height_ : static_cast<uint32_t>(rect.height);
  if (rect.width < 1 || rect.width > 65535 || height > 65535 || rect.bitsPerSample < 2 ||
      rect.bitsPerSample > 16) {
    return JPG_E_INVALID_PARAMETER;
  }
  if (rect.channels < 1 || rect.channels > 4) return JPG_E_UNSUPPORTED;
  height_ = height;
  width_ = static_cast<uint32_t>(rect.width);
  components_ = static_cast<uint32_t>(rect.channels);
  precision_ = static_cast<uint32_t>(rect.bitsPerSample);
  sof_ = 0xFFC3;
  takeUp(true, true);
  return JPG_OK;
}

// Writes the headers by the settings. The record knows three identifiers; the first encode call
// names the components, headers ahead of it keep what the record holds.
void WriterState::takeUp(bool lossless, bool firstCall) {
  headers_ = true;
  if (components_ == 1 && !lossless) sampling_ = 0x11;
  EncodeFrame frame = {lossless,  raw_,     width_,   height_,    components_, precision_,
                       sampling_, quality_, restart_, predictor_, {}};
  for (uint8_t i = 0; i < components_; i++) frame.ids.push_back(i < 3 || firstCall ? i + 1 : 0);
  if (firstCall && components_ == 3 && raw_) frame.ids = {'R', 'G', 'B'};
  segLength_ = segConsumed_ = encoder_.headers(frame);
}

// Rows of a rectangle to baseline MCUs or lossless lines.
uint32_t WriterState::fromRect(const JpgRect &rect, uint32_t lines) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  if (lines_ == 0) {
    if (const uint32_t r = beginBaseline(rect); r != JPG_OK) return r;
  }
  if (isLossless()) return JPG_E_UNSUPPORTED;
  encoder_.baselineLines(static_cast<const uint8_t *>(rect.bits), rect.stride, lines);
  lines_ += lines;
  return JPG_OK;
}

uint32_t WriterState::spatialFromRect(const JpgRect &rect, uint32_t lines) {
  if (rect.bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  if (lines_ == 0 && !isLossless()) {
    if (const uint32_t r = beginLossless(rect); r != JPG_OK) return r;
  }
  if (!isLossless()) return JPG_E_UNSUPPORTED;
  const auto *row = static_cast<const uint8_t *>(rect.bits);
  const uint32_t height = encoder_.frame().height;
  for (uint32_t i = 0; i < lines && (height == 0 || lines_ < height); i++, row += rect.stride) {
    encoder_.losslessLine(row);
    lines_++;
  }
  return JPG_OK;
}

}  // namespace jpgtest
