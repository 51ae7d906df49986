// SPDX-License-Identifier: MIT
// The Exif attributes of the C++ interface: every type and directory, and data that lie.
//
// The structures lie in heap blocks of exactly their length, so that AddressSanitizer sees any
// access beyond them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "jpg.hpp"
#include "support/reader.h"
#include "support/streamBuilder.h"
#include "support/tiffBuilder.h"

namespace {

using namespace jpgtest;
using Directory = jpg::ExifDirectory;
using Type = jpg::ExifType;

jpg::ExifData dataOf(const Bytes &tiff) {
  auto data = jpg::ExifData::ofTiff(tiff);
  EXPECT_RESULT(JPG_OK, data.code());
  return std::move(*data);
}
jpg::ExifData dataOf(const TiffBuilder &tiff) { return dataOf(tiff.bytes()); }

std::vector<uint16_t> tagsOf(const jpg::ExifData &data, Directory directory) {
  std::vector<uint16_t> tags;
  for (const jpg::ExifEntry entry : data.entries(directory)) tags.push_back(entry.tag());
  return tags;
}

// Reads everything that can be read; the sum keeps the compiler from leaving it out.
uint64_t readAll(const jpg::ExifData &data) {
  uint64_t sum = data.orientation();
  for (const Directory directory : jpg::kExifDirectories) {
    for (const jpg::ExifEntry entry : data.entries(directory)) {
      sum += entry.tag() + entry.count() + static_cast<uint64_t>(entry.type());
      for (const uint8_t byte : entry.bytes()) sum += byte;
      for (const char letter : entry.text()) sum += static_cast<uint8_t>(letter);
      for (uint32_t i = 0; i < entry.numbers(); i++) {
        sum += static_cast<uint64_t>(entry.number(i)->number);
      }
      EXPECT_FALSE(entry.number(entry.numbers()).ok());
    }
  }
  if (const auto thumbnail = data.thumbnail()) {
    for (const uint8_t byte : *thumbnail) sum += byte;
  }
  return sum + (data.position() ? 1 : 0);
}

// ---- Types ----------------------------------------------------------------

TEST(ExifData, ReadsWholeNumbersOfEveryType) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    tiff.putZeroth({{1, kByte, 3, {0, 127, 255}},
                    tiff.shorts(2, {0, 1, 65535}),
                    tiff.longs(3, {0, 4294967295U}),
                    {4, kSbyte, 3, {0x80, 0xFF, 0x7F}},
                    {5, kSshort, 2, {0x80, 0x80, 0xFF, 0xFF}},
                    {6, kSlong, 1, {0xFF, 0xFF, 0xFF, 0xFF}},
                    tiff.claim(7, kSlong, 1, 0x80000000U)});
    const std::vector<std::vector<int64_t>> expected = {
        {0, 127, 255}, {0, 1, 65535}, {0, 4294967295}, {-128, -1, 127},
        {-32640, -1},  {-1},          {-2147483648LL}};
    const jpg::ExifData data = dataOf(tiff);
    EXPECT_EQ(data.bigEndian(), order == ByteOrder::kBig);
    for (uint32_t i = 0; i < expected.size(); i++) {
      const jpg::ExifEntry entry = data.entries(Directory::kZeroth)[i];
      ASSERT_EQ(entry.numbers(), expected[i].size()) << entry.tag();
      for (uint32_t k = 0; k < entry.numbers(); k++) {
        const auto number = entry.number(k);
        ASSERT_RESULT(JPG_OK, number.code());
        EXPECT_EQ(number->kind, jpg::ExifNumber::Kind::kWhole);
        EXPECT_EQ(number->number, expected[i][k]) << entry.tag() << " " << k;
        EXPECT_EQ(number->value(), static_cast<double>(expected[i][k]));
      }
      EXPECT_RESULT(JPG_E_NOT_FOUND, entry.number(entry.numbers()).code());
      EXPECT_TRUE(entry.text().empty());
    }
  }
}

TEST(ExifData, ReadsFractions) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    TiffEntry rational = tiff.longs(1, {3, 4, 4294967295U, 0});
    rational.type = kRational;
    rational.count = 2;
    TiffEntry srational = tiff.longs(2, {4294967295U, 2147483648U});
    srational.type = kSrational;
    srational.count = 1;
    tiff.putZeroth({rational, srational});
    const jpg::ExifData data = dataOf(tiff);
    const auto entry = data.find(Directory::kZeroth, 1);
    ASSERT_TRUE(entry.ok());
    ASSERT_EQ(entry->numbers(), 2U);
    EXPECT_EQ(entry->number(0)->kind, jpg::ExifNumber::Kind::kFraction);
    EXPECT_EQ(entry->number(0)->value(), 0.75);
    EXPECT_EQ(entry->number(1)->number, 4294967295);
    EXPECT_EQ(entry->number(1)->denominator, 0);
    EXPECT_TRUE(std::isnan(entry->number(1)->value()));
    const auto number = data.find(Directory::kZeroth, 2)->number();
    EXPECT_EQ(number->number, -1);
    EXPECT_EQ(number->denominator, -2147483648LL);
  }
}

TEST(ExifData, ReadsFloatingNumbers) {
  // IEEE 754: 0x3FC00000 is 1.5; 0xC004000000000000 is -2.5.
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    TiffEntry narrow = tiff.longs(1, {0x3FC00000, 0xFF800000});
    narrow.type = kFloat;
    const bool big = order == ByteOrder::kBig;
    TiffEntry wide = tiff.longs(2, {big ? 0xC0040000 : 0, big ? 0 : 0xC0040000});
    wide.type = kDouble;
    wide.count = 1;
    tiff.putZeroth({narrow, wide});
    const jpg::ExifData data = dataOf(tiff);
    const auto entry = data.find(Directory::kZeroth, 1);
    EXPECT_EQ(entry->number(0)->kind, jpg::ExifNumber::Kind::kFloating);
    EXPECT_EQ(entry->number(0)->value(), 1.5);
    EXPECT_TRUE(std::isinf(entry->number(1)->floating));
    EXPECT_EQ(data.find(Directory::kZeroth, 2)->number()->value(), -2.5);
  }
}

TEST(ExifData, ReadsTextAndBytes) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    tiff.putZeroth({tiff.text(1, "four letters and more"),
                    tiff.text(2, "abc"),
                    tiff.text(3, ""),
                    {4, kAscii, 6, {'a', 0, 'b', 0, 0, 0}},
                    {5, kAscii, 2, {'x', 'y'}},
                    {6, kUndefined, 5, {0, 1, 2, 3, 4}},
                    tiff.claim(7, kAscii, 0, 0x41414141),
                    tiff.claim(8, 13, 1, 7),
                    tiff.claim(9, 0, 1, 7),
                    tiff.claim(10, 0xFFFF, 0xFFFFFFFF, 7)});
    const jpg::ExifData data = dataOf(tiff);
    const jpg::ExifEntries entries = data.entries(Directory::kZeroth);
    ASSERT_EQ(entries.size(), 10U);
    const std::string texts[] = {
        "four letters and more", "abc", "", std::string("a\0b", 3), "xy", "", ""};
    for (uint32_t i = 0; i < std::size(texts); i++) {
      EXPECT_EQ(entries[i].text(), texts[i]) << i;
      EXPECT_EQ(entries[i].numbers(), 0U);
    }
    EXPECT_EQ(entries[0].count(), 22U);
    EXPECT_EQ(Bytes(entries[5].bytes().begin(), entries[5].bytes().end()), (Bytes{0, 1, 2, 3, 4}));
    EXPECT_TRUE(entries[6].there());
    for (uint32_t i = 7; i < 10; i++) {
      EXPECT_EQ(jpg::exifTypeSize(entries[i].type()), 0U);
      EXPECT_TRUE(entries[i].bytes().empty());
      EXPECT_EQ(entries[i].numbers(), 0U);
    }
  }
}

TEST(ExifData, FourBytesStandInTheEntryAndFiveElsewhere) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    const uint32_t at = tiff.put({9, 8, 7, 6, 5});
    tiff.putZeroth({{1, kByte, 4, {1, 2, 3, 4}}, tiff.claim(2, kByte, 5, at)});
    const jpg::ExifData data = dataOf(tiff);
    const jpg::ExifEntries entries = data.entries(Directory::kZeroth);
    EXPECT_EQ(entries[0].number(3)->number, 4);
    EXPECT_EQ(entries[1].bytes().data(), data.tiff().data() + at);
    EXPECT_EQ(entries[1].number(4)->number, 5);
  }
}

// ---- Directories ----------------------------------------------------------

// Each directory has an entry with its own tag; the pointers stand where they may.
TiffBuilder fiveDirectories(ByteOrder order) {
  TiffBuilder tiff(order);
  const uint32_t interoperability = tiff.putIfd({tiff.text(1, "R98")});
  const uint32_t gps = tiff.putIfd({tiff.text(1, "N"), tiff.longs(2, {50, 1, 7, 1})});
  const uint32_t exif = tiff.putIfd({tiff.text(36867, "2004:01:02 03:04:05"),
                                     tiff.longOf(kInteroperabilityPointer, interoperability)});
  const uint32_t first = tiff.putIfd({tiff.shortOf(259, 6)});
  tiff.putZeroth(
      {tiff.text(271, "maker"), tiff.longOf(kExifPointer, exif), tiff.longOf(kGpsPointer, gps)},
      first);
  return tiff;
}

TEST(ExifData, FindsFiveDirectories) {
  for (const ByteOrder order : kByteOrders) {
    const jpg::ExifData data = dataOf(fiveDirectories(order));
    EXPECT_EQ(tagsOf(data, Directory::kZeroth),
              (std::vector<uint16_t>{271, kExifPointer, kGpsPointer}));
    EXPECT_EQ(tagsOf(data, Directory::kFirst), (std::vector<uint16_t>{259}));
    EXPECT_EQ(tagsOf(data, Directory::kExif),
              (std::vector<uint16_t>{36867, kInteroperabilityPointer}));
    EXPECT_EQ(tagsOf(data, Directory::kGps), (std::vector<uint16_t>{1, 2}));
    EXPECT_EQ(tagsOf(data, Directory::kInteroperability), (std::vector<uint16_t>{1}));
    EXPECT_EQ(data.find(Directory::kExif, jpg::tag::kDateTimeOriginal)->text(),
              "2004:01:02 03:04:05");
    EXPECT_RESULT(JPG_E_NOT_FOUND, data.find(Directory::kZeroth, 36867).code());
  }
}

TEST(ExifData, EntriesMayStandInAnyOrder) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    const uint32_t gps = tiff.putIfd({tiff.text(3, "E"), tiff.text(1, "N")});
    const uint32_t exif = tiff.putIfd({tiff.shortOf(41985, 0), tiff.text(36867, "now")});
    tiff.putZeroth({tiff.longOf(kGpsPointer, gps), tiff.longOf(kExifPointer, exif),
                    tiff.shortOf(305, 1), tiff.shortOf(274, 6), tiff.shortOf(274, 3)});
    const jpg::ExifData data = dataOf(tiff);
    EXPECT_EQ(data.find(Directory::kExif, 36867)->text(), "now");
    EXPECT_EQ(data.find(Directory::kGps, 1)->text(), "N");
    EXPECT_EQ(data.orientation(), 6U);  // the first of two
    EXPECT_EQ(data.entries(Directory::kZeroth).size(), 5U);
  }
}

TEST(ExifData, PointersMayBeShortOrOfTheTypeForDirectories) {
  for (const ByteOrder order : kByteOrders) {
    constexpr uint16_t kDirectoryType = 13;
    TiffBuilder tiff(order);
    const uint32_t exif = tiff.putIfd({tiff.shortOf(7, 1)});
    tiff.putZeroth(
        {tiff.shortOf(kExifPointer, exif), tiff.claim(kGpsPointer, kDirectoryType, 1, exif)});
    const jpg::ExifData data = dataOf(tiff);
    EXPECT_EQ(tagsOf(data, Directory::kExif), (std::vector<uint16_t>{7}));
    EXPECT_EQ(tagsOf(data, Directory::kGps), (std::vector<uint16_t>{7}));
    for (const uint32_t count : {0U, 2U, 0xFFFFFFFFU}) {  // damaged
      tiff.putZeroth({tiff.claim(kExifPointer, kLong, count, exif)});
      EXPECT_EQ(tagsOf(dataOf(tiff), Directory::kExif), (std::vector<uint16_t>{7})) << count;
    }
  }
}

TEST(ExifData, DirectoriesInACircleAreEachListedOnce) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    const auto at = static_cast<uint32_t>(tiff.bytes().size());
    const std::vector<TiffEntry> entries = {tiff.longOf(kExifPointer, at),
                                            tiff.longOf(kGpsPointer, at),
                                            tiff.longOf(kInteroperabilityPointer, at)};
    tiff.putZeroth(entries, at);
    const jpg::ExifData data = dataOf(tiff);
    for (const Directory directory : jpg::kExifDirectories) {
      EXPECT_EQ(data.entries(directory).size(), entries.size());
    }
    readAll(data);
  }
}

// ---- Data that lie --------------------------------------------------------

TEST(ExifData, ValuesOutsideAreNotThere) {
  for (const ByteOrder order : kByteOrders) {
    const struct {
      uint16_t type;
      uint32_t count;
    } cases[] = {
        {kByte, 5},      {kAscii, 0xFFFFFFFF},    {kShort, 0x80000000},  {kLong, 0x40000000},
        {kLong, 2},      {kRational, 0x20000000}, {kDouble, 0xFFFFFFFF}, {kFloat, 2},
        {kSrational, 1}, {kUndefined, 70000}};
    for (const auto &c : cases) {
      for (const int32_t beyond : {1, 2, 1000, INT32_MAX}) {
        TiffBuilder tiff(order);
        tiff.putZeroth({tiff.claim(1, c.type, c.count, 0), tiff.shortOf(2, 99)});
        // The last byte of the value would be so many bytes beyond the structure's end.
        const auto size = static_cast<int64_t>(tiff.bytes().size());
        const int64_t bytes = int64_t{jpg::exifTypeSize(Type{c.type})} * c.count;
        const int64_t at = std::max<int64_t>(0, size + beyond - bytes);
        tiff.overwrite32(8 + 2 + 8, static_cast<uint32_t>(at));
        const jpg::ExifData data = dataOf(tiff);
        const jpg::ExifEntries entries = data.entries(Directory::kZeroth);
        EXPECT_FALSE(entries[0].there()) << c.type << " " << c.count << " " << beyond;
        EXPECT_EQ(entries[0].count(), c.count);
        EXPECT_EQ(entries[0].numbers(), 0U);
        EXPECT_EQ(entries[0].bytes().size(), 0U);
        EXPECT_TRUE(entries[0].text().empty());
        EXPECT_EQ(entries[1].number()->number, 99);
      }
    }
  }
}

TEST(ExifData, ValuesMayEndWithTheStructure) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    tiff.putZeroth({tiff.claim(1, kUndefined, 6, 0)});
    const auto size = static_cast<uint32_t>(tiff.bytes().size());
    tiff.overwrite32(8 + 2 + 8, size - 6);
    EXPECT_EQ(dataOf(tiff).entries(Directory::kZeroth)[0].bytes().size(), 6U);
    tiff.overwrite32(8 + 2 + 8, size - 5);
    EXPECT_FALSE(dataOf(tiff).entries(Directory::kZeroth)[0].there());
  }
}

TEST(ExifData, DirectoriesThatDoNotFitAreNotThere) {
  for (const ByteOrder order : kByteOrders) {
    for (const uint32_t offset : {0U, 60000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
      TiffBuilder tiff(order);
      const uint32_t exif = tiff.putIfd({tiff.longOf(kInteroperabilityPointer, offset)});
      tiff.putZeroth({tiff.longOf(kExifPointer, exif), tiff.longOf(kGpsPointer, offset)}, offset);
      const jpg::ExifData data = dataOf(tiff);
      EXPECT_TRUE(data.has(Directory::kZeroth) && data.has(Directory::kExif));
      for (const Directory directory :
           {Directory::kFirst, Directory::kGps, Directory::kInteroperability}) {
        EXPECT_FALSE(data.has(directory)) << offset;
        EXPECT_TRUE(data.entries(directory).empty());
      }
    }
    for (const uint32_t count : {3U, 4U, 0x7FFFU, 0x8000U, 0xFFFFU}) {
      TiffBuilder tiff(order);
      const uint32_t zeroth = tiff.putZeroth({tiff.longOf(998, 1), tiff.longOf(999, 2)});
      tiff.overwrite16(zeroth, count);
      EXPECT_FALSE(dataOf(tiff).has(Directory::kZeroth)) << count;
    }
  }
}

TEST(ExifData, EveryValueOfEveryHeaderByteIsTaken) {
  for (const ByteOrder order : kByteOrders) {
    const TiffBuilder whole = fiveDirectories(order);
    for (size_t at = 0; at < 8; at++) {
      for (uint32_t value = 0; value < 256; value++) {
        Bytes tiff = whole.bytes();
        tiff[at] = static_cast<uint8_t>(value);
        const jpg::ExifData data = dataOf(tiff);
        const bool big = tiff[0] == 'M';
        EXPECT_EQ(data.bigEndian(), big);
        // The offset, and the count there, by hand.
        const auto number = [&](size_t i, size_t n) {
          uint64_t sum = 0;
          for (size_t k = 0; k < n; k++) sum = sum * 256 + tiff[big ? i + k : i + n - 1 - k];
          return sum;
        };
        const uint64_t offset = number(4, 4);
        const bool counted = offset != 0 && offset + 2 <= tiff.size();
        const uint64_t count = counted ? number(static_cast<size_t>(offset), 2) : 0;
        const bool there = counted && offset + 2 + 12 * count <= tiff.size();
        EXPECT_EQ(data.has(Directory::kZeroth), there) << at << " " << value;
        EXPECT_EQ(data.entries(Directory::kZeroth).size(), there ? count : 0);
        readAll(data);
      }
    }
  }
}

TEST(ExifData, EveryValueOfEveryOtherByteIsTaken) {
  for (const ByteOrder order : kByteOrders) {
    const Bytes whole = fiveDirectories(order).bytes();
    std::set<uint64_t> sums;
    for (size_t at = 8; at < whole.size(); at++) {
      for (const uint32_t value : {0U, 1U, 2U, 5U, 12U, 13U, 0x7FU, 0x80U, 0xFEU, 0xFFU}) {
        Bytes tiff = whole;
        tiff[at] = static_cast<uint8_t>(value);
        sums.insert(readAll(dataOf(tiff)));
      }
    }
    EXPECT_GT(sums.size(), 100U);  // they aren't all refused
  }
}

TEST(ExifData, StructuresCutAtAnyLengthHaveWhatIsLeft) {
  for (const ByteOrder order : kByteOrders) {
    const Bytes whole = fiveDirectories(order).bytes();
    const jpg::ExifData all = dataOf(whole);
    for (size_t size = 0; size < whole.size(); size++) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      const auto data = jpg::ExifData::ofTiff(cut);
      ASSERT_RESULT(size < 8 ? JPG_E_NOT_FOUND : JPG_OK, data.code()) << size;
      readAll(*data);
      for (const Directory directory : jpg::kExifDirectories) {
        if (!data->has(directory)) continue;
        EXPECT_EQ(tagsOf(*data, directory), tagsOf(all, directory));
      }
    }
    // The link to the first directory is the last of all.
    Bytes cut = whole;
    cut.pop_back();
    EXPECT_TRUE(dataOf(cut).has(Directory::kInteroperability));
    EXPECT_FALSE(dataOf(cut).has(Directory::kFirst));
  }
}

TEST(ExifData, MoreThanASegmentIsTakenFromMemory) {
  TiffBuilder tiff(ByteOrder::kBig);
  const uint32_t at = tiff.put(Bytes(200000, 'x'));
  tiff.putZeroth({tiff.claim(1, kAscii, 200000, at)});
  EXPECT_EQ(dataOf(tiff).find(Directory::kZeroth, 1)->text(), std::string(200000, 'x'));
}

// ---- Streams --------------------------------------------------------------

uint32_t codeOf(const Bytes &stream) {
  const auto reader = jpg::Reader::memory(stream, jpg::kStrict);
  EXPECT_RESULT(JPG_OK, reader.code());
  return jpg::ExifData::of(reader->handle()).code();
}

TEST(ExifData, ComesOutOfTheFirstExifSegment) {
  const Bytes tiff = fiveDirectories(ByteOrder::kBig).bytes();
  TiffBuilder second(ByteOrder::kLittle);
  second.putZeroth({});
  const char kOther[] = "http://ns";
  Bytes segments = StreamBuilder().segment(kApp1, Bytes(kOther, kOther + sizeof(kOther))).bytes();
  append(segments, StreamBuilder().segment(kApp1, {'E', 'x', 'i', 'f', 0}).bytes());
  append(segments, StreamBuilder().segment(kApp1 + 1, exifData(second.bytes())).bytes());
  append(segments, exifSegment(tiff));
  append(segments, exifSegment(second.bytes()));
  const Bytes stream = streamWith(segments);
  jpg::ExifData data;
  {
    auto reader = jpg::Reader::memory(stream, jpg::kStrict);
    ASSERT_RESULT(JPG_OK, reader.code());
    auto read = jpg::ExifData::of(reader->handle());
    ASSERT_RESULT(JPG_OK, read.code());
    EXPECT_RESULT(JPG_OK, reader->decode().code());  // finds its place again
    data = std::move(*read);
  }
  EXPECT_EQ(Bytes(data.tiff().begin(), data.tiff().end()), tiff);
  EXPECT_EQ(data.find(Directory::kZeroth, 271)->text(), "maker");
}

TEST(ExifData, StreamsWithoutAttributesAreTold) {
  EXPECT_RESULT(JPG_E_NOT_JPEG, codeOf(streamWith({})));
  const Bytes name = {'E', 'x', 'i', 'f', 0, 0};
  for (uint32_t size = 0; size < 8; size++) {
    Bytes data = name;
    data.resize(name.size() + size, 'I');
    EXPECT_RESULT(JPG_E_NOT_FOUND,
                  codeOf(streamWith(StreamBuilder().segment(kApp1, data).bytes())));
  }
  EXPECT_RESULT(JPG_OK, codeOf(streamWith(exifSegment(Bytes(8, 'I')))));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::ExifData::of(nullptr).code());
}

TEST(ExifData, OfNothingHasNothing) {
  const jpg::ExifData none;
  for (const Directory directory : jpg::kExifDirectories) {
    EXPECT_FALSE(none.has(directory));
    EXPECT_TRUE(none.entries(directory).empty());
  }
  EXPECT_EQ(none.orientation(), 1U);
  EXPECT_RESULT(JPG_E_NOT_FOUND, none.thumbnail().code());
  EXPECT_RESULT(JPG_E_NOT_FOUND, none.position().code());
  const jpg::ExifEntry entry;
  EXPECT_EQ(entry.tag(), 0U);
  EXPECT_FALSE(entry.there());
  EXPECT_EQ(entry.numbers(), 0U);
  EXPECT_RESULT(JPG_E_NOT_FOUND, jpg::ExifData::ofTiff({}).code());
}

TEST(SegmentWalk, TellsWhereSegmentsStand) {
  const Bytes segments = StreamBuilder().segment(kCom, {1, 2, 3}).segment(kApp1 + 4, {}).bytes();
  const Bytes stream = streamWith(segments);
  const auto reader = jpg::Reader::memory(stream, jpg::kStrict);
  jpg::SegmentWalk walk(reader->handle());
  uint64_t at = 2;
  for (;;) {
    const auto segment = walk.next();
    ASSERT_RESULT(JPG_OK, segment.code());
    ASSERT_EQ(walk.offset(), at);
    // The marker stands there, and behind it the length, which counts itself.
    EXPECT_EQ(stream[at] << 8 | stream[at + 1], segment->marker);
    EXPECT_EQ(static_cast<uint32_t>(stream[at + 2] << 8 | stream[at + 3]), segment->length + 2);
    EXPECT_EQ(walk.end(), at + 4 + segment->length);
    at = walk.end();
    if (segment->marker == jpg::marker::kSos) break;
  }
  EXPECT_FALSE(walk.next().ok());  // coded data
  EXPECT_EQ(walk.offset(), at);
}

// ---- What callers ask for -------------------------------------------------

TEST(ExifData, TellsTheOrientation) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder none(order);
    none.putZeroth({});
    EXPECT_EQ(dataOf(none).orientation(), 1U);
    for (const uint32_t told : {0U, 1U, 2U, 3U, 6U, 8U, 9U, 65535U}) {
      TiffBuilder tiff(order);
      tiff.putZeroth({tiff.shortOf(274, told)});
      EXPECT_EQ(dataOf(tiff).orientation(), told >= 1 && told <= 8 ? told : 1) << told;
    }
    TiffBuilder text(order);
    text.putZeroth({text.text(274, "6")});
    EXPECT_EQ(dataOf(text).orientation(), 1U);
  }
}

TEST(ExifData, TellsWhereTheThumbnailLies) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    const uint32_t at = tiff.put({0xFF, 0xD8, 1, 2, 3});
    const uint32_t first = tiff.putIfd({tiff.longOf(513, at), tiff.longOf(514, 5)});
    tiff.putZeroth({}, first);
    const jpg::ExifData data = dataOf(tiff);
    ASSERT_RESULT(JPG_OK, data.thumbnail().code());
    EXPECT_EQ(data.thumbnail()->data(), data.tiff().data() + at);
    EXPECT_EQ(data.thumbnail()->size(), 5U);
    const auto size = static_cast<uint32_t>(tiff.bytes().size());
    const std::pair<uint32_t, uint32_t> wrong[] = {
        {0, 5}, {at, 0}, {size - 4, 5}, {size, 1}, {0xFFFFFFFF, 0xFFFFFFFF}, {at, 0xFFFFFFFF}};
    for (const auto &[offset, length] : wrong) {
      tiff.overwrite32(first + 2 + 8, offset);
      tiff.overwrite32(first + 2 + 12 + 8, length);
      EXPECT_RESULT(JPG_E_NOT_FOUND, dataOf(tiff).thumbnail().code()) << offset << " " << length;
    }
    tiff.overwrite32(first + 2 + 8, size - 5);
    tiff.overwrite32(first + 2 + 12 + 8, 5);
    EXPECT_RESULT(JPG_OK, dataOf(tiff).thumbnail().code());
  }
}

TiffBuilder tiffAt(ByteOrder order, const std::string &latitudeRef, const std::string &longitudeRef,
                   uint32_t denominator) {
  TiffBuilder tiff(order);
  TiffEntry latitude = tiff.longs(2, {50, 1, 30, 1, 360, 10});
  TiffEntry longitude = tiff.longs(4, {7, 1, 15, denominator, 0, 1});
  latitude.type = longitude.type = kRational;
  latitude.count = longitude.count = 3;
  const uint32_t gps =
      tiff.putIfd({tiff.text(1, latitudeRef), latitude, tiff.text(3, longitudeRef), longitude});
  tiff.putZeroth({tiff.longOf(kGpsPointer, gps)});
  return tiff;
}

TEST(ExifData, TellsWhereThePictureWasTaken) {
  // 50 degrees, 30 minutes, 36 seconds are 50.51 degrees; 7 degrees, 15 minutes 7.25.
  for (const ByteOrder order : kByteOrders) {
    const auto east = dataOf(tiffAt(order, "N", "E", 1)).position();
    ASSERT_RESULT(JPG_OK, east.code());
    EXPECT_NEAR(east->latitude, 50.51, 1e-12);
    EXPECT_NEAR(east->longitude, 7.25, 1e-12);
    const auto west = dataOf(tiffAt(order, "S", "W", 1)).position();
    EXPECT_NEAR(west->latitude, -50.51, 1e-12);
    EXPECT_NEAR(west->longitude, -7.25, 1e-12);
    EXPECT_RESULT(JPG_E_NOT_FOUND, dataOf(tiffAt(order, "N", "E", 0)).position().code());
    EXPECT_RESULT(JPG_E_NOT_FOUND, dataOf(tiffAt(order, "", "E", 1)).position().code());
    EXPECT_RESULT(JPG_E_NOT_FOUND, dataOf(fiveDirectories(order)).position().code());
  }
}

}  // namespace
