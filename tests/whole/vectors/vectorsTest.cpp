// SPDX-License-Identifier: MIT
// No exported function leaves anything in the upper halves of the processor's 256-bit registers:
// pictures of all processes, layouts and odd sizes, through every function.
#include <gtest/gtest.h>
#include <jpg.h>

#include <set>
#include <string>

#include "model/losslessSource.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"
#include "whole/vectors/vectorState.h"

namespace jpgtest {
namespace {

struct Size {
  uint16_t width, height;
};
// Whole MCUs and parts of them both ways, single pixels, odd counts of MCUs.
constexpr Size kSizes[] = {{1, 1},   {7, 9},   {8, 8},   {16, 16}, {17, 15},
                           {33, 31}, {64, 64}, {65, 65}, {100, 3}, {3, 100}};
const std::vector<std::vector<uint8_t>> kLayouts = {{0x11},
                                                    {0x22},
                                                    {0x11, 0x11},
                                                    {0x11, 0x11, 0x11},
                                                    {0x21, 0x11, 0x11},
                                                    {0x12, 0x11, 0x11},
                                                    {0x22, 0x11, 0x11},
                                                    {0x11, 0x22, 0x12},
                                                    {0x11, 0x11, 0x11, 0x11}};
constexpr size_t kMostPixels = 100 * 100;

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

class Vectors : public testing::Test {
 protected:
  void SetUp() override {
    if (!tellsVectorState())
      GTEST_SKIP() << "this processor doesn't report which vector registers are in use";
    clearUpperHalves();
    if (upperHalvesInUse()) GTEST_SKIP() << "this processor doesn't report cleared upper halves";
  }

  // Calls a function with cleared registers and looks at them behind it.
  template <typename... Parameters>
  uint32_t call(const char *name, uint32_t (*function)(Parameters...), Parameters... arguments) {
    called_.insert(name);
    clearUpperHalves();
    const uint32_t r = function(arguments...);
    const bool inUse = upperHalvesInUse();
    // One line a function and picture is enough.
    if (inUse && failed_.insert(name + picture_).second) {
      ADD_FAILURE() << name << " leaves the upper halves in use: " << picture_;
    }
    return r;
  }

  void open(const Bytes &stream, uint32_t flags = 0);
  void close();
  JpgRect rect();
  uint32_t readRows(int32_t lines, int32_t mode);
  void readBands(int32_t lines, int32_t mode);
  void readScaled(int32_t lines);
  void readBitmaps();
  void walk();
  void readAll(const std::string &what, const Bytes &stream);
  void readAllWith(const std::string &what, const Bytes &stream, uint32_t options);
  void readPieces(const Bytes &stream);
  void readThumbnail(const Bytes &stream);
  void setUp(JPGHANDLE h, uint32_t sampling, int32_t channels);
  void finish(JPGHANDLE h);
  void writeRows(JPGHANDLE h, const Size &size, int32_t channels, bool lossless);
  void writeBitmap(uint16_t depth, const Size &size);
  void useEverything();

  std::set<std::string> called_;
  std::set<std::string> failed_;
  std::string picture_;
  JPGHANDLE handle_ = nullptr;
  uint32_t width_ = 0, height_ = 0, channels_ = 0, process_ = 0;
  Bytes pixels_ = Bytes(8 * kMostPixels + 4096, 0x5A);
};

#define CALL(function, ...) call(#function, function, __VA_ARGS__)

void Vectors::open(const Bytes &stream, uint32_t flags) {
  const void *data = stream.data();
  ASSERT_RESULT(JPG_OK, CALL(jpgReadPrologFromMemory, data, static_cast<int32_t>(stream.size()),
                             flags, &handle_));
  CALL(jpgReadGetImageSize, handle_, &width_, &height_);
  CALL(jpgReadGetNumberOfChannels, handle_, &channels_);
  CALL(jpgReadGetCodingProcess, handle_, &process_);
}

void Vectors::close() {
  EXPECT_RESULT(JPG_OK, CALL(jpgReadEpilog, handle_));
  handle_ = nullptr;
}

JpgRect Vectors::rect() {
  JpgRect r = {};
  r.width = static_cast<int32_t>(width_);
  r.stride = static_cast<int32_t>(4 * width_);
  r.bitsPerPixel = static_cast<int32_t>(8 * channels_);
  r.bits = pixels_.data();
  return r;
}

uint32_t Vectors::readRows(int32_t lines, int32_t mode) {
  const JpgRect r = rect();
  const JpgRect *p = &r;
  if (process_ == JPG_PROCESS_LOSSLESS) return CALL(jpgReadSpatialToRect, handle_, p, lines);
  if (process_ != JPG_PROCESS_PROGRESSIVE) return CALL(jpgReadToRect, handle_, p, lines);
  return CALL(jpgReadProgressiveToRect, handle_, p, lines, mode);
}

void Vectors::readBands(int32_t lines, int32_t mode) {
  for (int i = 0; i < 20 && readRows(lines, mode) == JPG_OK;) i++;
}

void Vectors::readScaled(int32_t lines) {
  for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
    uint32_t width = 0, height = 0;
    CALL(jpgReadScaleOutputGetImageSize, handle_, &width, &height, scale);
    const JpgRect r = rect();
    const JpgRect *p = &r;
    for (int i = 0; i < 20; i++) {
      if (CALL(jpgReadScaleOutputToRect, handle_, p, lines, scale) != JPG_OK) break;
    }
  }
}

void Vectors::readBitmaps() {
  for (const int depth : {8, 16, 24}) {
    Bitmap bitmap = {};
    bitmap.header.biBitCount = static_cast<uint16_t>(depth);
    auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
    void *bits = pixels_.data();
    const auto lines = static_cast<int32_t>(height_);
    const int32_t all = JPG_PROGRESSIVE_ALL_SCANS, half = JPG_SCALE_HALF;
    CALL(jpgReadToWinDIBits, handle_, lines, static_cast<void *>(nullptr), bmi);
    if (process_ == JPG_PROCESS_PROGRESSIVE) {
      CALL(jpgReadProgressiveToWinDIBits, handle_, lines, bits, bmi, all);
    } else {
      CALL(jpgReadScaleOutputToWinDIBits, handle_, (lines + 1) / 2, bits, bmi, half);
      CALL(jpgReadSeekRestartMarker, handle_, int32_t{0}, JPG_RESTART_FROM_START);
      CALL(jpgReadToWinDIBits, handle_, lines, bits, bmi);
    }
  }
}

void Vectors::walk() {
  uint16_t marker = 0;
  uint32_t length = 0, count = 0;
  int32_t mode = JPG_SEGMENT_FIRST;
  void *data = pixels_.data();
  for (int i = 0; i < 6; i++, mode = JPG_SEGMENT_NEXT) {
    if (CALL(jpgReadSeekMarkerSegment, handle_, mode, &marker, &length) != JPG_OK) break;
    CALL(jpgReadReadMarkerData, handle_, data, uint32_t{40}, &count);
    CALL(jpgReadSeekMarkerData, handle_);
  }
}

// Every way to read a stream, each with a handle of its own.
void Vectors::readAll(const std::string &what, const Bytes &stream) {
  readAllWith(what, stream, 0);
  readAllWith(what + " with options", stream, JPG_READ_ACCURATE | JPG_READ_SMOOTH);
  readAllWith(what + " leniently", stream, JPG_READ_LENIENT | JPG_READ_SMOOTH);
}

void Vectors::readAllWith(const std::string &what, const Bytes &stream, uint32_t options) {
  picture_ = what;
  open(stream, options);
  uint32_t precision = 0;
  CALL(jpgReadGetSamplePrecision, handle_, &precision);
  walk();
  readBands(16, JPG_PROGRESSIVE_ALL_SCANS);
  close();
  open(stream, options);
  readBands(static_cast<int32_t>(height_), JPG_PROGRESSIVE_NEXT_SCAN);
  CALL(jpgReadSeekRestartMarker, handle_, int32_t{1}, JPG_RESTART_FROM_START);
  readBands(8, JPG_PROGRESSIVE_ALL_SCANS);
  close();
  open(stream, options);
  CALL(jpgReadSetNoColorConversion, handle_);
  readBands(16, JPG_PROGRESSIVE_ALL_SCANS);
  close();
  if (process_ == JPG_PROCESS_LOSSLESS) return;
  open(stream, options);
  readScaled(16);
  readBitmaps();
  close();
}

void Vectors::readPieces(const Bytes &stream) {
  open(stream, JPG_READ_PARTIAL_BITSTREAM);
  const void *rest = stream.data() + stream.size() / 2;
  const auto size = static_cast<uint32_t>(stream.size() - stream.size() / 2);
  CALL(jpgReadSetPartialBitstream, handle_, rest, size);
  readBands(16, 0);
  close();
}

void Vectors::readThumbnail(const Bytes &stream) {
  picture_ = "a thumbnail";
  open(stream);
  JPGEXIFHANDLE exif = nullptr;
  ASSERT_RESULT(JPG_OK, CALL(jpgReadExifReadAttributeProlog, handle_, &exif));
  for (const int depth : {8, 16, 24}) {
    Bitmap bitmap = {};
    bitmap.header.biBitCount = static_cast<uint16_t>(depth);
    auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
    void *bits = pixels_.data();
    EXPECT_RESULT(JPG_OK,
                  CALL(jpgExifReadThumbnailToWinDIBits, exif, static_cast<void *>(nullptr), bmi));
    EXPECT_RESULT(JPG_OK, CALL(jpgExifReadThumbnailToWinDIBits, exif, bits, bmi));
  }
  EXPECT_RESULT(JPG_OK, CALL(jpgReadExifReadAttributeEpilog, exif));
  close();
}

void Vectors::setUp(JPGHANDLE h, uint32_t sampling, int32_t channels) {
  uint32_t count = 0;
  const void *data = pixels_.data();
  CALL(jpgWriteSetSubsamplingFactor, h, sampling);
  CALL(jpgWriteSetNumberOfComponents, h, channels);
  CALL(jpgWriteSetQuantizationFactor, h, int32_t{75});
  CALL(jpgWriteSetRestartInterval, h, int32_t{2});
  CALL(jpgWriteSetSpatialPredictor, h, int32_t{4});
  CALL(jpgWriteWriteMarkerSegment, h, uint32_t{0xFFFE}, data, uint32_t{40});
  CALL(jpgWriteWriteMarkerCode, h, uint32_t{0xFFE5}, uint32_t{40});
  CALL(jpgWriteWriteMarkerData, h, data, uint32_t{40}, &count);
}

void Vectors::finish(JPGHANDLE h) {
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, CALL(jpgWriteEpilogToMemory, h, &data, &size));
  CALL(jpgWriteFreeBitstream, data);
}

void Vectors::writeRows(JPGHANDLE h, const Size &size, int32_t channels, bool lossless) {
  JpgRect r = {};
  r.width = size.width;
  r.height = size.height;
  r.stride = 4 * size.width;
  r.bitsPerPixel = 8 * channels;
  r.channels = channels;
  r.bitsPerSample = 8;
  r.bits = pixels_.data();
  const JpgRect *p = &r;
  const uint32_t lines = size.height;
  if (lossless) {
    EXPECT_RESULT(JPG_OK, CALL(jpgWriteSpatialFromRect, h, p, lines));
  } else {
    EXPECT_RESULT(JPG_OK, CALL(jpgWriteFromRect, h, p, lines));
  }
}

void Vectors::writeBitmap(uint16_t depth, const Size &size) {
  Bitmap bitmap = {};
  bitmap.header.biSize = 40;
  bitmap.header.biWidth = size.width;
  bitmap.header.biHeight = size.height;
  bitmap.header.biBitCount = depth;
  const auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  const void *bits = pixels_.data();
  JPGHANDLE h = nullptr;
  CALL(jpgWritePrologToMemory, uint32_t{0}, &h);
  CALL(jpgWriteFromWinDIBits, h, int32_t{size.height}, bits, bmi);
  finish(h);
}

std::string nameOf(const char *process, const Size &size, const std::vector<uint8_t> &layout) {
  std::string name = process + std::string(" ") + std::to_string(size.width) + " x " +
                     std::to_string(size.height) + ", sampling";
  for (const uint8_t s : layout)
    name += " " + std::to_string(s >> 4) + "x" + std::to_string(s & 15);
  return name;
}

Picture pictureOf(const Size &size, const std::vector<uint8_t> &layout, Fill fill) {
  Picture picture = makePicture(size.width, size.height, layout, fill, 3);
  picture.restartInterval = static_cast<uint16_t>(picture.mcusPerRow());
  return picture;
}

Bytes losslessOf(const Size &size, size_t components, uint8_t precision) {
  Source source;
  source.width = size.width;
  source.height = size.height;
  source.precision = precision;
  source.predictor = 7;
  source.useTables(std::vector<unsigned>(components, 0));
  source.fill(5);
  return streamOf(source);
}

TEST_F(Vectors, OfThisProcessorTellThatTheyAreInUse) {
  useUpperHalves();
  EXPECT_TRUE(upperHalvesInUse());
  clearUpperHalves();
  EXPECT_FALSE(upperHalvesInUse());
}

TEST_F(Vectors, AreLeftClearByTheReadersOfSequentialPictures) {
  for (const Size &size : kSizes) {
    for (const std::vector<uint8_t> &layout : kLayouts) {
      readAll(nameOf("sequential", size, layout), encode(pictureOf(size, layout, Fill::kSmooth)));
      readAll(nameOf("flat", size, layout), encode(pictureOf(size, layout, Fill::kDcOnly)));
    }
  }
}

TEST_F(Vectors, AreLeftClearByTheReadersOfProgressivePictures) {
  for (const Size &size : kSizes) {
    for (const std::vector<uint8_t> &layout : kLayouts) {
      for (const Fill fill : {Fill::kSparse, Fill::kDcOnly, Fill::kZero}) {
        readAll(nameOf("progressive", size, layout),
                encodeProgressive(pictureOf(size, layout, fill), refiningScript(layout.size())));
      }
    }
  }
}

TEST_F(Vectors, AreLeftClearByTheReadersOfLosslessPictures) {
  for (const Size &size : kSizes) {
    for (const size_t components : {size_t{1}, size_t{3}}) {
      for (const int precision : {8, 12}) {
        readAll(nameOf("lossless", size, std::vector<uint8_t>(components, 0x11)),
                losslessOf(size, components, static_cast<uint8_t>(precision)));
      }
    }
  }
}

TEST_F(Vectors, AreLeftClearByTheWriters) {
  for (const Size &size : kSizes) {
    for (const uint32_t sampling : {0x111111U, 0x211111U, 0x121111U, 0x221111U}) {
      for (const int32_t channels : {1, 3}) {
        for (uint32_t kind = 0; kind < 2 * 8; kind++) {
          const bool lossless = kind % 2 != 0;
          const uint32_t options = kind / 2;
          picture_ = nameOf(lossless ? "lossless" : "sequential", size,
                            {static_cast<uint8_t>(sampling >> 16)}) +
                     ", channels " + std::to_string(channels) + ", options " +
                     std::to_string(options);
          JPGHANDLE h = nullptr;
          CALL(jpgWritePrologToMemory, 0x4A500000U | options << 8, &h);
          setUp(h, sampling, channels);
          writeRows(h, size, channels, lossless);
          finish(h);
        }
      }
    }
    for (const int depth : {1, 4, 8, 16, 24, 32}) {
      picture_ = nameOf("bitmap", size, {}) + " depth " + std::to_string(depth);
      writeBitmap(static_cast<uint16_t>(depth), size);
    }
  }
}

Bytes exifStream() {
  const Bytes thumbnail = encode(pictureOf({17, 9}, {0x22, 0x11, 0x11}, Fill::kSmooth));
  TiffBuilder tiff(ByteOrder::kLittle);
  const uint32_t at = tiff.put(thumbnail);
  const auto length = static_cast<uint32_t>(thumbnail.size());
  const uint32_t first =
      tiff.putIfd({tiff.shortOf(259, 6), tiff.longOf(513, at), tiff.longOf(514, length)});
  tiff.putZeroth({tiff.shortOf(274, 1)}, first);
  return streamOf(tiff);
}

void Vectors::useEverything() {
  const Size size = {65, 33};
  const std::vector<uint8_t> layout = {0x21, 0x11, 0x11};
  const Bytes sequential = encode(pictureOf(size, layout, Fill::kSmooth));
  readAll("sequential", sequential);
  readAll("progressive",
          encodeProgressive(pictureOf(size, layout, Fill::kSparse), refiningScript(3)));
  readAll("lossless", losslessOf(size, 1, 8));
  readPieces(sequential);
  readThumbnail(exifStream());
  writeBitmap(24, size);
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, CALL(jpgWritePrologToMemory, uint32_t{0}, &h));
  writeRows(h, size, 1, true);
  finish(h);
  const TempFile file(sequential);
  const std::basic_string<JpgWChar> name = widePath(file.path());
  const int32_t whole = 0;
  ASSERT_RESULT(JPG_OK,
                CALL(jpgReadPrologFromFile, name.c_str(), whole, whole, uint32_t{0}, &handle_));
  readBands(16, 0);
  close();
  ASSERT_RESULT(JPG_OK, CALL(jpgWritePrologToFile, name.c_str(), uint32_t{0}, &h));
  setUp(h, 0x221111, 3);
  CALL(jpgWriteSetImageSize, h, uint32_t{size.width}, uint32_t{size.height});
  CALL(jpgWriteSetNoColorConversion, h);
  writeRows(h, size, 3, false);
  EXPECT_RESULT(JPG_OK, CALL(jpgWriteEpilogToFile, h));
  ASSERT_RESULT(JPG_OK, CALL(jpgWritePrologToMemory, JPG_WRITE_PARTIAL_BITSTREAM, &h));
  writeRows(h, size, 3, false);
  void *piece = nullptr;
  uint32_t bytes = 0;
  EXPECT_RESULT(JPG_OK, CALL(jpgWriteGetPartialBitstream, h, &piece, &bytes));
  CALL(jpgWriteFreeBitstream, piece);
  finish(h);
}

TEST_F(Vectors, AreLeftClearByEveryExportedFunction) {
  useEverything();
  const std::set<std::string> exported = {
#define EXPORT(name) #name,
#include "exports.inc"
#undef EXPORT
  };
  EXPECT_EQ(exported, called_);
}

}  // namespace
}  // namespace jpgtest
