// SPDX-License-Identifier: MIT
// A slow, plain model of the baseline and the lossless encoder, call by call, to compare the
// library with byte by byte.
//
// Written from the formulas of T.81 and the encoder's stated constants; it shares no code
// with the library.
#ifndef JPG_TESTS_MODEL_ENCODER_H
#define JPG_TESTS_MODEL_ENCODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "model/output.h"
#include "support/bytes.h"

namespace jpgtest {

// What the headers of a stream say.
struct EncodeFrame {
  bool lossless = false;
  bool raw = false;  // no colour conversion
  uint32_t width = 0, height = 0, components = 0, precision = 8;
  uint32_t sampling = 0x00221111;  // a byte a component, the last one's lowest
  uint32_t quality = 90;
  uint32_t restart = 0;    // MCUs, lossless pixels
  uint32_t predictor = 1;  // lossless, 1 to 7
  std::vector<uint8_t> ids;
};

class ModelEncoder {
 public:
  // Where SOI, segments of other kinds and EOI go, too.
  ModelOutput &out() { return out_; }

  // The tables' and the frame's segments. The length of the scan header's data.
  uint32_t headers(const EncodeFrame &frame);
  // A call: whole MCU rows of B, G, R or of components as they are. Negative strides are served.
  void baselineLines(const uint8_t *bits, std::ptrdiff_t stride, uint32_t lines);
  // A line of bytes, or of 16-bit words of the machine for more than 8 bits.
  void losslessLine(const uint8_t *row);
  // Ends a piece: predictions begin anew.
  void endPiece();

  const EncodeFrame &frame() const { return frame_; }
  bool firstLine() const { return firstLine_; }  // of a lossless picture, an interval or a piece
  uint32_t restarts() const { return restarts_; }
  uint32_t sinceRestart() const { return sinceRestart_; }  // MCUs, lossless pixels

 private:
  struct Coded {
    int h, v, table;
    int prediction;
  };

  uint32_t baselineHeaders();
  uint32_t losslessHeaders();
  uint32_t frameSegments(const Bytes &factors, const Bytes &quantSelectors, const Bytes &tables,
                         const Bytes &spectral);
  int baselineSample(const uint8_t *pixel, size_t component) const;
  void mcu();
  void codeBlock(int32_t (*block)[8], Coded *c);
  int losslessSample(const uint8_t *row, size_t i) const;
  void putDifference(int difference);
  void restartMarker();

  EncodeFrame frame_;
  std::vector<Coded> coded_;
  int hMax_ = 1, vMax_ = 1;
  std::array<std::array<std::array<int, 16>, 16>, 4> area_ = {};  // an MCU's samples
  bool firstLine_ = false;
  Bytes previous_;  // lossless line
  uint32_t sinceRestart_ = 0, restarts_ = 0;
  ModelOutput out_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_ENCODER_H
