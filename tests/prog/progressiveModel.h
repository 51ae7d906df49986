// A slow, plain model of the progressive reader, to compare the library with.
//
// It has its own parser and scan decoders, works bit by bit and keeps the coefficients of the
// whole frame. Its functions are those of the public interface, with the same results.
#ifndef JPG_TESTS_PROG_PROGRESSIVEMODEL_H
#define JPG_TESTS_PROG_PROGRESSIVEMODEL_H

#include <jpg.h>

#include <array>
#include <cstdint>
#include <vector>

#include "support/bytes.h"
#include "support/modelBits.h"
#include "support/modelHuffman.h"

namespace jpgtest {

class ProgressiveModel {
 public:
  // Parses up to the first scan. The stream must begin with SOI.
  uint32_t open(const Bytes &stream);
  void setNoColorConversion() { raw_ = true; }
  uint32_t rows(const JpgRect &rect, int32_t lines, int32_t mode);

  int32_t width() const { return static_cast<int32_t>(width_); }
  int32_t height() const { return static_cast<int32_t>(height_); }
  size_t components() const { return components_.size(); }
  // Scans decoded or begun.
  int scans() const { return scans_; }
  // True when a scan header stood inside a scan: what the rest of that scan means is open then.
  bool lostItsWay() const { return lost_; }

 private:
  struct Component {
    uint8_t id = 0;
    unsigned h = 1, v = 1, tq = 0;
    size_t firstBlock = 0;  // in the MCU
  };
  struct Selected {
    size_t component = 0;
    ModelTable dc, ac;
    int32_t prediction = 0;
  };

  // Headers.
  uint32_t toNextScan();
  uint32_t segment(uint32_t marker);
  uint32_t huffman(uint32_t length);
  uint32_t quantisation(uint32_t length);
  uint32_t frame(uint32_t length);
  uint32_t scanHeader();  // the coded data follow what it reads, whatever the length
  void skip(uint32_t bytes);

  // Scans.
  uint32_t decodeScans(bool onlyOne);
  uint32_t decodeScan();
  uint32_t interleaved();
  uint32_t single();
  void countMcu(bool last);
  void betweenIntervals(bool last);
  uint32_t decodeBlock(ModelBlock &block, Selected &s);
  uint32_t dcFirst(ModelBlock &block, Selected &s);
  uint32_t acFirst(ModelBlock &block, const Selected &s);
  uint32_t acRefine(ModelBlock &block, const Selected &s);
  uint32_t acRefineCodes(ModelBlock &block, const Selected &s, unsigned &k);
  void correct(int16_t &coefficient);

  // Pixels.
  bool bookRows(int32_t &lines, bool incremental, bool &newPass);
  uint32_t reconstruct(const JpgRect &rect, int32_t lines, int32_t done);
  void storeMcuRow(uint32_t mcuRow, const JpgRect &rect, uint8_t *bits, int32_t rows) const;
  ModelBlock samplesOf(size_t block, const Component &c) const;

  ModelBits bits_;
  bool raw_ = false, lost_ = false;
  uint32_t width_ = 0, height_ = 0, restartInterval_ = 0;
  unsigned hMax_ = 0, vMax_ = 0;
  uint32_t mcusPerRow_ = 0, mcuRows_ = 0;
  size_t blocksPerMcu_ = 0;
  std::vector<Component> components_;
  std::array<ModelTable, 4> dc_, ac_;
  std::array<std::array<uint32_t, 64>, 4> quant_{};
  std::vector<ModelBlock> store_;

  std::vector<Selected> scan_;
  uint32_t unread_ = 0;  // bytes of a segment that ended the headers
  uint8_t ss_ = 0, se_ = 0, ah_ = 0, al_ = 0;
  uint32_t eobRun_ = 0, sinceRestart_ = 0, lastMarker_ = 0;
  int scans_ = 0;

  int32_t rowsDone_ = 0;
  bool incrementalActive_ = false;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_PROG_PROGRESSIVEMODEL_H
