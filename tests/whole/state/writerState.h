// The model of a write handle: settings, headers, baseline and lossless pictures, pieces.
#ifndef JPG_TESTS_WHOLE_STATE_WRITERSTATE_H
#define JPG_TESTS_WHOLE_STATE_WRITERSTATE_H

#include <jpg.h>

#include <array>
#include <vector>

#include "whole/state/readerState.h"
#include "whole/state/wordOutput.h"

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
  uint32_t widthOfFrame() const { return headers_ ? frame_.width : 0; }
  uint32_t componentsOfFrame() const {
    return headers_ && frame_.components != 0 ? frame_.components : components_;
  }

 private:
  // The settings that the headers took up.
  struct Frame {
    bool lossless = false, raw = false;
    uint32_t width = 0, height = 0, components = 0, precision = 8;
    uint32_t sampling = 0, quality = 0, restart = 0, predictor = 0;
    std::vector<uint8_t> ids;
  };
  struct Coded {
    int h, v, table;
    int prediction;
  };

  uint32_t beginBaseline(const JpgRect &rect);
  uint32_t beginLossless(const JpgRect &rect);
  static bool samplingServed(uint32_t components, uint32_t sampling);
  void takeUp(bool lossless);
  void nameComponents();
  void baselineHeaders();
  void losslessHeaders();
  void frameSegments(const Bytes &factors, const Bytes &quantSelectors, const Bytes &tables,
                     const Bytes &spectral);
  int sample(const uint8_t *pixel, size_t component) const;
  void band(const JpgRect &rect, uint32_t lines);
  void mcu();
  void codeBlock(int32_t (*block)[8], Coded *c);
  void restartMarker();
  int spatialSample(const uint8_t *row, size_t i) const;
  void spatialLine(const uint8_t *row);
  void putDifference(int difference);

  bool memory_, pieces_;
  uint32_t width_ = 0, height_ = 0, components_ = 0, precision_ = 8;
  uint32_t sampling_ = 0x00221111, quality_ = 90, restart_ = 0, predictor_ = 1;
  bool raw_ = false;
  uint32_t sof_ = 0xFFC0;
  uint32_t segLength_ = 0, segConsumed_ = 0;

  bool headers_ = false;  // written
  bool early_ = false;    // ahead of the first encode call
  Frame frame_;
  uint32_t lines_ = 0, mcusSinceRestart_ = 0, restarts_ = 0;
  bool firstLine_ = false;  // of a lossless picture, an interval or a piece
  Bytes previous_;

  int hMax_ = 1, vMax_ = 1;
  std::vector<Coded> coded_;
  std::array<std::array<std::array<int, 16>, 16>, 4> area_ = {};
  WordOutput out_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_WRITERSTATE_H
