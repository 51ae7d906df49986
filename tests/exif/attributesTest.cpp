// SPDX-License-Identifier: MIT
// Finding the Exif segment, and closing the attribute handle.
#include "exif/attributes.h"

#include <array>
#include <string>

#include "support/picture.h"
#include "support/streamBuilder.h"

namespace {

using namespace jpgtest;
using jpg::faulty::Operation;

Bytes bytesOf(const std::string &text) { return {text.begin(), text.end()}; }

// A structure whose 0th directory has one entry, by which it is told from others.
TiffBuilder marked(uint16_t tag, ByteOrder order = ByteOrder::kLittle) {
  TiffBuilder tiff(order);
  tiff.putZeroth({tiff.shortOf(tag, 1)});
  return tiff;
}

// The tag of the 0th directory's first entry.
uint16_t markOf(const Attributes &attributes) {
  const Cursor cursor(attributes, jpg::kIfdZeroth);
  EXPECT_RESULT(JPG_OK, cursor.result());
  return cursor.result() == JPG_OK ? cursor.next().tag : uint16_t{0};
}

TEST(ExifProlog, OutlivesTheReadHandle) {
  for (const ByteOrder order : kByteOrders) {
    const Attributes attributes(marked(271, order));
    EXPECT_RESULT(JPG_OK, attributes.result());
    EXPECT_EQ(markOf(attributes), 271);
  }
}

TEST(ExifProlog, SkipsOtherSegmentsAndTakesTheFirstExifOne) {
  StreamBuilder before;
  before.jfif().com("Exif").segment(kApp1, bytesOf("http://ns.adobe.com/xap/1.0/"));
  before.segment(0xE2, exifData(marked(1).bytes()));            // APP2
  before.segment(kApp1, bytesOf(std::string("ExifX\0II", 8)));  // a longer word
  before.segment(kApp1, bytesOf(std::string("exif\0\0II", 8)));
  before.segment(kApp1, bytesOf(std::string("Exi\0\0\0II", 8)));
  before.raw(exifSegment(marked(272).bytes())).raw(exifSegment(marked(273).bytes()));
  const Attributes attributes(streamWith(before.bytes()));
  EXPECT_RESULT(JPG_OK, attributes.result());
  EXPECT_EQ(markOf(attributes), 272);
}

TEST(ExifProlog, SkipsApp1SegmentsTooShortForItsHeader) {
  const std::string header("Exif\0", 5);
  StreamBuilder before;
  for (size_t size = 0; size <= header.size(); size++) {
    before.segment(kApp1, bytesOf(header.substr(0, size)));
  }
  before.raw(exifSegment(marked(274).bytes()));
  const Attributes attributes(streamWith(before.bytes()));
  EXPECT_RESULT(JPG_OK, attributes.result());
  EXPECT_EQ(markOf(attributes), 274);
}

// The name is compared as a terminated string, so that the byte behind the terminator is free.
TEST(ExifProlog, DoesNotLookAtTheByteBehindTheTerminator) {
  Bytes data = exifData(marked(275).bytes());
  data[5] = 0xFF;
  const Attributes attributes(streamWith(StreamBuilder().segment(kApp1, data).bytes()));
  EXPECT_RESULT(JPG_OK, attributes.result());
  EXPECT_EQ(markOf(attributes), 275);
}

TEST(ExifProlog, IsNotJpegWithoutAnExifSegment) {
  const Attributes none(streamWith({}));
  EXPECT_RESULT(JPG_E_NOT_JPEG, none.result());
  const Attributes other(streamWith(StreamBuilder().jfif().com("Exif").bytes()));
  EXPECT_RESULT(JPG_E_NOT_JPEG, other.result());
}

TEST(ExifProlog, FindsNoAttributesInAStructureShorterThanItsHeader) {
  const Bytes whole = TiffBuilder(ByteOrder::kBig).bytes();
  ASSERT_EQ(whole.size(), 8u);
  for (size_t size = 0; size <= whole.size(); size++) {
    const Bytes tiff(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const Attributes attributes(streamWith(exifSegment(tiff)));
    EXPECT_RESULT(size < 8 ? JPG_E_NOT_FOUND : JPG_OK, attributes.result()) << size << " bytes";
    if (size < 8) continue;
    // The directory would begin behind the end.
    EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdZeroth).result());
    EXPECT_RESULT(JPG_E_NOT_FOUND, Cursor(attributes, jpg::kIfdFirst).result());
  }
}

TEST(ExifProlog, TakesTheByteOrderFromTheFirstLetterAlone) {
  const struct {
    ByteOrder order;
    uint8_t first, second;
  } kCases[] = {{ByteOrder::kBig, 'M', 'I'},
                {ByteOrder::kBig, 'M', 0},
                {ByteOrder::kLittle, 'I', 'M'},
                {ByteOrder::kLittle, 'm', 'm'},
                {ByteOrder::kLittle, 0, 'M'}};
  for (const auto &c : kCases) {
    Bytes tiff = marked(276, c.order).bytes();
    tiff[0] = c.first;
    tiff[1] = c.second;
    tiff[2] = 99;  // in place of 42, which nobody looks at
    tiff[3] = 99;
    const Attributes attributes(streamWith(exifSegment(tiff)));
    EXPECT_EQ(markOf(attributes), 276) << c.first << c.second;
  }
}

TEST(ExifProlog, ReadsAFileTooAndALargeSegment) {
  TiffBuilder tiff(ByteOrder::kLittle);
  tiff.put(Bytes(65000, 0x55));  // more than the stream's buffer holds
  tiff.putZeroth({tiff.shortOf(277, 3)});
  const TempFile file(streamOf(tiff));
  const Reader reader = Reader::ofFile(file.path());
  ASSERT_RESULT(JPG_OK, reader.result());
  JPGEXIFHANDLE handle = nullptr;
  ASSERT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(reader.handle(), &handle));
  uint32_t value = 0;
  EXPECT_RESULT(JPG_OK, jpg::findInIfd(handle, jpg::kIfdZeroth, 277, &value));
  EXPECT_EQ(value, 3u);
  EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(handle));
}

TEST(ExifProlog, RefusesWhatIsNoReadHandle) {
  JPGEXIFHANDLE handle = reinterpret_cast<JPGEXIFHANDLE>(&handle);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeProlog(nullptr, &handle));
  EXPECT_EQ(handle, nullptr);
  const Reader reader = Reader::ofMemory(streamOf(marked(271)));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeProlog(reader.handle(), nullptr));
  JPGHANDLE writer = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &writer));
  handle = reinterpret_cast<JPGEXIFHANDLE>(&handle);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeProlog(writer, &handle));
  EXPECT_EQ(handle, nullptr);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(writer, &data, &size));
  EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
}

TEST(ExifProlog, LeavesTheDecodersPlaceAsItWas) {
  const Bytes plain = streamWith({});
  const Bytes exif = streamOf(marked(271));
  const auto decode = [](const Bytes &stream, bool readExif) {
    const Reader reader = Reader::ofMemory(stream);
    if (readExif) {
      JPGEXIFHANDLE handle = nullptr;
      EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(reader.handle(), &handle));
      EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(handle));
    }
    Bytes pixels(16 * 8);
    JpgRect rect = {};
    rect.width = rect.stride = 16;
    rect.bits = pixels.data();
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
    return pixels;
  };
  EXPECT_EQ(decode(exif, true), decode(plain, false));
}

TEST(ExifEpilog, RefusesWhatIsNoAttributeHandle) {
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeEpilog(nullptr));
  alignas(8) std::array<uint8_t, 256> zeros{};
  for (size_t at = 0; at < 4; at++) {
    void *place = zeros.data() + at;
    auto *handle = static_cast<JPGEXIFHANDLE>(place);
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeEpilog(handle));
  }
  const Reader reader = Reader::ofMemory(streamWith({}));
  auto *wrong = reinterpret_cast<JPGEXIFHANDLE>(reader.handle());
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeEpilog(wrong));
  // The signature alone doesn't do.
  const Attributes attributes(marked(271));
  JpgExifAttributes copy = *attributes.handle();
  copy.recordSize++;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadExifReadAttributeEpilog(&copy));
}

TEST(ExifEpilog, FreesAllBlocksAndTellsWhetherTheRecordWentBack) {
  for (const uint32_t failing : {0U, 1U, 2U}) {
    jpg::faulty::reset();
    const Reader reader = Reader::ofMemory(streamOf(marked(271)));
    const size_t before = jpg::faulty::liveBlocks();
    JPGEXIFHANDLE handle = nullptr;
    ASSERT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(reader.handle(), &handle));
    EXPECT_EQ(jpg::faulty::liveBlocks(), before + 2);  // the record and the structure
    if (failing != 0) failFromNow(Operation::kFree, failing);
    const uint32_t r = jpgReadExifReadAttributeEpilog(handle);
    EXPECT_RESULT(failing == 2 ? JPG_E_FAIL : JPG_OK, r) << "free " << failing << " fails";
    EXPECT_EQ(jpg::faulty::liveBlocks(), before);
  }
}

TEST(ExifProlog, IsOutOfMemoryWhenABlockCannotBeHad) {
  for (const uint32_t n : {1U, 2U}) {
    jpg::faulty::reset();
    const Reader reader = Reader::ofMemory(streamOf(marked(271)));
    const size_t before = jpg::faulty::liveBlocks();
    failFromNow(Operation::kAlloc, n);
    JPGEXIFHANDLE handle = nullptr;
    EXPECT_RESULT(JPG_E_OUT_OF_MEMORY, jpgReadExifReadAttributeProlog(reader.handle(), &handle));
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(jpg::faulty::liveBlocks(), before);
  }
}

}  // namespace
