// SPDX-License-Identifier: MIT
// The cursor over a directory: opening, walking, finding, closing.
#include <array>
#include <cstring>

#include "exif/attributes.h"

namespace {

using namespace jpgtest;

// ---- Values ---------------------------------------------------------------

// Four bytes whose every reading differs, and is negative where a sign counts in one order.
constexpr uint8_t kField[4] = {0xF1, 0x02, 0x83, 0x04};

// The first bytes of the field as they lie in memory.
uint32_t inMemory(size_t count) {
  uint32_t word = 0;
  std::memcpy(&word, kField, count);
  return word;
}

struct InsideCase {
  uint16_t type;
  uint32_t count;
  uint32_t size;
  uint32_t little, big;  // the value in either byte order
};

const InsideCase kInside[] = {
    {kByte, 1, 1, 0xF1, 0xF1},
    {kByte, 2, 2, 0xF1, 0xF1},
    {kByte, 4, 4, 0xF1, 0xF1},
    {kAscii, 1, 1, inMemory(1), inMemory(1)},
    {kAscii, 2, 2, inMemory(2), inMemory(2)},
    {kAscii, 3, 3, inMemory(3), inMemory(3)},
    {kAscii, 4, 4, inMemory(4), inMemory(4)},
    {kShort, 1, 2, 0x02F1, 0xF102},
    {kShort, 2, 4, 0x048302F1, 0xF1028304},
    {kLong, 1, 4, 0x048302F1, 0xF1028304},
    {kSbyte, 1, 1, 0xFFFFFFF1, 0xFFFFFFF1},
    {kSbyte, 3, 3, 0xFFFFFFF1, 0xFFFFFFF1},
    {kUndefined, 1, 1, inMemory(1), inMemory(1)},
    {kUndefined, 3, 3, inMemory(3), inMemory(3)},
    {kUndefined, 4, 4, inMemory(4), inMemory(4)},
    {kSshort, 1, 2, 0x02F1, 0xFFFFF102},
    {kSshort, 2, 4, 0x02F1, 0xFFFFF102},
    {kSlong, 1, 4, 0x048302F1, 0xF1028304},
    {kFloat, 1, 4, 0x048302F1, 0xF1028304},
};

TEST(IfdValue, StandsInTheEntryUpToFourBytes) {
  for (const ByteOrder order : kByteOrders) {
    for (const InsideCase &c : kInside) {
      TiffBuilder tiff(order);
      tiff.putZeroth({{700, c.type, c.count, Bytes(kField, kField + 4)}});
      const Attributes attributes(tiff);
      const Cursor cursor(attributes, jpg::kIfdZeroth);
      const uint32_t value = order == ByteOrder::kLittle ? c.little : c.big;
      for (const Told &told : {cursor.next(), cursor.find(700)}) {
        EXPECT_RESULT(JPG_OK, told.result);
        EXPECT_EQ(told.size, c.size) << "type " << c.type << ", count " << c.count;
        EXPECT_EQ(told.value, value) << "type " << c.type << ", count " << c.count;
      }
    }
  }
}

TEST(IfdValue, IsAnOffsetBeyondFourBytes) {
  constexpr struct {
    uint16_t type;
    uint32_t count, size;
  } kCases[] = {{kByte, 5, 5},     {kAscii, 5, 5},      {kShort, 3, 6},     {kLong, 2, 8},
                {kRational, 1, 8}, {kSbyte, 9, 9},      {kUndefined, 7, 7}, {kSshort, 3, 6},
                {kSlong, 2, 8},    {kSrational, 2, 16}, {kFloat, 2, 8},     {kDouble, 1, 8}};
  for (const ByteOrder order : kByteOrders) {
    for (const auto &c : kCases) {
      TiffBuilder tiff(order);
      const uint32_t offset = tiff.put(Bytes(c.size, 0x77));
      tiff.putZeroth({tiff.claim(700, c.type, c.count, offset)});
      const Attributes attributes(tiff);
      const Cursor cursor(attributes, jpg::kIfdZeroth);
      for (const Told &told : {cursor.next(), cursor.find(700)}) {
        EXPECT_RESULT(JPG_OK, told.result);
        EXPECT_EQ(told.size, c.size) << "type " << c.type;
        EXPECT_EQ(told.value, offset) << "type " << c.type;
      }
    }
  }
}

TEST(IfdValue, HasNoSizeWithoutACountOrAKnownType) {
  TiffBuilder tiff(ByteOrder::kBig);
  std::vector<TiffEntry> entries;
  for (uint16_t type = 1; type <= kDouble; type++) entries.push_back({type, type, 0, {}});
  for (const uint32_t unknown : {0U, 13U, 14U, 255U, 256U, 65535U}) {
    const auto type = static_cast<uint16_t>(unknown);
    const auto tag = static_cast<uint16_t>(100 + entries.size());
    entries.push_back(tiff.claim(tag, type, 0xFFFFFFFF, 0xFFFFFFFF));
  }
  tiff.putZeroth(entries);
  const Attributes attributes(tiff);
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  for (const TiffEntry &entry : entries) {
    const Told told = cursor.next();
    EXPECT_RESULT(JPG_OK, told.result);
    EXPECT_EQ(told.tag, entry.tag);
    EXPECT_EQ(told.size, 0u) << "type " << entry.type;
  }
}

// ---- Directories ----------------------------------------------------------

// A structure with all five directories; the value of tag 999 tells them apart.
TiffBuilder fiveDirectories(ByteOrder order) {
  TiffBuilder tiff(order);
  const uint32_t interoperability = tiff.putIfd({tiff.text(1, "R98"), tiff.longOf(999, 5)});
  const uint32_t gps = tiff.putIfd({tiff.longOf(999, 4)});
  const uint32_t exif = tiff.putIfd({tiff.longOf(999, 3), tiff.text(37510, "a comment"),
                                     tiff.longOf(kInteroperabilityPointer, interoperability)});
  const uint32_t first = tiff.putIfd({tiff.longOf(999, 2)});
  tiff.putZeroth({tiff.text(271, "maker"), tiff.longOf(999, 1), tiff.longOf(kExifPointer, exif),
                  tiff.longOf(kGpsPointer, gps)},
                 first);
  return tiff;
}

TEST(IfdOpen, KnowsFiveDirectoriesInBothByteOrders) {
  for (const ByteOrder order : kByteOrders) {
    const Attributes attributes(fiveDirectories(order));
    for (int32_t number = 1; number <= 5; number++) {
      const Cursor cursor(attributes, number);
      EXPECT_RESULT(JPG_OK, cursor.result());
      EXPECT_EQ(cursor.find(999).value, static_cast<uint32_t>(number));
      uint32_t value = 0;
      EXPECT_RESULT(JPG_OK, jpg::findInIfd(attributes.handle(), number, 999, &value));
      EXPECT_EQ(value, static_cast<uint32_t>(number));
    }
  }
}

TEST(IfdOpen, DoesNotFindDirectoriesThatNobodyNames) {
  for (const ByteOrder order : kByteOrders) {
    TiffBuilder tiff(order);
    tiff.putZeroth({tiff.longOf(999, 1)}, 0);
    const Attributes attributes(tiff);
    EXPECT_RESULT(JPG_OK, Cursor(attributes, 1).result());
    for (int32_t number = 2; number <= 5; number++) {
      EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, number).result()) << number;
      EXPECT_RESULT(JPG_E_NOT_FOUND, jpg::findInIfd(attributes.handle(), number, 999, nullptr));
    }
  }
  TiffBuilder tiff(ByteOrder::kBig);  // an Exif directory without the Interoperability one
  const uint32_t exif = tiff.putIfd({tiff.longOf(999, 3)});
  tiff.putZeroth({tiff.longOf(kExifPointer, exif)});
  const Attributes attributes(tiff);
  EXPECT_RESULT(JPG_OK, Cursor(attributes, jpg::kIfdExif).result());
  EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdInteroperability).result());
}

// Even where the start of the structure would do for an empty directory.
TEST(IfdOpen, ALinkOf0LeadsNowhere) {
  TiffBuilder tiff(ByteOrder::kLittle);
  tiff.putZeroth({tiff.longOf(999, 1)}, 0);
  Bytes bytes = tiff.bytes();
  bytes[0] = bytes[1] = 0;
  const Attributes attributes(streamWith(exifSegment(bytes)));
  EXPECT_RESULT(JPG_OK, Cursor(attributes, jpg::kIfdZeroth).result());
  EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdFirst).result());
}

TEST(IfdOpen, RefusalsComeInTheirOrder) {
  const Attributes attributes(fiveDirectories(ByteOrder::kBig));
  JpgIfdCursor *cursor = nullptr;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::openIfd(nullptr, 0, &cursor));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::openIfd(attributes.handle(), 0, nullptr));
  for (const int32_t number : {0, 6, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpg::openIfd(attributes.handle(), number, &cursor));
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                  jpg::findInIfd(attributes.handle(), number, 999, nullptr));
  }
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::findInIfd(nullptr, 1, 999, nullptr));
}

TEST(IfdOpen, IsOutOfMemoryWhenTheCursorCannotBeHad) {
  for (int32_t number = 1; number <= 5; number++) {
    const uint32_t cursors = number <= 2 ? 1 : number <= 4 ? 2 : 3;  // the way there takes more
    for (uint32_t n = 1; n <= cursors; n++) {
      jpg::faulty::reset();
      const Attributes attributes(fiveDirectories(ByteOrder::kLittle));
      const size_t before = jpg::faulty::liveBlocks();
      failFromNow(jpg::faulty::Operation::kAlloc, n);
      EXPECT_RESULT(JPG_E_OUT_OF_MEMORY, Cursor(attributes, number).result()) << number;
      EXPECT_EQ(jpg::faulty::liveBlocks(), before);
    }
  }
}

// ---- Walking --------------------------------------------------------------

TEST(IfdWalk, TakesEveryEntryInItsPlaceAndEnds) {
  const Attributes attributes(fiveDirectories(ByteOrder::kBig));
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  for (const uint16_t tag : {uint16_t{271}, uint16_t{999}, kExifPointer, kGpsPointer}) {
    const Told told = cursor.next();
    EXPECT_RESULT(JPG_OK, told.result);
    EXPECT_EQ(told.tag, tag);
  }
  for (int again = 0; again < 3; again++) {
    const Told told = cursor.next();
    EXPECT_RESULT(JPG_E_END_OF_IMAGE, told.result);
    EXPECT_EQ(told.tag, 0xDEAD);  // nothing is told
    EXPECT_EQ(told.value, 0xDEADDEAD);
  }
}

TEST(IfdWalk, TakesAnUnsortedDirectoryAsItStands) {
  TiffBuilder tiff(ByteOrder::kLittle);
  tiff.putZeroth({tiff.longOf(300, 1), tiff.longOf(100, 2), tiff.longOf(300, 3)});
  const Attributes attributes(tiff);
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  EXPECT_EQ(cursor.next().value, 1u);
  EXPECT_EQ(cursor.next().value, 2u);
  EXPECT_EQ(cursor.next().value, 3u);
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, cursor.next().result);
}

TEST(IfdWalk, TellsOnlyWhatIsAskedFor) {
  const Attributes attributes(fiveDirectories(ByteOrder::kLittle));
  const Cursor cursor(attributes, jpg::kIfdGps);
  uint16_t tag = 0;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::nextIfdEntry(nullptr, &tag, nullptr, nullptr));
  // Without a place for the tag the entry isn't taken; behind the last the end comes first.
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::nextIfdEntry(cursor.get(), nullptr, nullptr, nullptr));
  EXPECT_RESULT(JPG_OK, jpg::nextIfdEntry(cursor.get(), &tag, nullptr, nullptr));
  EXPECT_EQ(tag, 999);
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, jpg::nextIfdEntry(cursor.get(), nullptr, nullptr, nullptr));
}

TEST(IfdWalk, EndsAtOnceInAnEmptyDirectory) {
  TiffBuilder tiff(ByteOrder::kBig);
  tiff.putZeroth({});
  const Attributes attributes(tiff);
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  EXPECT_RESULT(JPG_OK, cursor.result());
  EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(0).result);
  EXPECT_RESULT(JPG_E_END_OF_IMAGE, cursor.next().result);
}

// ---- Finding --------------------------------------------------------------

TEST(IfdFind, StopsAtTheFirstGreaterTag) {
  TiffBuilder tiff(ByteOrder::kBig);
  tiff.putZeroth({tiff.longOf(256, 1), tiff.longOf(257, 2), tiff.longOf(400, 3),
                  tiff.longOf(300, 4), tiff.longOf(500, 5)});
  const Attributes attributes(tiff);
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(300).result);  // it stands behind 400
  EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(255).result);
  EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(501).result);
  EXPECT_EQ(cursor.find(256).value, 1u);
  EXPECT_EQ(cursor.find(257).value, 2u);
  EXPECT_EQ(cursor.find(400).value, 3u);
  EXPECT_EQ(cursor.find(500).value, 5u);
}

TEST(IfdFind, DoesNotMoveTheWalkAndMayTellNothing) {
  const Attributes attributes(fiveDirectories(ByteOrder::kLittle));
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  EXPECT_EQ(cursor.next().tag, 271);
  EXPECT_EQ(cursor.find(kGpsPointer).result, JPG_OK);
  EXPECT_RESULT(JPG_OK, jpg::findIfdEntry(cursor.get(), 271, nullptr, nullptr));
  EXPECT_RESULT(JPG_E_NOT_FOUND, cursor.find(1).result);
  EXPECT_EQ(cursor.next().tag, 999);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::findIfdEntry(nullptr, 271, nullptr, nullptr));
}

// ---- Elements -------------------------------------------------------------

TEST(IfdElement, IsANumberOfShortOrLongInsideAndOutside) {
  const std::vector<uint32_t> numbers = {7, 65535, 0x1234, 9, 0x8001};
  for (const ByteOrder order : kByteOrders) {
    for (size_t count = 1; count <= numbers.size(); count++) {
      const std::vector<uint32_t> some(numbers.begin(),
                                       numbers.begin() + static_cast<std::ptrdiff_t>(count));
      TiffBuilder tiff(order);
      tiff.putZeroth({tiff.shorts(700, some), tiff.longs(701, some)});
      const Attributes attributes(tiff);
      const Cursor cursor(attributes, jpg::kIfdZeroth);
      for (const uint16_t tag : {uint16_t{700}, uint16_t{701}}) {
        EXPECT_RESULT(JPG_OK, cursor.find(tag).result);
        uint32_t element = 0;
        for (uint32_t i = 0; i < count; i++) {
          EXPECT_RESULT(JPG_OK, jpg::ifdElement(*cursor.get(), i, &element));
          EXPECT_EQ(element, some[i]) << "element " << i << " of " << count << " of tag " << tag;
        }
        for (const uint32_t i : {static_cast<uint32_t>(count), 0x80000000U, 0xFFFFFFFFU}) {
          EXPECT_RESULT(JPG_E_NOT_FOUND, jpg::ifdElement(*cursor.get(), i, &element));
        }
      }
    }
  }
}

TEST(IfdElement, IsNotThereForOtherTypesAndAheadOfTheFirstEntry) {
  TiffBuilder tiff(ByteOrder::kBig);
  std::vector<TiffEntry> entries;
  for (uint16_t type = 0; type <= 13; type++) {
    if (type == kShort || type == kLong) continue;
    entries.push_back(tiff.claim(static_cast<uint16_t>(700 + type), type, 1, 8));
  }
  tiff.putZeroth(entries);
  const Attributes attributes(tiff);
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  uint32_t element = 0;
  EXPECT_RESULT(JPG_E_NOT_FOUND, jpg::ifdElement(*cursor.get(), 0, &element));
  for (const TiffEntry &entry : entries) {
    EXPECT_RESULT(JPG_OK, cursor.next().result);
    EXPECT_RESULT(JPG_E_NOT_FOUND, jpg::ifdElement(*cursor.get(), 0, &element)) << entry.type;
  }
}

// ---- Closing --------------------------------------------------------------

TEST(IfdClose, RefusesWhatIsNoCursor) {
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::closeIfd(nullptr));
  JpgIfdCursor zeros = {};
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::closeIfd(&zeros));
  const Attributes attributes(fiveDirectories(ByteOrder::kLittle));
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  JpgIfdCursor copy = *cursor.get();
  copy.recordSize++;
  uint16_t tag = 0;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::closeIfd(&copy));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::nextIfdEntry(&copy, &tag, nullptr, nullptr));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpg::findIfdEntry(&copy, 271, nullptr, nullptr));
}

// What a stale handle or cursor points to is refused as long as nobody has reused it.
TEST(IfdClose, WipesTheSignaturesOfCursorsAndAttributes) {
  {
    const Attributes attributes(fiveDirectories(ByteOrder::kLittle));
    JpgIfdCursor *cursor = nullptr;
    ASSERT_RESULT(JPG_OK, jpg::openIfd(attributes.handle(), jpg::kIfdZeroth, &cursor));
    EXPECT_NE(cursor->signature, 0U);
    EXPECT_RESULT(JPG_OK, jpg::closeIfd(cursor));
    EXPECT_EQ(jpg::faulty::lastFreedWord(), 0U);
    EXPECT_NE(attributes.handle()->signature, 0U);
  }
  EXPECT_EQ(jpg::faulty::lastFreedWord(), 0U);
}

TEST(IfdClose, TellsWhetherTheRecordWentBack) {
  jpg::faulty::reset();
  const Attributes attributes(fiveDirectories(ByteOrder::kLittle));
  const size_t before = jpg::faulty::liveBlocks();
  JpgIfdCursor *cursor = nullptr;
  ASSERT_RESULT(JPG_OK, jpg::openIfd(attributes.handle(), jpg::kIfdZeroth, &cursor));
  EXPECT_EQ(jpg::faulty::liveBlocks(), before + 1);
  failFromNow(jpg::faulty::Operation::kFree, 1);
  EXPECT_RESULT(JPG_E_FAIL, jpg::closeIfd(cursor));
  EXPECT_EQ(jpg::faulty::liveBlocks(), before);
}

}  // namespace
