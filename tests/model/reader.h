// SPDX-License-Identifier: MIT
// A slow, plain model of the reader, to compare the library with.
//
// It has its own parser and its own decoders of every process, works bit by bit, keeps the whole
// stream in memory and shares no code with the library. Its functions are those of the public
// interface, with the same results; it is opened on bytes instead of a path.
//
// Not modelled: pixels of frames with a sampling factor of 0, and of scans that name a component
// twice.
#ifndef JPG_TESTS_MODEL_READER_H
#define JPG_TESTS_MODEL_READER_H

#include <jpg.h>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "model/bits.h"
#include "model/huffman.h"
#include "model/idct.h"
#include "support/bytes.h"

namespace jpgtest {

class Model {
 public:
  explicit Model(FirstPass firstPass = FirstPass::kSquared) : firstPass_(firstPass) {}

  uint32_t openMemory(const Bytes &data, uint32_t flags);
  uint32_t openFile(const Bytes &file, int32_t startOffset, int32_t length, uint32_t flags);
  bool isOpen() const { return open_; }
  // False when there is no telling what the pixels of the current scan should be.
  bool knowsPixels() const;

  uint32_t getCodingProcess(uint32_t *process) const;
  uint32_t getImageSize(uint32_t *width, uint32_t *height) const;
  uint32_t getNumberOfChannels(uint32_t *channels) const;
  uint32_t getSamplePrecision(uint32_t *precision) const;
  uint32_t setNoColorConversion();

  uint32_t seekMarkerSegment(int32_t mode, uint16_t *marker, uint32_t *length);
  uint32_t readMarkerData(void *buffer, uint32_t size, uint32_t *count);
  uint32_t seekMarkerData();
  uint32_t seekRestartMarker(int32_t intervals, uint32_t mode);
  uint32_t setPartialBitstream(const Bytes &data);

  uint32_t readToRect(const JpgRect &rect, int32_t lines);
  uint32_t getScaledSize(uint32_t *width, uint32_t *height, int32_t scale) const;
  uint32_t scaledToRect(const JpgRect &rect, int32_t lines, int32_t scale);
  uint32_t progressiveToRect(const JpgRect &rect, int32_t lines, int32_t mode);
  uint32_t spatialToRect(const JpgRect &rect, int32_t lines);

  // True once nobody says what comes next: a scan header stood inside a progressive scan.
  bool lostItsWay() const { return lost_; }

  // The options that it was opened with, as flags of a prolog.
  uint32_t optionFlags() const { return optionFlags_; }
  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }
  uint32_t components() const { return static_cast<uint32_t>(components_.size()); }
  // Of a row of lossless samples.
  size_t rowBytes() const;

 protected:
  struct Component {
    uint8_t id = 0;
    uint8_t h = 1;
    uint8_t v = 1;
    uint8_t tq = 0;
  };
  // An entry of the current scan. Its quantisation table is that of the frame component in the
  // same place.
  struct ScanEntry {
    unsigned blocks = 0;
    ModelTable dc;
    ModelTable ac;
    uint32_t prediction = 0;
  };
  // What a scan header says about one of its components.
  struct Selection {
    size_t component = 0;
    uint32_t tables = 0;  // Td in the high nibble, Ta in the low
  };
  struct Stop {
    uint32_t result;
    uint32_t marker;
  };
  // One component's samples of one MCU.
  struct Plane {
    unsigned h = 1;
    unsigned v = 1;
    std::vector<ModelBlock> blocks;
    int at(unsigned x, unsigned y, unsigned hMax, unsigned vMax) const;
  };
  enum class Writer { kComponents, kGray, kReversed, kYcc };

  // Headers.
  void takeOptions(uint32_t flags);
  uint32_t parse();
  Stop headerLoop();
  uint32_t nextSegment(uint32_t &marker);
  uint32_t handleSegment(uint32_t marker);
  uint32_t segmentByte();
  uint32_t remaining() const { return segLength_ - segConsumed_; }
  uint32_t loadHuffman();
  uint32_t loadQuantisation();
  uint32_t loadRestartInterval();
  void checkJfif();
  void checkAdobe();
  uint32_t readFrame(uint32_t sof);
  uint32_t finishFrame();
  uint32_t setUpScan();
  void useScan();
  uint32_t readScanHeader();
  uint32_t checkBuffers() const;
  bool decideYcc() const;

  // Markers and restarts.
  void betweenRows();
  void loadHeight();
  void clearPredictions();
  void reposition(size_t offset, bool full);
  // The first decode call after a walk through the segments goes back to the scan.
  void returnFromSegments();

  // Pictures.
  uint32_t chooseWriter(const JpgRect &rect, Writer &writer) const;
  uint32_t decodeMcu(std::vector<Plane> &planes);
  uint32_t decodeRow(const JpgRect &rect, uint8_t *bits, int64_t rows, Writer writer);
  void store(const std::vector<Plane> &planes, Writer writer, unsigned x, unsigned y,
             uint8_t *pixel) const;
  static void putSamples(std::vector<int> samples, Writer writer, uint8_t *pixel);

  // Interpolated chroma: a reader gives the planes of each MCU of a row of them.
  using RowReader = std::function<uint32_t(uint32_t, std::vector<std::vector<Plane>> &)>;
  bool readsSmoothly() const;
  void resetSmooth();
  uint32_t keepNextRow(const RowReader &read);
  int64_t smoothHeight(const Component &c) const;
  bool needsMore() const;
  int smoothSample(size_t k, int64_t x, int64_t y) const;
  uint32_t smoothRows(const JpgRect &rect, int64_t rows, int64_t width, Writer writer,
                      const RowReader &read);
  uint32_t smoothSequentialRows(const JpgRect &rect, int64_t rows, int64_t width, Writer writer);
  uint32_t smoothStoredRows(const JpgRect &rect, int64_t rows, uint32_t first, Writer writer);

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
  Writer progressiveWriter() const;
  std::vector<Plane> storedPlanes(uint32_t mcuRow, uint32_t mcu) const;
  ModelBlock samplesOf(size_t block, size_t component) const;

  // Lossless.
  uint32_t spatialRow(uint8_t *now, const uint8_t *above, bool first);
  uint32_t difference(const ModelTable &table, int32_t *value);
  int32_t sampleAt(const uint8_t *row, size_t i) const;
  void storeSample(uint8_t *row, size_t i, int32_t value) const;
  void spatialMarkers();

  // What is kept for interpolation since the picture's top or a restart seek.
  struct Kept {
    bool begun = false, fromTop = false;
    uint32_t scale = 0xFFFFFFFF;
    uint32_t mcuRows = 0;  // decoded
    int64_t row = 0;       // rows of pixels delivered
    uint32_t failure = JPG_OK;
    std::vector<std::vector<std::vector<int>>> samples;  // component, row, column
  } kept_;

  FirstPass firstPass_;
  uint32_t optionFlags_ = 0;
  bool smooth_ = false;
  bool open_ = false;
  bool memory_ = false;
  bool partialAllowed_ = false;
  ModelBits bits_;

  uint32_t sof_ = 0;
  uint32_t precision_ = 0;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  std::vector<Component> components_;
  unsigned hMax_ = 0;
  unsigned vMax_ = 0;
  uint32_t mcusPerRow_ = 0;
  uint32_t mcuCount_ = 0;
  uint32_t restartInterval_ = 0;
  bool jfif_ = false;
  bool adobe_ = false;
  uint8_t adobeTransform_ = 0;
  uint32_t jfifUnits_ = 0, xDensity_ = 0, yDensity_ = 0;
  bool ycc_ = false;
  bool noColorConversion_ = false;

  std::array<ModelTable, 4> dc_;
  std::array<ModelTable, 4> ac_;
  unsigned pendingTables_ = 0;
  std::array<std::array<uint32_t, 64>, 4> quant_{};
  std::vector<Selection> selected_;
  std::vector<ScanEntry> scan_;
  size_t scanOffset_ = 0;
  uint32_t ss_ = 0, se_ = 0, ah_ = 0, al_ = 0;

  uint32_t segLength_ = 0;
  uint32_t segConsumed_ = 0;
  bool markerAccessUsed_ = false;
  uint32_t lastMarker_ = 0;
  uint32_t mcusSinceRestart_ = 0;
  uint32_t rowPosition_ = 0;  // wraps below 0
  uint32_t eobRun_ = 0;
  uint32_t setUps_ = 0;              // scan headers looked for
  uint32_t scanState_ = 0xFFFFFFFF;  // scale code of the picture under way
  bool positioned_ = true;           // at the start of a scan or an interval
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

  Bytes saved_;  // the last row of lossless samples
};

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_READER_H
