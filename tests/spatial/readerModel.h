// A slow, plain model of lossless decoding: T.81 Annex H, and what the reader adds to it.
//
// It keeps the coded data as one long string of bytes behind the scan header, stuffing removed,
// looks codes up bit by bit (T.81 F.2.2.3) and knows nothing of buffers.
#ifndef JPG_TESTS_SPATIAL_READERMODEL_H
#define JPG_TESTS_SPATIAL_READERMODEL_H

#include <array>
#include <cstdint>
#include <vector>

#include "spatialModel.h"
#include "support/huffman.h"

namespace jpgtest {

class ReaderModel {
 public:
  // Takes well-formed headers up to the first SOS; false when there are none.
  bool open(const Bytes &stream);

  // The call of the interface: rows to `bits`, `stride` bytes apart. The result is its code.
  uint32_t read(uint8_t *bits, int32_t stride, int32_t lines);

  size_t rowBytes() const { return size_t{width} * components * (precision > 8 ? 2U : 1U); }

  uint32_t width = 0, height = 0, precision = 0, components = 0, predictor = 0, point = 0;
  uint32_t restart = 0;  // pixels
  uint32_t sof = 0;      // the frame's marker

 private:
  struct DataByte {
    uint8_t value;
    bool stuffed;  // an FF with a 00 behind it
  };
  DataByte byteAt(size_t i) const;
  uint32_t bit();
  bool category(const HuffTable &table, uint32_t *value);
  bool difference(const HuffTable &table, int32_t *value);
  uint32_t row(uint8_t *now, const uint8_t *above, bool first);
  void markers();
  void unstuff(const Bytes &stream, size_t from);
  void tables(const Bytes &stream, size_t at, size_t end);
  bool scan(const Bytes &stream, size_t at);
  int32_t sampleAt(const uint8_t *row, size_t i) const;
  void store(uint8_t *row, size_t i, int32_t value) const;

  std::array<HuffTable, 4> tables_;
  std::vector<uint8_t> ids_;
  std::vector<const HuffTable *> used_;
  std::vector<DataByte> data_;
  size_t position_ = 0;  // bits
  uint32_t done_ = 0;    // rows
  uint32_t pixels_ = 0;  // since the restart
  bool first_ = true;
  Bytes saved_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_SPATIAL_READERMODEL_H
