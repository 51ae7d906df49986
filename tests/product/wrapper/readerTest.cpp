// SPDX-License-Identifier: MIT
// Reading through the C++ interface.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "jpg.hpp"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"

namespace {

using jpgtest::Bytes;
using jpgtest::operator+;

Bytes bytesOf(jpg::Span<const uint8_t> span) { return {span.begin(), span.end()}; }

jpg::Reader open(const Bytes &stream, uint32_t flags = 0) {
  jpg::Result<jpg::Reader> reader = jpg::Reader::memory(stream, flags);
  EXPECT_RESULT(JPG_OK, reader.code());
  return std::move(*reader);
}

struct Case {
  uint16_t width, height;
  std::vector<uint8_t> samplings;
  uint32_t channels;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  all.push_back({1, 1, {0x11}, 1});
  all.push_back({37, 70, {0x11}, 1});
  all.push_back({37, 70, {0x11, 0x11}, 1});
  all.push_back({33, 65, {0x22, 0x11, 0x11}, 3});
  all.push_back({40, 48, {0x11, 0x11, 0x11}, 3});
  all.push_back({19, 35, {0x11, 0x11, 0x11, 0x11}, 3});
  return all;
}

Bytes sequential(const Case &c) {
  return encode(jpgtest::makePicture(c.width, c.height, c.samplings));
}

Bytes progressive(const Case &c, const jpgtest::Script &script) {
  jpgtest::Picture picture = jpgtest::makePicture(c.width, c.height, c.samplings);
  picture.sof = jpgtest::kSof2;
  return encodeProgressive(picture, script);
}

// The same through the functions, in one call.
template <class F>
Bytes functionsGive(const Bytes &stream, uint32_t rowBytes, uint32_t rows, const F &decode) {
  Bytes pixels(size_t{rowBytes} * rows);
  JpgRect rect = {};
  rect.width = 65535;
  rect.stride = static_cast<int32_t>(rowBytes);
  rect.bits = pixels.data();
  const jpgtest::Reader reader = jpgtest::Reader::ofMemory(stream);
  EXPECT_RESULT(JPG_OK, decode(reader.handle(), &rect));
  return pixels;
}

Bytes sequentialPixels(const Bytes &stream, const Case &c) {
  return functionsGive(stream, c.width * c.channels, c.height, [&](JPGHANDLE h, JpgRect *rect) {
    rect->width = c.width;
    return jpgReadToRect(h, rect, c.height);
  });
}

Bytes progressivePixels(const Bytes &stream, const Case &c) {
  return functionsGive(stream, c.width * c.channels, c.height, [&](JPGHANDLE h, JpgRect *rect) {
    rect->width = c.width;
    return jpgReadProgressiveToRect(h, rect, c.height, JPG_PROGRESSIVE_ALL_SCANS);
  });
}

TEST(Reader, TellsWhatTheFrameSays) {
  for (const Case &c : cases()) {
    jpg::Reader reader = open(sequential(c));
    const auto info = reader.info();
    ASSERT_TRUE(info.ok());
    EXPECT_EQ(info->process, JPG_PROCESS_BASELINE);
    EXPECT_FALSE(info->progressive() || info->lossless());
    EXPECT_EQ(info->width, c.width);
    EXPECT_EQ(info->height, c.height);
    EXPECT_EQ(info->components, c.samplings.size());
    EXPECT_EQ(info->precision, 8U);
    EXPECT_EQ(reader.layout()->channels, c.channels);
    EXPECT_EQ(reader.layout()->bytes(), uint64_t{c.width} * c.height * c.channels);
    EXPECT_RESULT(JPG_OK, reader.close().code());
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, reader.info().code());
  }
}

TEST(Reader, DecodesSequentialImages) {
  for (const Case &c : cases()) {
    const Bytes stream = sequential(c);
    const auto picture = open(stream).decode();
    ASSERT_RESULT(JPG_OK, picture.code());
    EXPECT_EQ(bytesOf(picture->samples()), sequentialPixels(stream, c));
    EXPECT_EQ(picture->row(c.height - 1U).end(), picture->samples().end());
  }
}

TEST(Reader, DecodesAFlatPictureToItsGrey) {
  // DC 8 n is n levels above 128 (T.81 A.3.3: the DC term is 8 times the mean).
  const Bytes stream = encode(jpgtest::grayPicture({jpgtest::dcBlock(8 * 50)}));
  const auto picture = open(stream).decode();
  ASSERT_RESULT(JPG_OK, picture.code());
  EXPECT_EQ(bytesOf(picture->samples()), Bytes(64, 178));
}

TEST(Reader, DecodesFromAFileAndItsPart) {
  const Case c = cases().back();
  const Bytes stream = sequential(c);
  const jpgtest::TempFile file(Bytes(100, 0xEE) + stream + Bytes(50, 0xEE));
  jpg::FileRange range;
  range.start = 100;
  range.length = static_cast<int32_t>(stream.size());
  auto reader = jpg::Reader::file(file.path().c_str(), JPG_READ_COMPLETE, range);
  ASSERT_RESULT(JPG_OK, reader.code());
  EXPECT_EQ(bytesOf(reader->decode()->samples()), sequentialPixels(stream, c));
  EXPECT_RESULT(JPG_E_NOT_JPEG, jpg::Reader::file(file.path().c_str(), jpg::kStrict).code());
  EXPECT_RESULT(JPG_E_OPEN_FAILED, jpg::Reader::file("/no/such/file.jpg", jpg::kStrict).code());
}

TEST(Reader, DecodesProgressiveImages) {
  for (const Case &c : cases()) {
    const Bytes stream = progressive(c, jpgtest::refiningScript(c.samplings.size()));
    const auto picture = open(stream).decode();
    ASSERT_RESULT(JPG_OK, picture.code());
    EXPECT_EQ(bytesOf(picture->samples()), progressivePixels(stream, c));
  }
}

TEST(Reader, ShowsAProgressiveImageScanByScan) {
  for (const Case &c : cases()) {
    const jpgtest::Script script = jpgtest::refiningScript(c.samplings.size());
    const Bytes stream = progressive(c, script);
    jpg::Reader reader = open(stream);
    auto picture = reader.blank();
    ASSERT_RESULT(JPG_OK, picture.code());
    size_t scans = 0;
    jpg::Status status = reader.nextScan(*picture);
    for (; status.ok(); status = reader.nextScan(*picture)) scans++;
    EXPECT_RESULT(JPG_NO_DATA, status.code());
    EXPECT_EQ(scans, script.size());
    EXPECT_EQ(bytesOf(picture->samples()), progressivePixels(stream, c));
  }
}

// All bands, one below the other.
Bytes bandsOf(jpg::Reader reader, uint32_t rows, uint32_t expectedRows, jpg::Scale scale) {
  Bytes pixels;
  auto bands = reader.bands(rows, scale);
  EXPECT_RESULT(JPG_OK, bands.code());
  uint32_t top = 0;
  auto band = bands->next();
  for (; band.ok(); band = bands->next()) {
    EXPECT_EQ(band->top, top);
    EXPECT_EQ(band->rows, std::min(expectedRows, bands->layout().height - top));
    EXPECT_EQ(band->row(band->rows - 1).end(), band->pixels.end());
    pixels = pixels + bytesOf(band->pixels);
    top += band->rows;
  }
  EXPECT_RESULT(JPG_NO_DATA, band.code());
  EXPECT_EQ(top, bands->layout().height);
  return pixels;
}

TEST(Reader, BandsAreThePicture) {
  const std::pair<uint32_t, uint32_t> heights[] = {{0, 16},  {1, 16},  {16, 16},
                                                   {17, 32}, {64, 64}, {1000000, 65536}};
  for (const Case &c : cases()) {
    const Bytes one = sequential(c),
                two = progressive(c, jpgtest::spectralScript(c.samplings.size()));
    for (const auto &[asked, given] : heights) {
      EXPECT_EQ(bandsOf(open(one), asked, given, jpg::Scale::kFull), sequentialPixels(one, c));
      EXPECT_EQ(bandsOf(open(two), asked, given, jpg::Scale::kFull), progressivePixels(two, c));
    }
  }
}

TEST(Reader, DecodesScaled) {
  const std::pair<jpg::Scale, uint32_t> scales[] = {{jpg::Scale::kEighth, 8},
                                                    {jpg::Scale::kQuarter, 4},
                                                    {jpg::Scale::kHalf, 2},
                                                    {jpg::Scale::kFull, 1}};
  for (const Case &c : cases()) {
    const Bytes stream = sequential(c);
    for (const auto &entry : scales) {
      const jpg::Scale scale = entry.first;
      const uint32_t by = entry.second;
      const uint32_t width = (c.width + by - 1) / by, height = (c.height + by - 1) / by;
      const Bytes pixels =
          functionsGive(stream, width * c.channels, height, [&](JPGHANDLE h, JpgRect *rect) {
            rect->width = static_cast<int32_t>(width);
            return jpgReadScaleOutputToRect(h, rect, static_cast<int32_t>(height),
                                            static_cast<int32_t>(scale));
          });
      const auto picture = open(stream).decodeScaled(scale);
      ASSERT_RESULT(JPG_OK, picture.code());
      EXPECT_EQ(picture->width(), width);
      EXPECT_EQ(picture->height(), height);
      EXPECT_EQ(bytesOf(picture->samples()), pixels);
      EXPECT_EQ(bandsOf(open(stream), 16, 16, scale), pixels);
    }
  }
}

TEST(Reader, DeliversComponentsAsTheyAre) {
  for (const Case &c : cases()) {
    const Bytes stream = sequential(c);
    jpg::Reader reader = open(stream);
    ASSERT_RESULT(JPG_OK, reader.keepComponents().code());
    const auto picture = reader.decode();
    ASSERT_RESULT(JPG_OK, picture.code());
    const auto count = static_cast<uint32_t>(c.samplings.size());
    EXPECT_EQ(picture->layout().channels, count);
    EXPECT_EQ(bytesOf(picture->samples()),
              functionsGive(stream, c.width * count, c.height, [&](JPGHANDLE h, JpgRect *rect) {
                rect->width = c.width;
                rect->bitsPerPixel = static_cast<int32_t>(8 * count);
                EXPECT_RESULT(JPG_OK, jpgReadSetNoColorConversion(h));
                return jpgReadToRect(h, rect, c.height);
              }));
  }
}

TEST(Reader, KeepsWhatCameAheadOfDamage) {
  // A frame of 32 rows whose data end after 16.
  Bytes stream = encode(jpgtest::grayPicture({jpgtest::dcBlock(-800)}));  // 128 - 100
  const uint8_t sof[] = {0xFF, 0xC0};
  const auto frame = std::search(stream.begin(), stream.end(), sof, sof + 2);
  ASSERT_NE(frame, stream.end());
  frame[6] = 32;  // low byte of the height
  EXPECT_TRUE(open(stream).decode().status().damaged());

  jpg::Reader reader = open(stream);
  auto picture = reader.blank();
  ASSERT_TRUE(picture.ok());
  ASSERT_EQ(picture->height(), 32U);
  EXPECT_TRUE(reader.decode(*picture).damaged());
  EXPECT_EQ(bytesOf(picture->samples()), Bytes(64, 28) + Bytes(192, 0));
}

// A stream whose frame header leaves the height open, and the same one with it.
struct TwoStreams {
  Bytes open, told;
};

TwoStreams sequentialOf(uint16_t height, uint16_t restartInterval) {
  jpgtest::Picture picture = jpgtest::makePicture(37, height, {0x22, 0x11, 0x11});
  picture.restartInterval = restartInterval;
  TwoStreams streams;
  streams.told = encode(picture);
  picture.heightByDnl = true;
  streams.open = encode(picture);
  return streams;
}

Bytes losslessOf(int32_t height, int32_t rows, int32_t restartInterval) {
  std::vector<uint16_t> samples(size_t{21} * 3 * static_cast<size_t>(rows));
  jpgtest::Random random(7);
  for (uint16_t &sample : samples) sample = static_cast<uint16_t>(random.between(0, 4095));
  JpgRect rect = {21, height, 21 * 6, 48, 3, 12, samples.data(), 0, 0};
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
  EXPECT_RESULT(JPG_OK, jpgWriteSetSpatialPredictor(h, 6));
  EXPECT_RESULT(JPG_OK, jpgWriteSetRestartInterval(h, restartInterval));
  EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, static_cast<uint32_t>(rows)));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const jpg::Bytes stream(data, size);
  return {stream.data(), stream.data() + stream.size()};
}

Bytes bandsOf(jpg::Reader *reader, uint32_t rows) {
  Bytes pixels;
  auto bands = reader->bands(rows);
  EXPECT_RESULT(JPG_OK, bands.code());
  auto band = bands->next();
  for (; band.ok(); band = bands->next()) pixels = pixels + bytesOf(band->pixels);
  EXPECT_RESULT(JPG_NO_DATA, band.code());
  return pixels;
}

void expectSamePicture(const TwoStreams &streams, uint32_t height) {
  const auto whole = open(streams.told).decode();
  ASSERT_TRUE(whole.ok());
  ASSERT_EQ(whole->height(), height);
  const Bytes expected = bytesOf(whole->samples());
  const jpgtest::TempFile file(streams.open);
  for (int from = 0; from < 2; from++) {
    const auto reader = [&] {
      return from == 0 ? open(streams.open)
                       : std::move(*jpg::Reader::file(file.path().c_str(), jpg::kStrict));
    };
    EXPECT_EQ(reader().info()->height, height);
    const auto picture = reader().decode();
    EXPECT_RESULT(JPG_OK, picture.code());
    EXPECT_EQ(bytesOf(picture->samples()), expected);
    jpg::Reader banded = reader();
    EXPECT_EQ(bandsOf(&banded, 16), expected);
  }
}

TEST(Reader, AHeightThatADnlSegmentTellsIsTheHeight) {
  for (const uint16_t height : std::vector<uint16_t>{1, 16, 17, 70}) {
    for (const uint16_t interval : std::vector<uint16_t>{0, 1, 3}) {
      SCOPED_TRACE(std::to_string(height) + ", interval " + std::to_string(interval));
      expectSamePicture(sequentialOf(height, interval), height);
    }
    for (const int32_t interval : {0, 21, 63}) {
      SCOPED_TRACE("lossless " + std::to_string(height) + ", " + std::to_string(interval));
      expectSamePicture({losslessOf(0, height, interval), losslessOf(height, height, interval)},
                        height);
    }
  }
}

TEST(Reader, AFileThatBeginsInsideAnotherMayLeaveItsHeightOpenToo) {
  const TwoStreams streams = sequentialOf(30, 0);
  const jpgtest::TempFile file(Bytes(99, 0xFF) + streams.open);
  const auto reader = jpg::Reader::file(file.path().c_str(), JPG_READ_COMPLETE, {99, 0});
  ASSERT_TRUE(reader.ok());
  EXPECT_EQ(reader->info()->height, 30U);
}

TEST(Reader, AHeightThatNothingTellsIsNotServed) {
  const Bytes whole = sequentialOf(30, 3).open;
  const Bytes bare = Bytes(whole.begin(), whole.end() - 8) + Bytes{0xFF, 0xD9};
  const Bytes wrong =
      Bytes(whole.begin(), whole.end() - 8) + Bytes{0xFF, 0xDC, 0, 5, 0, 30, 0} + Bytes{0xFF, 0xD9};
  const Bytes zero = Bytes(whole.begin(), whole.end() - 3) + Bytes{0, 0xFF, 0xD9};
  jpgtest::Picture picture = jpgtest::makePicture(16, 16, {0x11});
  picture.sof = jpgtest::kSof2;
  Bytes progressive = encodeProgressive(picture, jpgtest::spectralScript(1));
  const uint8_t sof[] = {0xFF, 0xC2};
  const auto frame = std::search(progressive.begin(), progressive.end(), sof, sof + 2);
  frame[6] = 0;                                 // low byte of the height
  const Bytes dnl = {0xFF, 0xDC, 0, 4, 0, 16};  // a progressive picture takes none
  progressive.insert(progressive.end() - 2, dnl.begin(), dnl.end());
  ASSERT_EQ(Bytes(whole.end() - 8, whole.end()), Bytes({0xFF, 0xDC, 0, 4, 0, 30, 0xFF, 0xD9}));
  for (const Bytes &stream : {bare, wrong, zero, progressive}) {
    jpg::Reader reader = open(stream);
    EXPECT_EQ(reader.info()->height, 0U);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, reader.decode().code());
    EXPECT_RESULT(JPG_E_UNSUPPORTED, reader.bands().code());
    EXPECT_RESULT(JPG_E_UNSUPPORTED, reader.decodeScaled(jpg::Scale::kHalf).code());
  }
}

TEST(Reader, AStreamCutAnywhereTellsAHeightOnlyWithItsSegment) {
  const Bytes whole = sequentialOf(30, 3).open;
  for (size_t size = 1; size < whole.size(); size++) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    const auto reader = jpg::Reader::memory(cut, JPG_READ_COMPLETE);
    if (!reader) continue;
    EXPECT_EQ(reader->info()->height, size < whole.size() - 2 ? 0U : 30U) << size;
  }
}

TEST(Reader, WalksSegments) {
  jpgtest::Picture picture = jpgtest::makePicture(8, 8, {0x11});
  picture.before = jpgtest::StreamBuilder().jfif().com("hello").bytes();
  const Bytes stream = encode(picture);
  jpg::Reader reader = open(stream);
  auto segment = reader.firstSegment();
  ASSERT_TRUE(segment.ok());
  EXPECT_EQ(segment->marker, 0xFFE0);
  EXPECT_EQ(segment->length, 14U);
  segment = reader.nextSegment();
  EXPECT_EQ(segment->marker, 0xFFFE);
  uint8_t text[3];
  EXPECT_EQ(*reader.readSegment(text), 3U);
  EXPECT_EQ(std::string(text, text + 3), "hel");
  EXPECT_EQ(*reader.readSegment(text), 2U);
  EXPECT_RESULT(JPG_NO_DATA, reader.readSegment(text).code());
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, reader.readSegment({text, 0}).code());
  EXPECT_RESULT(JPG_OK, reader.decode().code());
}

TEST(Reader, SeeksRestartIntervals) {
  jpgtest::Picture source = jpgtest::makePicture(16, 64, {0x11}, jpgtest::Fill::kDcOnly);
  source.restartInterval = 2;  // one row of blocks
  const Bytes stream = encode(source);
  const auto whole = open(stream).decode();
  jpg::Reader reader = open(stream);
  ASSERT_RESULT(JPG_OK, reader.seekRestart(5).code());
  uint8_t rows[16 * 16];
  ASSERT_RESULT(JPG_OK, reader.read(*jpg::rectOver(rows, jpg::Layout{16, 16, 1, 8}), 16).code());
  EXPECT_EQ(bytesOf(rows), Bytes(whole->row(40).begin(), whole->row(56).begin()));
}

TEST(Reader, TakesPieces) {
  jpgtest::Picture source = jpgtest::makePicture(16, 32, {0x11}, jpgtest::Fill::kDcOnly);
  source.restartInterval = 4;  // two rows of blocks
  const auto whole = open(encode(source)).decode();
  source.restartInterval = 0;
  const Bytes head = headersOf(source).bytes();
  source.restartInterval = 4;
  const std::vector<Bytes> pieces = intervalsOf(source);
  ASSERT_EQ(pieces.size(), 2U);
  jpg::Reader reader = open(head, JPG_READ_PARTIAL_BITSTREAM);
  uint8_t rows[16 * 32];
  for (size_t i = 0; i < 2; i++) {
    ASSERT_RESULT(JPG_OK, reader.setPiece(pieces[i]).code());
    const jpg::Span<uint8_t> half(rows + i * 256, 256);
    ASSERT_RESULT(JPG_OK, reader.read(*jpg::rectOver(half, jpg::Layout{16, 16, 1, 8}), 16).code());
  }
  EXPECT_EQ(bytesOf(rows), bytesOf(whole->samples()));
}

TEST(Reader, ABitmapHasThePictureLowestRowFirst) {
  for (const Case &c : cases()) {
    for (const bool isProgressive : {false, true}) {
      const Bytes stream = isProgressive
                               ? progressive(c, jpgtest::spectralScript(c.samplings.size()))
                               : sequential(c);
      const auto bitmap = open(stream).bitmap(c.channels == 1 ? 8 : 24);
      if (c.samplings.size() == 2) {  // neither grey nor colour to a bitmap
        EXPECT_FALSE(bitmap.ok());
        continue;
      }
      if (c.samplings.size() == 4 && !bitmap.ok()) continue;
      ASSERT_RESULT(JPG_OK, bitmap.code());
      const auto picture = open(stream).decode();
      ASSERT_EQ(bitmap->width(), c.width);
      ASSERT_EQ(bitmap->height(), c.height);
      const size_t stride = (c.width * c.channels + 3U) / 4 * 4;
      ASSERT_EQ(bitmap->bits().size(), stride * c.height);
      for (uint32_t y = 0; y < c.height; y++) {
        const jpg::Span<const uint8_t> row(bitmap->bits().data() + stride * (c.height - 1U - y),
                                           size_t{c.width} * c.channels);
        ASSERT_EQ(bytesOf(row), bytesOf(picture->row(y))) << y;
        ASSERT_EQ(bitmap->row(y).data(), row.data());
      }
    }
  }
}

TEST(Exif, GivesTheThumbnailAfterTheReaderIsClosed) {
  jpgtest::TiffBuilder tiff(jpgtest::ByteOrder::kBig);
  const uint32_t at = tiff.put({10, 20, 30, 40, 50, 60});  // two pixels: red, green, blue
  std::vector<jpgtest::TiffEntry> entries;
  entries.push_back(tiff.longOf(256, 2));
  entries.push_back(tiff.longOf(257, 1));
  entries.push_back(tiff.shortOf(259, 1));
  entries.push_back(tiff.shortOf(262, 2));
  entries.push_back(tiff.longOf(273, at));
  entries.push_back(tiff.longOf(279, 6));
  tiff.putZeroth({}, tiff.putIfd(entries));
  const auto exif = open(streamOf(tiff)).exif();
  ASSERT_RESULT(JPG_OK, exif.code());
  const auto bitmap = exif->thumbnail();
  ASSERT_RESULT(JPG_OK, bitmap.code());
  EXPECT_EQ(bitmap->width(), 2U);
  EXPECT_EQ(bitmap->height(), 1U);
  const Bytes row = bytesOf(bitmap->row(0));
  EXPECT_EQ(Bytes(row.begin(), row.begin() + 6), (Bytes{30, 20, 10, 60, 50, 40}));
  EXPECT_RESULT(JPG_E_NOT_JPEG, open(sequential(cases().front())).exif().code());
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::Exif().thumbnail().code());
}

}  // namespace
