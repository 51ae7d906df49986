// SPDX-License-Identifier: MIT
// The model of a write handle: settings, headers, baseline and lossless pictures, pieces.
#ifndef JPG_TESTS_WHOLE_STATE_WRITERSTATE_H
#define JPG_TESTS_WHOLE_STATE_WRITERSTATE_H

#include <jpg.h>

#include <vector>

#include "model/encoder.h"
#include "whole/state/readerState.h"

namespace jpgtest {

class WriterState {
 public:
  // The memory prologs' flags; files give no pieces.
  WriterState(bool memory, uint32_t flags);

  uint32_t setImageSize(uint32_t width, uint32_t height);
  uint32_t setNoColorConversion();
  uint32_t setSubsampling(uint32_t packed);
  uint32_t setComponents(int32_t count);
  uint32_t setQuality(int32_t quality);
  uint32_t setRestart(int32_t interval);
  uint32_t setPredictor(int32_t predictor);

  uint32_t markerCode(uint32_t marker, uint32_t length);
  uint32_t markerData(const uint8_t *data, uint32_t size, uint32_t *written);
  uint32_t markerSegment(uint32_t marker, const uint8_t *data, uint32_t length);

  uint32_t fromRect(const JpgRect &rect, uint32_t lines);
  uint32_t spatialFromRect(const JpgRect &rect, uint32_t lines);
  uint32_t fromBitmap(int32_t lines, const uint8_t *bits, const BITMAPINFO *bmi);

  uint32_t partial(Bytes *piece);
  uint32_t epilog(Bytes *stream);

  // What readers' getters say of it.
  uint32_t getCodingProcess(uint32_t *process) const;
  uint32_t getImageSize(uint32_t *width, uint32_t *height) const;
  uint32_t getNumberOfChannels(uint32_t *channels) const;
  uint32_t getSamplePrecision(uint32_t *precision) const;
  uint32_t getScaledSize(uint32_t *width, uint32_t *height, int32_t scale) const;

  std::vector<Word> words() const;
  bool toMemory() const { return memory_; }
  uint32_t widthOfFrame() const { return headers_ ? encoder_.frame().width : 0; }
  uint32_t componentsOfFrame() const {
    return headers_ && encoder_.frame().components != 0 ? encoder_.frame().components : components_;
  }

 private:
  uint32_t beginBaseline(const JpgRect &rect);
  uint32_t beginLossless(const JpgRect &rect);
  static bool samplingServed(uint32_t components, uint32_t sampling);
  void takeUp(bool lossless, bool firstCall);
  bool isLossless() const { return encoder_.frame().lossless; }

  bool memory_, pieces_;
  uint32_t width_ = 0, height_ = 0, components_ = 0, precision_ = 8;
  uint32_t sampling_ = 0x00221111, quality_ = 90, restart_ = 0, predictor_ = 1;
  bool raw_ = false;
  uint32_t sof_ = 0xFFC0;
  uint32_t segLength_ = 0, segConsumed_ = 0;

  bool headers_ = false;  // written
  bool early_ = false;    // ahead of the first encode call
  uint32_t lines_ = 0;
  ModelEncoder encoder_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_WRITERSTATE_H
