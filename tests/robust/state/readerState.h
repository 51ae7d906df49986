// The model of a read handle of any process: what every call returns, stores and leaves behind.
#ifndef JPG_TESTS_ROBUST_STATE_READERSTATE_H
#define JPG_TESTS_ROBUST_STATE_READERSTATE_H

#include <string>
#include <vector>

#include "support/model.h"

namespace jpgtest {

// A word of the record by its name.
struct Word {
  const char *name;
  uint32_t value;
};

class ReaderState : public Model {
 public:
  // The prologs' options that the record keeps, told beside the model's own.
  void openedFromMemory(uint32_t flags) { prologFlags_ = (flags & 2U) | 0x20000000U; }

  uint32_t seekRestartMarker(int32_t intervals, uint32_t mode);
  uint32_t setPartialBitstream(const Bytes &data);
  uint32_t getScaledSize(uint32_t *width, uint32_t *height, int32_t scale) const;
  uint32_t scaledToRect(const JpgRect &rect, int32_t lines, int32_t scale);
  uint32_t progressiveToRect(const JpgRect &rect, int32_t lines, int32_t mode);
  uint32_t spatialToRect(const JpgRect &rect, int32_t lines);

  // The words of the record that mean something for this process.
  std::vector<Word> words() const;
  // True once nobody says what comes next: a scan header stood inside a scan, or the first scan
  // isn't in the block that is read.
  bool lostItsWay() const { return lost_; }

  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }
  uint32_t components() const { return static_cast<uint32_t>(components_.size()); }
  // Density as the JFIF segment tells it.
  uint32_t jfifUnits() const { return jfifUnits_; }
  uint32_t xDensity() const { return xDensity_; }
  uint32_t yDensity() const { return yDensity_; }

 private:
  // Scaled.
  uint32_t scaledRow(const JpgRect &rect, uint8_t *bits, int64_t rows);
  uint32_t scaledMcu(std::vector<Plane> &planes);
  void storeScaled(const std::vector<Plane> &planes, unsigned x, unsigned y, uint8_t *pixel) const;

  // Progressive.
  void beginStore();
  size_t firstBlockOf(size_t component) const;
  size_t blocksPerMcu() const { return firstBlockOf(components_.size()); }
  uint32_t decodeScans(bool onlyOne);
  uint32_t decodeScan();
  uint32_t interleaved();
  uint32_t single();
  void countMcu(bool last);
  uint32_t decodeBlock(ModelBlock &block, ScanEntry &entry);
  uint32_t dcFirst(ModelBlock &block, ScanEntry &entry);
  uint32_t acFirst(ModelBlock &block, const ScanEntry &entry);
  uint32_t acRefine(ModelBlock &block, const ScanEntry &entry);
  uint32_t acRefineCodes(ModelBlock &block, const ScanEntry &entry, unsigned &k);
  void correct(int16_t &coefficient);
  uint32_t reconstruct(const JpgRect &rect, int32_t lines, uint32_t rowsDone);
  void storeMcuRow(uint32_t mcuRow, const JpgRect &rect, uint8_t *bits, int32_t rows) const;
  ModelBlock samplesOf(size_t block, size_t component) const;

  // Lossless.
  size_t rowBytes() const;
  uint32_t spatialRow(uint8_t *now, const uint8_t *above, bool first);
  uint32_t difference(const ModelTable &table, int32_t *value);
  int32_t sampleAt(const uint8_t *row, size_t i) const;
  void storeSample(uint8_t *row, size_t i, int32_t value) const;
  void spatialMarkers();

  uint32_t prologFlags_ = 0;
  bool lost_ = false;

  std::vector<ModelBlock> store_;
  bool storeBegun_ = false;  // a decode call has come
  bool elsewhere_ = false;   // a restart seek came before it, and the stream stands where it led
  bool inPiece_ = false;     // the stream is one that was handed over later
  struct Scan {
    std::vector<Selection> selected;
    std::vector<ScanEntry> entries;
    uint32_t ss, se, ah, al;
  } firstScan_ = {};
  bool incrementalActive_ = false;

  Bytes saved_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_ROBUST_STATE_READERSTATE_H
