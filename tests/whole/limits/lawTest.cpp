// SPDX-License-Identifier: MIT
// The resource law over pictures of every process, size and sampling: the heap's peak never
// exceeds what docs/robustness.md says.
#include <gtest/gtest.h>

#include "faulty.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"
#include "whole/limits/bombs.h"
#include "whole/limits/heapLaw.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

const std::vector<std::vector<uint8_t>> &samplings() {
  static const std::vector<std::vector<uint8_t>> all = {{0x11},
                                                        {0x22},
                                                        {0x11, 0x11, 0x11},
                                                        {0x22, 0x11, 0x11},
                                                        {0x12, 0x11},
                                                        {0x21, 0x11, 0x11},
                                                        {0x22, 0x22, 0x22, 0x22},
                                                        {0x11, 0x22, 0x12, 0x21}};
  return all;
}

Frame frameOf(const Picture &p, bool progressive) {
  return {p.width, p.height, static_cast<uint32_t>(p.components.size()), progressive, false};
}

// Decodes all of a picture and returns the heap's peak.
size_t peakOf(const Bytes &stream, const Picture &p, uint32_t flags = 0) {
  faulty::reset();
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(stream.size());
  EXPECT_RESULT(JPG_OK, jpgReadPrologFromMemory(stream.data(), size, flags, &h));
  Bytes row(size_t{4} * p.width);
  JpgRect rect = {};
  rect.width = p.width;
  rect.bitsPerPixel = 24;
  rect.bits = row.data();
  uint32_t process = 0;
  EXPECT_RESULT(JPG_OK, jpgReadGetCodingProcess(h, &process));
  const uint32_t r = process == JPG_PROCESS_PROGRESSIVE
                         ? jpgReadProgressiveToRect(h, &rect, p.height, 0)
                         : jpgReadToRect(h, &rect, p.height);
  EXPECT_RESULT(JPG_OK, r);
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
  EXPECT_EQ(0u, faulty::liveBlocks());
  return faulty::peakBytes();
}

TEST(ResourceLaw, BoundsReadersOfEverySamplingAndSize) {
  for (const std::vector<uint8_t> &sampling : samplings()) {
    for (const uint16_t side : {uint16_t{1}, uint16_t{17}, uint16_t{100}, uint16_t{333}}) {
      const Picture p = makePicture(side, static_cast<uint16_t>(side / 2 + 1), sampling);
      EXPECT_LE(peakOf(encode(p), p), readerBytes(frameOf(p, false)));
      const Bytes progressive = encodeProgressive(p, spectralScript(sampling.size()));
      EXPECT_LE(peakOf(progressive, p), readerBytes(frameOf(p, true)));
    }
  }
}

TEST(ResourceLaw, BoundsReadersWithOptionsToo) {
  for (const std::vector<uint8_t> &sampling : samplings()) {
    for (const uint16_t side : {uint16_t{1}, uint16_t{17}, uint16_t{100}, uint16_t{333}}) {
      const Picture p = makePicture(side, static_cast<uint16_t>(side / 2 + 1), sampling);
      const Bytes progressive = encodeProgressive(p, spectralScript(sampling.size()));
      EXPECT_EQ(peakOf(encode(p), p, JPG_READ_ACCURATE), peakOf(encode(p), p));
      EXPECT_LE(peakOf(encode(p), p, JPG_READ_SMOOTH),
                readerBytes(frameOf(p, false)) + planeBytes(frameOf(p, false)));
      EXPECT_LE(peakOf(progressive, p, JPG_READ_SMOOTH),
                readerBytes(frameOf(p, true)) + planeBytes(frameOf(p, true)));
    }
  }
}

TEST(ResourceLaw, BoundsReadersThatReadLeniently) {
  for (const std::vector<uint8_t> &sampling : samplings()) {
    for (const uint16_t side : {uint16_t{1}, uint16_t{17}, uint16_t{100}, uint16_t{333}}) {
      const Picture p = makePicture(side, static_cast<uint16_t>(side / 2 + 1), sampling);
      const uint64_t inOrder = lenientBytes(frameOf(p, false), false);
      const uint64_t stored = lenientBytes(frameOf(p, true), true);
      for (const uint32_t flags : {JPG_READ_LENIENT, JPG_READ_LENIENT | JPG_READ_SMOOTH}) {
        EXPECT_LE(peakOf(encode(p), p, flags), inOrder);
        EXPECT_LE(peakOf(encodeProgressive(p, spectralScript(sampling.size())), p, flags), stored);
      }
    }
  }
}

// Without subsampled components there are no planes.
TEST(ResourceLaw, OptionsTakeNothingWhereThereIsNothingToInterpolate) {
  const Picture p = makePicture(100, 40, {0x11, 0x11, 0x11});
  EXPECT_EQ(peakOf(encode(p), p, JPG_READ_SMOOTH), peakOf(encode(p), p));
}

// Eight tables with as many entries as there can be, replaced while a scan uses them.
TEST(ResourceLaw, BoundsTheLargestTables) {
  std::vector<uint8_t> symbols;
  for (unsigned i = 0; i < 256; i++) symbols.push_back(static_cast<uint8_t>(i));
  HuffTable largest;  // 255 codes of 11 bits and one of 16
  largest.counts[10] = 255;
  largest.counts[15] = 1;
  largest.values = symbols;
  StreamBuilder s;
  const auto tables = [&] {
    for (uint8_t id = 0; id < 4; id++)
      s.dht(id, largest).dht(static_cast<uint8_t>(0x10 | id), largest);
  };
  s.soi().dqt(0, flatQuant(1));
  tables();
  std::vector<FrameComponent> frame;
  std::vector<ScanComponent> scan;
  for (uint8_t i = 0; i < 4; i++) {
    frame.push_back({i, 0x11, 0});
    scan.push_back({i, static_cast<uint8_t>(i << 4 | i)});
  }
  s.sof(kSof0, 8, 16, 8, frame).dri(1).sos(scan).raw(Bytes(64, 0));
  tables();
  s.sos(scan).raw(Bytes(64, 0)).eoi();
  faulty::reset();
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(s.size());
  ASSERT_RESULT(JPG_OK, jpgReadPrologFromMemory(s.bytes().data(), size, 0, &h));
  const size_t once = faulty::peakBytes();
  Bytes row(64);
  JpgRect rect = {8, 0, 0, 24, 3, 8, row.data(), 0, 0};
  jpgReadToRect(h, &rect, 16);
  EXPECT_GT(once, size_t{8} * (255 * 32 + 1 + 4096));  // the look-up arrays alone
  EXPECT_LE(faulty::peakBytes(), readerBytes({8, 16, 4, false, false}));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(ResourceLaw, BoundsBitmapsOfFewerColours) {
  for (const uint16_t depth : {uint16_t{8}, uint16_t{16}}) {
    const Picture p = makePicture(300, 64, {0x22, 0x11, 0x11});
    const Bytes stream = encode(p);
    Bitmap bitmap = {};
    bitmap.header.biWidth = p.width;
    bitmap.header.biHeight = p.height;
    bitmap.header.biBitCount = depth;
    Bytes pixels(size_t{4} * p.width * p.height);
    faulty::reset();
    JPGHANDLE h = nullptr;
    const auto size = static_cast<int32_t>(stream.size());
    ASSERT_RESULT(JPG_OK, jpgReadPrologFromMemory(stream.data(), size, 0, &h));
    EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(h, p.height, pixels.data(),
                                             reinterpret_cast<BITMAPINFO *>(&bitmap)));
    const uint64_t more = reductionBytes(p.width, p.height);
    EXPECT_GE(faulty::peakBytes(), more);
    EXPECT_LE(faulty::peakBytes(), readerBytes(frameOf(p, false)) + more);
    EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
  }
}

TEST(ResourceLaw, BoundsAttributesAndTheirThumbnail) {
  const Picture thumbnail = makePicture(160, 120, {0x22, 0x11, 0x11}, Fill::kDcOnly);
  const Bytes jpeg = encode(thumbnail);
  TiffBuilder tiff(ByteOrder::kLittle);
  const uint32_t at = tiff.put(jpeg);
  const uint32_t first = tiff.putIfd({tiff.shortOf(259, 6), tiff.longOf(513, at),
                                      tiff.longOf(514, static_cast<uint32_t>(jpeg.size()))});
  tiff.putZeroth({}, first);
  const Bytes stream = streamOf(tiff);
  const auto size = static_cast<int32_t>(stream.size());
  Bitmap bitmap = {};
  bitmap.header.biBitCount = 24;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  Bytes pixels(size_t{3} * 160 * 120);
  faulty::reset();
  JPGHANDLE h = nullptr;
  JPGEXIFHANDLE exif = nullptr;
  ASSERT_RESULT(JPG_OK, jpgReadPrologFromMemory(stream.data(), size, 0, &h));
  ASSERT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(h, &exif));
  EXPECT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi));
  EXPECT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(exif, pixels.data(), bmi));
  const auto segment = static_cast<uint32_t>(tiff.bytes().size());
  EXPECT_LE(faulty::peakBytes(), readerBytes({16, 8, 1, false, false}) +
                                     readerBytes(frameOf(thumbnail, false)) +
                                     attributeBytes(segment));
  EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(exif));
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(h));
}

TEST(ResourceLaw, BoundsWriters) {
  for (const bool lossless : {false, true}) {
    for (const int32_t width : {1, 100, 1000}) {
      Bytes samples(size_t{3} * static_cast<uint32_t>(width) * 64);
      Random random(4);
      for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
      JpgRect rect = {width, 0, 3 * width, 24, 3, 8, samples.data(), 0, 0};
      faulty::reset();
      JPGHANDLE h = nullptr;
      ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
      EXPECT_RESULT(JPG_OK, lossless ? jpgWriteSpatialFromRect(h, &rect, 64)
                                     : jpgWriteFromRect(h, &rect, 64));
      void *data = nullptr;
      uint32_t size = 0;
      EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
      EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
      const Frame frame = {static_cast<uint32_t>(width), 0, 3, false, lossless};
      EXPECT_LE(faulty::peakBytes(), writerBytes(frame, size)) << width << " " << lossless;
      EXPECT_EQ(0u, faulty::liveBlocks());
    }
  }
}

TEST(ResourceLaw, BoundsWritersThatHoldTheirPictures) {
  for (uint32_t options = 1; options < 8; options++) {
    for (const bool lossless : {false, true}) {
      for (const int32_t width : {1, 100, 1000}) {
        for (const uint32_t lines : {1U, 64U, 1500U}) {
          Bytes samples(size_t{3} * static_cast<uint32_t>(width) * lines);
          Random random(4);
          for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
          JpgRect rect = {width, 0, 3 * width, 24, 3, 8, samples.data(), 0, 0};
          faulty::reset();
          JPGHANDLE h = nullptr;
          ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0x4A500000 | options << 8, &h));
          EXPECT_RESULT(JPG_OK, lossless ? jpgWriteSpatialFromRect(h, &rect, lines)
                                         : jpgWriteFromRect(h, &rect, lines));
          void *data = nullptr;
          uint32_t size = 0;
          EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
          EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
          const Frame frame = {static_cast<uint32_t>(width), 0, 3, false, lossless};
          const uint64_t held = (options & 6) != 0 ? heldBytes(frame, lines) : 0;
          EXPECT_LE(faulty::peakBytes(), writerBytes(frame, size) + held)
              << options << ", " << width << " x " << lines << ", lossless " << lossless;
          EXPECT_EQ(0u, faulty::liveBlocks());
        }
      }
    }
  }
}

}  // namespace
}  // namespace jpgtest
