// SPDX-License-Identifier: MIT
// Exif data that lie: nothing outside the structure is read, and every walk ends.
//
// The structure lies in a heap block of exactly its length, so that AddressSanitizer sees any
// access beyond it.
#include <algorithm>

#include "exif/attributes.h"
#include "support/picture.h"
#include "support/random.h"

namespace {

using namespace jpgtest;

constexpr uint32_t kNoFit = 0xFFFFFFFE;  // an offset outside of every segment

// ---- Directories ----------------------------------------------------------

TEST(HostileExif, ADirectoryOutsideTheStructureIsNotThere) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder base(order);
    base.putZeroth({base.longOf(999, 1)});
    const auto size = static_cast<uint32_t>(base.bytes().size());
    for (const uint32_t offset :
         {size - 1, size, size + 1, 0x7FFFFFFFU, 0x80000000U, kNoFit, 0xFFFFFFFFU}) {
      TiffBuilder tiff = base;
      tiff.setZeroth(offset);
      const Attributes attributes(tiff);
      EXPECT_RESULT(JPG_OK, attributes.result());
      for (int32_t number = 1; number <= 5; number++) {
        EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, number).result()) << offset;
      }
    }
  }
}

TEST(HostileExif, PointersToDirectoriesOutsideLeadNowhere) {
  for (const ByteOrder order : kByteOrders) {
    for (const uint32_t offset : {60000U, 0x7FFFFFFFU, 0x80000000U, kNoFit, 0xFFFFFFFFU}) {
      TiffBuilder tiff(order);
      const uint32_t exif = tiff.putIfd({tiff.longOf(kInteroperabilityPointer, offset)});
      tiff.putZeroth({tiff.longOf(kExifPointer, exif), tiff.longOf(kGpsPointer, offset)}, offset);
      const Attributes attributes(tiff);
      EXPECT_RESULT(JPG_OK, Cursor(attributes, jpg::kIfdZeroth).result());
      EXPECT_RESULT(JPG_OK, Cursor(attributes, jpg::kIfdExif).result());
      EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdFirst).result());
      EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdGps).result());
      EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdInteroperability).result());
    }
  }
}

TEST(HostileExif, ADirectoryOfMoreEntriesThanThereIsRoomForIsNotThere) {
  for (const uint32_t count : {3U, 4U, 0x7FFFU, 0x8000U, 0xFFFFU}) {
    TiffBuilder tiff(ByteOrder::kBig);
    const uint32_t zeroth = tiff.putZeroth({tiff.longOf(998, 1), tiff.longOf(999, 2)});
    tiff.overwrite16(zeroth, count);
    const Attributes attributes(tiff);
    EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdZeroth).result()) << count;
    EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdFirst).result()) << count;
  }
}

TEST(HostileExif, ADirectoryMayEndTheStructureWithoutItsLink) {
  for (size_t cut = 0; cut <= 5; cut++) {
    TiffBuilder tiff(ByteOrder::kLittle);
    const uint32_t first = tiff.putIfd({tiff.longOf(999, 2)});
    tiff.putZeroth({tiff.longOf(999, 1)}, first);
    tiff.cut(tiff.bytes().size() - cut);
    const Attributes attributes(tiff);
    const Cursor zeroth(attributes, jpg::kIfdZeroth);
    EXPECT_RESULT(cut <= 4 ? JPG_OK : JPG_E_NOT_FOUND, zeroth.result()) << cut << " bytes cut";
    if (cut <= 4) {
      EXPECT_EQ(zeroth.find(999).value, 1u);
    }
    EXPECT_RESULT(cut == 0 ? JPG_OK : JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdFirst).result());
  }
}

// Walks to the end and counts the steps.
uint32_t countSteps(const Cursor &cursor) {
  uint32_t steps = 0;
  while (cursor.next().result != JPG_E_END_OF_IMAGE) {
    if (++steps > 70000) break;
  }
  return steps;
}

TEST(HostileExif, DirectoriesInACircleEnd) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    const uint32_t zeroth = 8;  // where it will stand; all pointers lead to it
    EXPECT_EQ(tiff.putIfd({tiff.longOf(kExifPointer, zeroth), tiff.longOf(kGpsPointer, zeroth),
                           tiff.longOf(kInteroperabilityPointer, zeroth)},
                          zeroth),
              zeroth);
    const Attributes attributes(tiff);
    for (int32_t number = 1; number <= 5; number++) {
      const Cursor cursor(attributes, number);
      EXPECT_RESULT(JPG_OK, cursor.result());
      EXPECT_EQ(countSteps(cursor), 3u);
    }
  }
}

TEST(HostileExif, TheLargestDirectoryEnds) {
  TiffBuilder tiff(ByteOrder::kBig);
  std::vector<TiffEntry> entries(5400, tiff.shortOf(999, 1));  // all that fits a segment
  tiff.putZeroth(entries);
  const Attributes attributes(tiff);
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  EXPECT_EQ(countSteps(cursor), 5400u);
  EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(1000).result);
}

TEST(HostileExif, PointersOfAnyTypeAndCountStayInside) {
  for (const ByteOrder order : kByteOrders) {
    for (uint16_t type = 0; type <= 14; type++) {
      for (const uint32_t count : {0U, 1U, 2U, 5U, 0xFFFFFFFFU}) {
        TiffBuilder tiff(order);
        tiff.putZeroth({tiff.claim(kExifPointer, type, count, 0xF1F2F3F4),
                        tiff.claim(kGpsPointer, type, count, 2)});
        const Attributes attributes(tiff);
        EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdExif).result());
        EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdInteroperability).result());
        // At 2 stands the 42, which would be entries, and at 0 the byte order, even more.
        EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdGps).result());
      }
    }
  }
}

// ---- Values ---------------------------------------------------------------

TEST(HostileExif, AValueIsThereUpToTheLastByteOfTheStructure) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder base(order);
    const uint32_t zeroth = base.putZeroth({base.claim(700, kAscii, 10, 0), base.longOf(701, 7)});
    base.put(Bytes(10, 'x'));
    const auto size = static_cast<uint32_t>(base.bytes().size());
    const struct {
      uint32_t offset;
      bool inside;
    } kCases[] = {{0, true},           {size - 10, true},   {size - 9, false},
                  {size, false},       {size + 1, false},   {0x7FFFFFFF, false},
                  {0x80000000, false}, {0xFFFFFFF6, false}, {0xFFFFFFFF, false}};
    for (const auto &c : kCases) {
      TiffBuilder tiff = base;
      tiff.overwrite32(zeroth + 2 + 8, c.offset);
      const Attributes attributes(tiff);
      const Cursor cursor(attributes, jpg::kIfdZeroth);
      EXPECT_RESULT(c.inside ? JPG_OK : JPG_E_NOT_FOUND, cursor.find(700).result) << c.offset;
      const Told told = cursor.next();
      EXPECT_RESULT(c.inside ? JPG_OK : JPG_E_NOT_FOUND, told.result) << c.offset;
      EXPECT_EQ(told.tag, 700);  // the tag is told all the same
      if (!c.inside) {
        EXPECT_EQ(told.value, 0xDEADDEAD);
      }
      EXPECT_EQ(cursor.next().value, 7u);  // and the walk goes on
    }
  }
}

// Sums of small numbers; all that doesn't fit 32 bits is outside.
TEST(HostileExif, PlacesOfAllLengthsAndOffsetsAreInsideWhereTheirEndIs) {
  JpgExifAttributes a = {};
  for (const uint32_t base : {0U, 20U, 65527U}) {
    for (uint32_t length = base; length <= base + 20; length++) {
      a.tiffLength = length;
      for (uint64_t offset = 0; offset <= 65560; offset += offset == 45 ? 65460 : 1) {
        for (uint64_t bytes = 0; bytes <= 65560; bytes += bytes == 45 ? 65460 : 1) {
          ASSERT_EQ(jpg::insideTiff(a, offset, bytes), offset + bytes <= length)
              << offset << " + " << bytes << " of " << length;
        }
        for (const uint64_t huge : {0x7FFFFFFFULL, 0x80000000ULL, 0xFFFFFFFFULL, 0x100000000ULL,
                                    0x7FFFFFFFFULL, ~0ULL - 65536, ~0ULL - 1, ~0ULL}) {
          ASSERT_FALSE(jpg::insideTiff(a, offset, huge));
          ASSERT_FALSE(jpg::insideTiff(a, huge, offset));
          ASSERT_FALSE(jpg::insideTiff(a, huge, huge));
        }
      }
    }
  }
}

// An entry whose value begins at the structure's first byte, at its last, or behind it.
TEST(HostileExif, EntriesOfAllCountsAreInsideWhereTheirEndIs) {
  constexpr uint32_t kCountAt = 14, kValueAt = 18;  // of the first entry, behind 8 and 2 bytes
  TiffBuilder tiff(ByteOrder::kBig);
  tiff.putZeroth({tiff.claim(700, kLong, 1, 0)});
  const auto length = static_cast<uint32_t>(tiff.bytes().size());
  const Attributes attributes(tiff);
  uint8_t *bytes = attributes.handle()->tiff;
  const auto put = [&bytes](uint32_t at, uint32_t value) {
    for (uint32_t i = 0; i < 4; i++) bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
  };
  for (uint16_t type = kByte; type <= kDouble; type++) {
    bytes[kCountAt - 1] = static_cast<uint8_t>(type);
    for (const uint32_t at : {0U, 1U, length - 1, length, length + 1, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      put(kValueAt, at);
      // All up to one that no structure has room for, then every power of two and its neighbours.
      std::vector<uint32_t> counts;
      for (uint32_t n = 0; n <= 300; n++) counts.push_back(n);
      for (uint32_t n = 9; n < 32; n++) {
        for (const uint32_t near : {~0U, 0U, 1U}) counts.push_back((1U << n) + near);
      }
      counts.push_back(0xFFFFFFFF);
      for (const uint32_t count : counts) {
        put(kCountAt, count);
        const Cursor cursor(attributes, jpg::kIfdZeroth);
        const Told told = cursor.next();
        const uint64_t size = uint64_t{count} * jpg::tiffTypeSize(type);
        const bool inside = size <= 4 || at + size <= length;
        ASSERT_EQ(told.result, inside ? JPG_OK : JPG_E_NOT_FOUND)
            << "type " << type << ", count " << count << " at " << at;
        if (inside) {
          ASSERT_EQ(told.size, size);
        }
      }
    }
  }
}

TEST(HostileExif, CountsThatOverflowAreOutside) {
  for (uint16_t type = kByte; type <= kDouble; type++) {
    // From the third on these make 0, 2, 4 or 8 bytes modulo 2^32 for sizes of 2, 4 or 8.
    for (const uint32_t count : {0xFFFFFFFFU, 0x7FFFFFFFU, 0x20000000U, 0x40000000U, 0x80000000U,
                                 0x20000001U, 0x40000001U, 0x80000001U}) {
      TiffBuilder tiff(ByteOrder::kLittle);
      tiff.putZeroth({tiff.claim(700, type, count, 8), tiff.longOf(701, 7)});
      const Attributes attributes(tiff);
      const Cursor cursor(attributes, jpg::kIfdZeroth);
      EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(700).result) << type << " x " << count;
      EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.next().result) << type << " x " << count;
      EXPECT_EQ(cursor.next().value, 7u);
    }
  }
}

TEST(HostileExif, ElementsOfAnEntryThatWasRefusedAreNotRead) {
  for (const uint16_t type : {uint16_t{kShort}, uint16_t{kLong}}) {
    TiffBuilder tiff(ByteOrder::kBig);
    tiff.putZeroth({tiff.claim(700, type, 0x40000000, 8), tiff.claim(701, type, 3, kNoFit)});
    const Attributes attributes(tiff);
    const Cursor cursor(attributes, jpg::kIfdZeroth);
    for (const uint16_t tag : {uint16_t{700}, uint16_t{701}}) {
      ASSERT_RESULT(JPG_E_NOT_FOUND, cursor.find(tag).result);
      uint32_t element = 0;
      for (const uint32_t i : {0U, 1U, 2U, 3U, 0x3FFFFFFFU}) {
        EXPECT_RESULT(JPG_E_NOT_FOUND, jpg::ifdElement(*cursor.get(), i, &element)) << tag;
      }
    }
  }
}

// ---- Anything -------------------------------------------------------------

// A structure with everything in it: five directories, values of every type, and a thumbnail,
// compressed or in strips.
TiffBuilder everything(ByteOrder order, bool compressed) {
  TiffBuilder tiff(order);
  const uint32_t interoperability = tiff.putIfd({tiff.text(1, "R98")});
  std::vector<TiffEntry> all;
  for (uint16_t type = 1; type <= kDouble; type++) {
    const uint32_t size = jpg::tiffTypeSize(type);
    const uint32_t count = type % 3 + 1U;
    all.push_back({static_cast<uint16_t>(33000 + type), type, count, Bytes(size * count, 0x41)});
  }
  all.push_back(tiff.longOf(kInteroperabilityPointer, interoperability));
  const uint32_t exif = tiff.putIfd(all);
  const uint32_t gps = tiff.putIfd({tiff.text(1, "N")});
  std::vector<TiffEntry> entries = {tiff.longOf(256, 12), tiff.longOf(257, 9),
                                    tiff.shortOf(259, compressed ? 6 : 1), tiff.shortOf(262, 2)};
  if (compressed) {
    const Bytes jpeg = encode(makePicture(12, 9, {0x21, 0x11, 0x11}));
    const uint32_t at = tiff.put(jpeg);
    entries.push_back(tiff.longOf(513, at));
    entries.push_back(tiff.longOf(514, static_cast<uint32_t>(jpeg.size())));
  } else {
    const uint32_t at = tiff.put(Bytes(12 * 9 * 3, 0x66));
    entries.push_back(tiff.longs(273, {at, at + 144, at + 288}));
    entries.push_back(tiff.shortOf(278, 4));
    entries.push_back(tiff.longs(279, {144, 144, 36}));
  }
  const uint32_t first = tiff.putIfd(entries);
  tiff.putZeroth(
      {tiff.text(271, "a maker"), tiff.longOf(kExifPointer, exif), tiff.longOf(kGpsPointer, gps)},
      first);
  return tiff;
}

void walkAll(const Attributes &attributes) {
  for (int32_t number = 1; number <= 5; number++) {
    const Cursor cursor(attributes, number);
    if (cursor.result() != JPG_OK) {
      EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.result());
      continue;
    }
    uint32_t element = 0;
    for (Told told = cursor.next(); told.result != JPG_E_END_OF_IMAGE; told = cursor.next()) {
      EXPECT_TRUE(told.result == JPG_OK || told.result == JPG_E_NOT_FOUND);
      for (uint32_t i = 0; i < 8; i++) {
        if (jpg::ifdElement(*cursor.get(), i, &element) != JPG_OK) break;
      }
    }
    for (const uint16_t tag : {uint16_t{273}, uint16_t{513}, kExifPointer}) cursor.find(tag);
  }
}

// Reads the thumbnail into a bitmap of the size that is told, with a guard on both sides.
void readThumbnail(const Attributes &attributes, uint16_t depth) {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info = {};
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&info);
  info.header.biBitCount = depth;
  if (jpgExifReadThumbnailToWinDIBits(attributes.handle(), nullptr, bmi) != JPG_OK) return;
  EXPECT_GE(info.header.biWidth, 0);
  EXPECT_GE(info.header.biHeight, 0);
  const auto width = static_cast<uint64_t>(info.header.biWidth);
  const uint64_t row = (width * depth / 8 + 3) / 4 * 4;
  const uint64_t size = row * static_cast<uint64_t>(info.header.biHeight);
  if (size > 1U << 20) return;  // decoded for nothing: it can't be in a segment
  constexpr size_t kGuard = 64;
  Bytes memory(static_cast<size_t>(size) + 2 * kGuard, 0xA5);
  jpgExifReadThumbnailToWinDIBits(attributes.handle(), memory.data() + kGuard, bmi);
  for (size_t i = 0; i < kGuard; i++) {
    ASSERT_EQ(memory[i], 0xA5);
    ASSERT_EQ(memory[memory.size() - 1 - i], 0xA5);
  }
}

void readAll(const Bytes &tiff) {
  const Attributes attributes(streamWith(exifSegment(tiff)));
  if (attributes.result() != JPG_OK) {
    EXPECT_RESULT(JPG_E_NOT_FOUND, attributes.result());
    return;
  }
  walkAll(attributes);
  for (const uint16_t depth : {uint16_t{24}, uint16_t{8}, uint16_t{16}}) {
    readThumbnail(attributes, depth);
  }
}

TEST(HostileExif, StructuresCutAnywhereAreReadUpToTheirEnd) {
  for (const ByteOrder order : kByteOrders) {
    for (const bool compressed : {false, true}) {
      const Bytes whole = everything(order, compressed).bytes();
      for (size_t size = 0; size <= whole.size(); size++) {
        readAll(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
      }
    }
  }
}

TEST(HostileExif, StructuresWithRandomDamageAreReadWithinTheirBounds) {
  constexpr uint8_t kTelling[] = {0, 1, 3, 4, 6, 8, 12, 13, 0x7F, 0x80, 0xFE, 0xFF};
  Random random(6);
  for (int round = 0; round < 4000; round++) {
    Bytes tiff = everything(kByteOrders[round % 2], round / 2 % 2 == 0).bytes();
    const auto last = static_cast<int32_t>(tiff.size()) - 1;
    for (int32_t n = random.between(1, 8); n > 0; n--) {
      const auto at = static_cast<size_t>(random.between(random.oneIn(4) ? 0 : 4, last));
      const int32_t telling = random.between(0, 11);
      tiff[at] = random.oneIn(2) ? kTelling[telling] : static_cast<uint8_t>(random.between(0, 255));
    }
    readAll(tiff);
    if (HasFailure()) FAIL() << "round " << round;
  }
}

TEST(HostileExif, StructuresOfRandomBytesAreReadWithinTheirBounds) {
  Random random(61);
  for (int round = 0; round < 2000; round++) {
    Bytes tiff(static_cast<size_t>(random.between(8, 300)));
    for (uint8_t &byte : tiff) {
      byte = static_cast<uint8_t>(random.oneIn(3) ? random.between(0, 255) : random.between(0, 8));
    }
    tiff[0] = random.oneIn(2) ? 'M' : 'I';
    readAll(tiff);
    if (HasFailure()) FAIL() << "round " << round;
  }
}

}  // namespace
