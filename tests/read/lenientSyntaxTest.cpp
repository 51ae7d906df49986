// SPDX-License-Identifier: MIT
// Lenient reading: headers and data that break the rules without loss of a pixel.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "read/lenient.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

// A picture of 5 x 3 MCUs, its headers up to the first SOS, and its pixels by the usual reader.
struct Sample {
  Picture picture = makePicture(75, 40, {0x22, 0x11, 0x11}, Fill::kSmooth, 21);
  Bytes pixels = show(encode(picture), 3, 0).pixels;
  Bytes headers = headersOf(picture).bytes();
  Bytes data = scanOf(picture);
};

const Bytes kEoiBytes = {0xFF, kEoi};

void expectPixels(const Sample &sample, const Bytes &stream) {
  const Shown shown = show(stream, 3);
  ASSERT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(sample.pixels, shown.pixels);
}

// The offsets of the headers' segments behind SOI.
std::vector<size_t> segmentsOf(const Bytes &headers) {
  std::vector<size_t> offsets;
  for (size_t i = 2; i < headers.size();
       i += 2U + static_cast<size_t>(headers[i + 2] << 8 | headers[i + 3])) {
    offsets.push_back(i);
  }
  return offsets;
}

Bytes inserted(const Bytes &bytes, size_t at, const Bytes &more) {
  Bytes out(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(at));
  append(out, more);
  out.insert(out.end(), bytes.begin() + static_cast<ptrdiff_t>(at), bytes.end());
  return out;
}

TEST(LenientSyntax, AStreamWithoutEoiIsReadWhole) {
  const Sample sample;
  EXPECT_RESULT(JPG_E_NOT_JPEG, show(sample.headers + sample.data, 3, 0).result);
  expectPixels(sample, sample.headers + sample.data);
  const TempFile file(sample.headers + sample.data);
  EXPECT_RESULT(JPG_OK, Reader::ofFile(file.path(), 0, 0, JPG_READ_LENIENT).result());
}

TEST(LenientSyntax, DataBehindEoiAreNotLookedAt) {
  const Sample sample;
  const Bytes more = encode(makePicture(9, 9, {0x11}));
  expectPixels(sample, sample.headers + sample.data + kEoiBytes + more);
  // Nor do they serve as further scans of a picture that needs some.
  const Bytes parted = encodeInScans(sample.picture, {{0}, {1}, {2}});
  const Shown shown = show(parted + more, 3);
  EXPECT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(sample.pixels, shown.pixels);
}

TEST(LenientSyntax, FillBytesMayStandAheadOfAnyMarker) {
  Sample sample;
  sample.picture.restartInterval = 4;
  Bytes stream;
  for (const uint8_t byte : encode(sample.picture)) {
    const bool marker = !stream.empty() && stream.back() == 0xFF && byte != 0 && stream.size() > 1;
    if (marker) append(stream, {0xFF, 0xFF});
    stream.push_back(byte);
  }
  expectPixels(sample, stream);
}

// Quantisation tables of bytes and of words.
TEST(LenientSyntax, StrayBytesBetweenSegmentsArePassedOver) {
  Bytes all;
  for (unsigned i = 0; i < 256; i++) all.push_back(static_cast<uint8_t>(i));
  Sample sample;
  for (const bool words : {false, true}) {
    sample.picture.wideQuant = words;
    const Bytes headers = headersOf(sample.picture).bytes();
    for (const Bytes &stray : {Bytes{0}, Bytes{1, 2, 3}, Bytes{0xFF, 0}, Bytes{0xC4, 0xFF}, all}) {
      for (const size_t at : segmentsOf(headers)) {
        SCOPED_TRACE(at);
        expectPixels(sample, inserted(headers, at, stray) + sample.data + kEoiBytes);
      }
    }
  }
}

TEST(LenientSyntax, StrayBytesBetweenAllSegmentsArePassedOver) {
  const Sample sample;
  Bytes headers = sample.headers;
  const std::vector<size_t> segments = segmentsOf(headers);
  for (size_t i = segments.size(); i-- > 0;) {
    headers = inserted(headers, segments[i], {7, 8, 9, 10, 11});
  }
  expectPixels(sample, headers + sample.data + kEoiBytes);
}

TEST(LenientSyntax, WrongLengthsOfCommentsAndApplicationDataAreFoundOut) {
  const Sample sample;
  const Bytes text(20, 'x');
  for (const uint8_t marker : {kCom, kApp0, kApp1, kApp14}) {
    for (const uint16_t length : Words{0, 1, 2, 3, 10, 21, 23, 24, 30, 60, 300, 900, 0xFFFF}) {
      SCOPED_TRACE(std::to_string(marker) + " of length " + std::to_string(length));
      const Bytes wrong = StreamBuilder().segmentOfLength(marker, length, text).bytes();
      for (const size_t at : segmentsOf(sample.headers)) {
        SCOPED_TRACE(at);
        expectPixels(sample, inserted(sample.headers, at, wrong) + sample.data + kEoiBytes);
      }
    }
  }
}

TEST(LenientSyntax, MoreStrayPlacesThanAFileMayHaveAreRefused) {
  const Sample sample;
  const auto withStrays = [&](unsigned count) {
    StreamBuilder s;
    for (unsigned i = 0; i < count; i++) s.com("x").raw({1, 2, 3});
    return show(inserted(sample.headers, 2, s.bytes()) + sample.data + kEoiBytes, 3).result;
  };
  EXPECT_RESULT(JPG_OK, withStrays(100));
  EXPECT_RESULT(JPG_E_NOT_JPEG, withStrays(101));
}

TEST(LenientSyntax, FillBytesAheadOfMarkersAreNoStrayPlaces) {
  const Sample sample;
  StreamBuilder s;
  for (unsigned i = 0; i < 150; i++) s.raw({0xFF, 0xFF, 0xFF}).com("x");
  expectPixels(sample, inserted(sample.headers, 2, s.bytes()) + sample.data + kEoiBytes);
}

// A picture whose EOI stands so many bytes behind SOI, with a segment that makes YCbCr RGB.
Bytes strayPicture(size_t eoi) {
  Bytes out = {0xFF, kSoi, 0xFF, kApp14, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};
  out.resize(eoi, 0);
  return out + kEoiBytes;
}

// Beyond that, what is inside counts.
TEST(LenientSyntax, AStrayPictureThatASegmentHasRoomForIsPassedOver) {
  const Sample sample;
  const auto with = [&](const Bytes &picture) {
    return inserted(sample.headers, 2, Bytes{1} + picture) + sample.data + kEoiBytes;
  };
  expectPixels(sample, with(strayPicture(18)));
  expectPixels(sample, with(strayPicture(0xFFFE)));
  EXPECT_NE(sample.pixels, show(with(strayPicture(0xFFFF)), 3).pixels);
  Bytes thousand;
  for (unsigned i = 0; i < 1000; i++) append(thousand, strayPicture(18));
  expectPixels(sample, with(thousand));
  EXPECT_NE(sample.pixels, show(with(thousand + strayPicture(18)), 3).pixels);
}

// What looks like a marker among stray bytes, and isn't one.
TEST(LenientSyntax, StrayBytesMayLookLikeMarkers) {
  const Sample sample;
  for (const Bytes &stray :
       {Bytes{9, 0xFF, kDht, 0, 5, 0, 0}, Bytes{9, 0xFF, kDht, 0, 30, 0x77},
        Bytes{9, 0xFF, kDqt, 0, 9}, Bytes{9, 0xFF, kSof0, 0, 9}, Bytes{9, 0xFF, kSos, 0, 9},
        Bytes{9, 0xFF, kDri, 0, 9}, Bytes{9, 0xFF, kSoi, 3, 4}, Bytes{9, 0xFF, kCom, 0, 1}}) {
    const size_t at = segmentsOf(sample.headers)[1];
    expectPixels(sample, inserted(sample.headers, at, stray) + sample.data + kEoiBytes);
  }
}

TEST(LenientSyntax, AWrongLengthIsFoundOutThoughTheSegmentHoldsWhatLooksLikeSegments) {
  const Sample sample;
  Bytes text(20, 'x');
  for (const Bytes &odd : {Bytes{0xFF, kDqt, 0, 1}, Bytes{0xFF, kSoi, 1, 2}}) append(text, odd);
  const Bytes wrong = StreamBuilder().segmentOfLength(kApp1, 300, text).bytes();
  expectPixels(sample, inserted(sample.headers, 2, wrong) + sample.data + kEoiBytes);
}

TEST(LenientSyntax, PicturesWithoutAnEndInStrayBytesDontCostMuch) {
  const Sample sample;
  Bytes stray = {9};
  for (unsigned i = 0; i < 3000; i++) append(stray, {0xFF, kSoi, 0xFF, 0});
  stray.insert(stray.end(), 70000, uint8_t{7});
  expectPixels(sample, inserted(sample.headers, segmentsOf(sample.headers)[1], stray) +
                           sample.data + kEoiBytes);
}

TEST(LenientSyntax, ATableThatAnnexKDoesntHaveIsMissing) {
  Picture picture = makePicture(16, 16, {0x11}, Fill::kSmooth, 23);
  picture.components[0].td = picture.components[0].ta = 2;
  picture.dc[2] = picture.dc[0];
  picture.ac[2] = picture.ac[0];
  const Bytes headers = headersOf(picture).bytes();
  EXPECT_RESULT(JPG_OK, show(headers + scanOf(picture), 1).result);
  Bytes without = {0xFF, kSoi};
  const std::vector<size_t> segments = segmentsOf(headers);
  for (size_t i = 0; i < segments.size(); i++) {
    const size_t end = i + 1 < segments.size() ? segments[i + 1] : headers.size();
    if (headers[segments[i] + 1] == kDht) continue;
    without.insert(without.end(), headers.begin() + static_cast<ptrdiff_t>(segments[i]),
                   headers.begin() + static_cast<ptrdiff_t>(end));
  }
  EXPECT_RESULT(JPG_E_DAMAGED, show(without + scanOf(picture), 1).result);
}

TEST(LenientSyntax, APictureInsideOfASegmentOfWrongLengthIsNotTaken) {
  const Sample sample;
  const Bytes thumbnail = encode(makePicture(16, 16, {0x11, 0x11, 0x11}, Fill::kSmooth, 3));
  const auto length = static_cast<uint16_t>(thumbnail.size() + 2);
  for (const int wrong : {-40, -9, 5, 50}) {
    SCOPED_TRACE(wrong);
    const Bytes segment =
        StreamBuilder()
            .segmentOfLength(kApp1, static_cast<uint16_t>(length + wrong), thumbnail)
            .bytes();
    const Bytes stream = inserted(sample.headers, 2, segment) + sample.data + kEoiBytes;
    if (wrong > 0) expectPixels(sample, stream);
    const Shown shown = show(stream, 3);
    if (shown.result == JPG_OK) {
      EXPECT_EQ(75U, shown.width);
    }
  }
}

TEST(LenientSyntax, MissingHuffmanTablesAreThoseOfAnnexK) {
  Picture picture = makePicture(75, 40, {0x22, 0x11, 0x11}, Fill::kSmooth, 22);
  useAnnexKTables(picture);
  const Bytes whole = encode(picture);
  const Bytes pixels = show(whole, 3, 0).pixels;
  Bytes without;
  const Bytes headers = headersOf(picture).bytes();
  std::vector<size_t> segments = segmentsOf(headers);
  append(without, {0xFF, kSoi});
  for (size_t i = 0; i < segments.size(); i++) {
    const size_t end = i + 1 < segments.size() ? segments[i + 1] : headers.size();
    if (headers[segments[i] + 1] == kDht) continue;
    without.insert(without.end(), headers.begin() + static_cast<ptrdiff_t>(segments[i]),
                   headers.begin() + static_cast<ptrdiff_t>(end));
  }
  const Shown shown = show(without + scanOf(picture) + kEoiBytes, 3);
  ASSERT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(pixels, shown.pixels);
}

TEST(LenientSyntax, MoreHuffmanTablesThanTheRecordHoldsMayComeAheadOfAScan) {
  Sample sample;
  StreamBuilder tables;
  for (unsigned i = 0; i < 20; i++) tables.dht(0x03, sample.picture.dc[0]);
  expectPixels(sample, inserted(sample.headers, 2, tables.bytes()) + sample.data + kEoiBytes);
}

// ---- Restart markers --------------------------------------------------------

struct Restarted : Sample {
  explicit Restarted(uint16_t interval) {
    picture.restartInterval = interval;
    headers = headersOf(picture).bytes();
    intervals = intervalsOf(picture);
  }
  std::vector<Bytes> intervals;

  // The stream with the markers given by their numbers; -1: none.
  Bytes with(const std::vector<std::vector<int>> &markers) const {
    StreamBuilder s;
    s.raw(headers);
    for (size_t i = 0; i < intervals.size(); i++) {
      s.raw(intervals[i]);
      if (i + 1 == intervals.size()) break;
      for (const int n : markers[i]) {
        if (n >= 0) s.rst(static_cast<unsigned>(n));
      }
    }
    return s.eoi().bytes();
  }

  std::vector<std::vector<int>> rightMarkers() const {
    std::vector<std::vector<int>> markers;
    for (size_t i = 0; i + 1 < intervals.size(); i++) markers.push_back({static_cast<int>(i % 8)});
    return markers;
  }
};

TEST(LenientRestarts, MarkersMayBeDoubled) {
  const Restarted sample(2);
  auto markers = sample.rightMarkers();
  for (std::vector<int> &m : markers) m = {m[0], m[0], m[0]};
  expectPixels(sample, sample.with(markers));
}

TEST(LenientRestarts, MarkersThatStandInPlaceMayCountInAnyWay) {
  const Restarted sample(2);
  auto markers = sample.rightMarkers();
  for (std::vector<int> &m : markers) m = {0};
  expectPixels(sample, sample.with(markers));
  for (size_t i = 0; i < markers.size(); i++) markers[i] = {static_cast<int>((i + 5) % 8)};
  expectPixels(sample, sample.with(markers));
}

TEST(LenientRestarts, MarkersMayBeMissing) {
  const Restarted sample(2);
  for (size_t missing = 0; missing + 1 < sample.intervals.size(); missing++) {
    SCOPED_TRACE(missing);
    auto markers = sample.rightMarkers();
    markers[missing] = {-1};
    expectPixels(sample, sample.with(markers));
  }
}

TEST(LenientRestarts, AMissingMarkerAheadOfBrokenDataIsNotGuessed) {
  Restarted sample(2);
  auto markers = sample.rightMarkers();
  markers[1] = {-1};
  for (Bytes &interval : sample.intervals) {
    if (&interval == &sample.intervals[2]) interval.assign(interval.size(), 0x7E);
  }
  EXPECT_RESULT(JPG_E_DAMAGED, show(sample.with(markers), 3).result);
}

TEST(LenientRestarts, AMarkerInPlaceWhoseNumberLeadsBehindTheEndCountsAsTheNext) {
  const Restarted sample(7);  // 3 intervals of 7, 7 and 1 MCUs
  auto markers = sample.rightMarkers();
  markers[1] = {3};  // two ahead of RST1
  expectPixels(sample, sample.with(markers));
}

TEST(LenientRestarts, UnitsThatBreakOffAheadOfAStrayMarkerDontHideIt) {
  const Restarted sample(5);
  Restarted without(5);
  without.picture.restartInterval = 0;
  without.headers = headersOf(without.picture).bytes();
  const size_t row = 75 * 3 * 16;
  for (size_t cut = 1; cut < 12; cut++) {
    Restarted broken = without;
    broken.intervals[0].resize(broken.intervals[0].size() - cut);
    const Shown shown = show(broken.with(sample.rightMarkers()), 3);
    EXPECT_EQ(sample.pixels.size(), shown.pixels.size());
    const auto begin = static_cast<ptrdiff_t>(row);
    const bool same = std::equal(sample.pixels.begin() + begin, sample.pixels.begin() + 2 * begin,
                                 shown.pixels.begin() + begin);
    // As many MCUs are lost as begin in what was cut off; if it is one, nothing shifts.
    EXPECT_TRUE(same || cut > 1);
  }
}

// Codes of 4 to 16 bits: the reader looks at the marker while data are left ahead of it.
TEST(LenientRestarts, UnitsThatBreakOffAheadOfAStrayMarkerAreLostAlone) {
  Restarted broken(5);
  useAnnexKTables(broken.picture);
  broken.intervals = intervalsOf(broken.picture);
  broken.picture.restartInterval = 0;
  broken.headers = headersOf(broken.picture).bytes();
  const Bytes first = broken.intervals[0];
  for (size_t cut = 1; cut < first.size(); cut++) {
    broken.intervals[0].assign(first.begin(), first.end() - static_cast<ptrdiff_t>(cut));
    const Shown shown = show(broken.with(broken.rightMarkers()), 3);
    EXPECT_RESULT(JPG_E_DAMAGED, shown.result) << cut;
  }
}

// Bits that fill the last byte up are none; a byte is a unit that broke off, also behind data that
// end with a byte.
TEST(LenientRestarts, AByteAheadOfAStrayMarkerIsDamage) {
  // Blocks of DC 0 by codes of 1 and 3 bits: six of them are 24 bits. For the longest code the
  // reader looks 16 bits ahead.
  Restarted sample(1);
  const HuffTable dc = {{1}, {0}};
  const HuffTable ac = {{0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, {0, 1}};
  for (size_t i = 0; i < 3; i++) {
    sample.picture.components[i].blocks.assign(sample.picture.components[i].blocks.size(), Block{});
  }
  sample.picture.dc = {dc, dc, dc, dc};
  sample.picture.ac = {ac, ac, ac, ac};
  sample.intervals = intervalsOf(sample.picture);
  ASSERT_EQ(3U, sample.intervals[0].size());
  sample.picture.restartInterval = 0;
  sample.headers = headersOf(sample.picture).bytes();
  EXPECT_RESULT(JPG_OK, show(sample.with(sample.rightMarkers()), 3).result);
  sample.intervals[2].push_back(0x55);
  EXPECT_RESULT(JPG_E_DAMAGED, show(sample.with(sample.rightMarkers()), 3).result);
}

TEST(LenientRestarts, MarkersMayStandThereWithoutAnInterval) {
  const Restarted sample(2);
  Restarted without(2);
  without.picture.restartInterval = 0;
  without.headers = headersOf(without.picture).bytes();
  expectPixels(sample, without.with(sample.rightMarkers()));
}

TEST(LenientRestarts, MarkersBehindTheLastIntervalAreIgnored) {
  const Restarted sample(5);
  Bytes stream = sample.with(sample.rightMarkers());
  stream.resize(stream.size() - 2);
  expectPixels(sample, stream + Bytes{0xFF, 0xD2, 0xFF, 0xD3} + kEoiBytes);
}

// ---- Height -----------------------------------------------------------------

TEST(LenientHeight, IsToldByDnlWithAndWithoutRestartIntervals) {
  for (const uint16_t interval : Words{0, 1, 5, 7}) {
    Sample sample;
    sample.picture.heightByDnl = true;
    sample.picture.restartInterval = interval;
    expectPixels(sample, encode(sample.picture));
    Picture gray = makePicture(33, 21, {0x11});
    const Bytes pixels = show(encode(gray), 1, 0).pixels;
    gray.heightByDnl = true;
    EXPECT_EQ(pixels, show(encode(gray), 1).pixels);
  }
}

TEST(LenientHeight, OfAPictureInScansIsToldBehindTheFirst) {
  const Sample sample;
  Picture picture = sample.picture;
  StreamBuilder s = headersOfScans(picture, kSof0);
  Bytes bytes = s.bytes();
  for (size_t i = 0; i + 6 < bytes.size(); i++) {
    if (bytes[i] == 0xFF && bytes[i + 1] == kSof0) bytes[i + 5] = bytes[i + 6] = 0;
  }
  StreamBuilder stream;
  stream.raw(bytes);
  for (unsigned i = 0; i < 3; i++) {
    putScanHeader(stream, picture, {{i}, 0, 63, 0, 0});
    stream.raw(progressiveScan(picture, {{i}, 0, 63, 0, 0}));
    if (i == 0) stream.dnl(picture.height);
  }
  expectPixels(sample, stream.eoi().bytes());
}

TEST(LenientHeight, ThatIsToldNowhereIsRefused) {
  Sample sample;
  sample.picture.heightByDnl = true;
  const Bytes headers = headersOf(sample.picture).bytes();
  EXPECT_RESULT(JPG_E_UNSUPPORTED, show(headers + sample.data + kEoiBytes, 3).result);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, show(headers + sample.data, 3).result);
  const Bytes dnl0 = StreamBuilder().dnl(0).bytes();
  EXPECT_RESULT(JPG_E_UNSUPPORTED, show(headers + sample.data + dnl0, 3).result);
}

}  // namespace
}  // namespace jpgtest
