// SPDX-License-Identifier: MIT
// The Exif attributes of the C interface: values, directories, and data that lie.
//
// The structures lie in heap blocks of exactly their length, so that AddressSanitizer sees any
// access beyond them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "jpg.hpp"
#include "jpg/exif.h"
#include "support/reader.h"
#include "support/streamBuilder.h"
#include "support/tiffBuilder.h"

namespace {

using namespace jpgtest;

uint32_t find(const Bytes &tiff, uint32_t directory, uint32_t tag, JpgExifEntry *entry) {
  return jpgExifFind(tiff.data(), static_cast<uint32_t>(tiff.size()), directory, tag, entry);
}

// The numbers of an entry of the 0th directory.
std::vector<double> numbersOf(const Bytes &tiff, uint32_t tag) {
  JpgExifEntry entry = {};
  EXPECT_RESULT(JPG_OK, find(tiff, JPG_EXIF_ZEROTH, tag, &entry)) << tag;
  std::vector<double> numbers;
  double number = 0;
  for (uint32_t i = 0; jpgExifNumber(&entry, i, &number) == JPG_OK; i++) numbers.push_back(number);
  return numbers;
}

TEST(ExifInC, ReadsNumbersOfEveryType) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    TiffEntry rational = tiff.longs(8, {3, 4, 4294967295U, 1, 5, 0});
    rational.type = kRational;
    rational.count = 3;
    TiffEntry srational = tiff.longs(9, {4294967295U, 4, 7, 4294967294U});
    srational.type = kSrational;
    srational.count = 2;
    tiff.putZeroth({{1, kByte, 3, {0, 127, 255}},
                    tiff.shorts(2, {0, 1, 65535}),
                    tiff.longs(3, {0, 4294967295U}),
                    {4, kSbyte, 3, {0x80, 0xFF, 0x7F}},
                    {5, kSshort, 2, {0x80, 0x80, 0xFF, 0xFF}},
                    {6, kSlong, 1, {0xFF, 0xFF, 0xFF, 0xFF}},
                    tiff.claim(7, kSlong, 1, 0x80000000U),
                    rational,
                    srational,
                    tiff.text(10, "12"),
                    {11, kUndefined, 2, {1, 2}},
                    tiff.claim(12, kFloat, 1, 0x3FC00000)});
    const std::vector<std::vector<double>> expected = {{0, 127, 255},
                                                       {0, 1, 65535},
                                                       {0, 4294967295.0},
                                                       {-128, -1, 127},
                                                       {-32640, -1},
                                                       {-1},
                                                       {-2147483648.0},
                                                       {0.75, 4294967295.0},
                                                       {-0.25, -3.5},
                                                       {},
                                                       {},
                                                       {}};
    for (uint32_t i = 0; i < expected.size(); i++)
      EXPECT_EQ(numbersOf(tiff.bytes(), i + 1), expected[i]) << i + 1;
  }
}

// Entry 271 of each directory, with its name.
TiffBuilder directories(ByteOrder order) {
  TiffBuilder tiff(order);
  const uint32_t interop = tiff.putIfd({tiff.text(271, "interop")});
  const uint32_t photo =
      tiff.putIfd({tiff.text(271, "photo"), tiff.longOf(kInteroperabilityPointer, interop)});
  const uint32_t gps = tiff.putIfd({tiff.text(271, "gps")});
  const uint32_t first = tiff.putIfd({tiff.text(271, "first")});
  tiff.putZeroth({tiff.text(271, "zeroth"), tiff.shortOf(274, 6), tiff.longOf(kExifPointer, photo),
                  tiff.longOf(kGpsPointer, gps)},
                 first);
  return tiff;
}

constexpr uint32_t kAll[] = {JPG_EXIF_ZEROTH, JPG_EXIF_FIRST, JPG_EXIF_PHOTO, JPG_EXIF_GPS,
                             JPG_EXIF_INTEROP};

TEST(ExifInC, FindsEntriesInEveryDirectory) {
  const std::string names[] = {"zeroth", "first", "photo", "gps", "interop"};
  for (const ByteOrder order : kByteOrders) {
    const Bytes tiff = directories(order).bytes();
    for (uint32_t i = 0; i < 5; i++) {
      JpgExifEntry entry = {};
      ASSERT_RESULT(JPG_OK, find(tiff, kAll[i], 271, &entry));
      EXPECT_EQ(std::string(reinterpret_cast<const char *>(entry.data)), names[i]);
      EXPECT_EQ(entry.size, names[i].size() + 1);
      EXPECT_RESULT(JPG_E_NOT_FOUND, find(tiff, kAll[i], 272, &entry));
    }
    EXPECT_EQ(jpgExifOrientation(tiff.data(), static_cast<uint32_t>(tiff.size())), 6U);
  }
}

// Reads all that can be read.
void readAll(const uint8_t *tiff, uint32_t size) {
  double a = 0, b = 0;
  const uint32_t orientation = jpgExifOrientation(tiff, size);
  EXPECT_TRUE(orientation >= 1 && orientation <= 8);
  (void)jpgExifPosition(tiff, size, &a, &b);
  for (const uint32_t directory : kAll) {
    for (const uint32_t tag : {0U, 271U, 274U, 34665U, 34853U, 40965U}) {
      JpgExifEntry entry = {};
      if (jpgExifFind(tiff, size, directory, tag, &entry) != JPG_OK) continue;
      ASSERT_TRUE(entry.data >= tiff && entry.size <= size);
      ASSERT_LE(static_cast<size_t>(entry.data - tiff) + entry.size, size);
      for (uint32_t i = 0; jpgExifNumber(&entry, i, &a) == JPG_OK; i++) b += a;
    }
  }
}

TEST(ExifInC, StaysWithinStructuresThatAreCutOrWrong) {
  for (const ByteOrder order : kByteOrders) {
    const Bytes tiff = directories(order).bytes();
    for (size_t size = 0; size <= tiff.size(); size++) {
      const Bytes cut(tiff.begin(), tiff.begin() + static_cast<std::ptrdiff_t>(size));
      const auto block = std::make_unique<uint8_t[]>(size);
      std::copy(cut.begin(), cut.end(), block.get());
      readAll(block.get(), static_cast<uint32_t>(size));
    }
    for (size_t at = 4; at < tiff.size(); at++) {
      for (const int wrong : {0, 1, 0x7F, 0x80, 0xFF}) {
        Bytes changed = tiff;
        changed[at] = static_cast<uint8_t>(wrong);
        changed.shrink_to_fit();
        readAll(changed.data(), static_cast<uint32_t>(changed.size()));
      }
    }
  }
}

TEST(ExifInC, TellsWhereThePictureWasTaken) {
  for (const ByteOrder order : kByteOrders) {
    for (const char side : {'S', 'N', ' '}) {
      TiffBuilder tiff(order);
      TiffEntry latitude = tiff.longs(2, {50, 1, 30, 1, 360, 10});
      TiffEntry longitude = tiff.longs(4, {7, 1, 15, 1, 0, side == ' ' ? 0U : 1U});
      latitude.type = longitude.type = kRational;
      latitude.count = longitude.count = 3;
      const uint32_t gps = tiff.putIfd({tiff.text(1, std::string(1, side)), latitude,
                                        tiff.text(3, side == 'S' ? "W" : "E"), longitude});
      tiff.putZeroth({tiff.longOf(kGpsPointer, gps)});
      double to[2] = {};
      const Bytes &bytes = tiff.bytes();
      const uint32_t r =
          jpgExifPosition(bytes.data(), static_cast<uint32_t>(bytes.size()), &to[0], &to[1]);
      EXPECT_RESULT(side == ' ' ? JPG_E_NOT_FOUND : JPG_OK, r);  // a denominator of 0
      if (r != JPG_OK) continue;
      // 50 degrees, 30 minutes, 36 seconds; 7 degrees, 15 minutes
      EXPECT_NEAR(to[0], side == 'S' ? -50.51 : 50.51, 1e-12);
      EXPECT_NEAR(to[1], side == 'S' ? -7.25 : 7.25, 1e-12);
    }
  }
}

uint32_t load(const Bytes &stream, Bytes *tiff) {
  const auto reader = jpg::Reader::memory(stream, jpg::kStrict);
  EXPECT_RESULT(JPG_OK, reader.code());
  tiff->assign(JPG_EXIF_BYTES, 0);
  uint32_t size = 1;
  const uint32_t r = jpgExifLoad(reader->handle(), tiff->data(), &size);
  tiff->resize(size);
  return r;
}

TEST(ExifInC, ComesOutOfTheFirstExifSegment) {
  const Bytes expected = directories(ByteOrder::kBig).bytes();
  TiffBuilder second(ByteOrder::kLittle);
  second.putZeroth({});
  const char kOther[] = "http://ns";
  Bytes segments = StreamBuilder().segment(kApp1, Bytes(kOther, kOther + sizeof(kOther))).bytes();
  for (const Bytes &more : {StreamBuilder().segment(kApp1, {'E', 'x', 'i', 'f', 0}).bytes(),
                            StreamBuilder().segment(kApp1 + 1, exifData(second.bytes())).bytes(),
                            exifSegment(expected), exifSegment(second.bytes())}) {
    segments.insert(segments.end(), more.begin(), more.end());
  }
  Bytes tiff;
  EXPECT_RESULT(JPG_OK, load(streamWith(segments), &tiff));
  EXPECT_EQ(tiff, expected);
  EXPECT_RESULT(JPG_E_NOT_FOUND, load(streamWith({}), &tiff));
  EXPECT_TRUE(tiff.empty());
  EXPECT_RESULT(JPG_E_NOT_FOUND, load(streamWith(exifSegment(Bytes(7, 'I'))), &tiff));
  EXPECT_RESULT(JPG_OK, load(streamWith(exifSegment(Bytes(8, 'I'))), &tiff));
  uint32_t size = 1;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgExifLoad(nullptr, tiff.data(), &size));
}

}  // namespace
