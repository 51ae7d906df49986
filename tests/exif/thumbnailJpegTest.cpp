// SPDX-License-Identifier: MIT
// A compressed thumbnail into a bitmap.
#include "exif/bitmap.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/streamBuilder.h"

namespace {

using namespace jpgtest;

// The same of a stream that is no thumbnail.
Bitmap readImage(const Bytes &stream, uint16_t depth, bool topDown, uint32_t flags = 0) {
  const Reader reader = Reader::ofMemory(stream, flags);
  Bitmap bitmap;
  bitmap.info.header.biBitCount = depth;
  bitmap.described = jpgReadToWinDIBits(reader.handle(), 0, nullptr, bitmap.info.bmi());
  const int32_t height = bitmap.info.header.biHeight;
  if (topDown) bitmap.info.header.biHeight = -height;
  makeBits(&bitmap);
  bitmap.read = jpgReadToWinDIBits(reader.handle(), height, bitmap.bits.data(), bitmap.info.bmi());
  return bitmap;
}

// A structure whose 1st directory names this stream.
TiffBuilder compressed(const Bytes &jpeg, ByteOrder order = ByteOrder::kBig) {
  TiffBuilder tiff(order);
  const uint32_t at = tiff.put(jpeg);
  const uint32_t first = tiff.putIfd({tiff.shortOf(259, 6), tiff.longOf(513, at),
                                      tiff.longOf(514, static_cast<uint32_t>(jpeg.size()))});
  tiff.putZeroth({}, first);
  return tiff;
}

Bytes pictureOf(const std::vector<uint8_t> &samplings, uint16_t width = 21, uint16_t height = 18) {
  return encode(makePicture(width, height, samplings));
}

TEST(JpegThumbnail, CompressedColourIsReadAsTheStreamAlone) {
  const Bytes jpeg = pictureOf({0x22, 0x11, 0x11});
  for (const ByteOrder order : kByteOrders) {
    const Attributes attributes(compressed(jpeg, order));
    for (const uint16_t depth : {uint16_t{24}, uint16_t{8}, uint16_t{16}}) {
      for (const bool topDown : {false, true}) {  // each a second read of the same handle
        const Bitmap thumbnail = readThumbnail(attributes, depth, topDown);
        EXPECT_RESULT(JPG_OK, thumbnail.described);
        EXPECT_RESULT(JPG_OK, thumbnail.read);
        const Bitmap image = readImage(jpeg, depth, topDown);
        EXPECT_EQ(thumbnail.info.header.biWidth, 21);
        EXPECT_EQ(thumbnail.info.header.biHeight, topDown ? -18 : 18);
        EXPECT_EQ(thumbnail.bits == image.bits, true) << depth << " bits";
      }
    }
  }
}

// A structure whose 1st directory names a stream by tags 513 and 514, with these others.
TiffBuilder named(const Bytes &jpeg, uint32_t length, const std::vector<uint32_t> &compression) {
  TiffBuilder tiff(ByteOrder::kLittle);
  const uint32_t at = tiff.put(jpeg);
  std::vector<TiffEntry> entries;
  for (const uint32_t value : compression) {
    entries.push_back(tiff.shortOf(259, static_cast<uint16_t>(value)));
  }
  entries.push_back(tiff.longOf(513, at));
  entries.push_back(tiff.longOf(514, length));
  const uint32_t first = tiff.putIfd(entries);
  tiff.putZeroth({}, first);
  return tiff;
}

TEST(JpegThumbnail, IsFoundByItsPlaceAloneWhereTheHandleReadsLeniently) {
  const Bytes jpeg = pictureOf({0x22, 0x11, 0x11});
  const Bitmap image = readImage(jpeg, 24, false, JPG_READ_LENIENT);
  const auto length = static_cast<uint32_t>(jpeg.size());
  for (const std::vector<uint32_t> &compression :
       {std::vector<uint32_t>{}, std::vector<uint32_t>{1}, std::vector<uint32_t>{7}}) {
    const TiffBuilder tiff = named(jpeg, length, compression);
    const Bitmap thumbnail = readThumbnail(Attributes(tiff, JPG_READ_LENIENT), 24, false);
    EXPECT_RESULT(JPG_OK, thumbnail.described);
    EXPECT_RESULT(JPG_OK, thumbnail.read);
    EXPECT_EQ(thumbnail.bits == image.bits, true);
    EXPECT_RESULT(JPG_E_NOT_FOUND, readThumbnail(Attributes(tiff), 24, false).described);
  }
}

TEST(JpegThumbnail, ThatLeavesTheStructureIsReadAsFarAsItGoesWhereTheHandleReadsLeniently) {
  const Bytes jpeg = pictureOf({0x22, 0x11, 0x11});
  const Bitmap image = readImage(jpeg, 24, false, JPG_READ_LENIENT);
  const TiffBuilder tiff = named(jpeg, 60000, {6});
  const Bitmap thumbnail = readThumbnail(Attributes(tiff, JPG_READ_LENIENT), 24, false);
  EXPECT_RESULT(JPG_OK, thumbnail.read);
  EXPECT_EQ(thumbnail.bits == image.bits, true);
  EXPECT_RESULT(JPG_E_NOT_FOUND, readThumbnail(Attributes(tiff), 24, false).described);
  // One that lies outside, or has no bytes, isn't there.
  EXPECT_RESULT(
      JPG_E_NOT_FOUND,
      readThumbnail(Attributes(named(jpeg, 0, {6}), JPG_READ_LENIENT), 24, false).described);
}

TEST(JpegThumbnail, IsReadInScansInInksAndDamagedWhereTheHandleReadsLeniently) {
  Picture inks = makePicture(21, 18, {0x11, 0x11, 0x11, 0x11});
  Bytes cut = pictureOf({0x22, 0x11, 0x11});
  cut.resize(cut.size() - 40);
  const struct {
    Bytes jpeg;
    uint32_t result;
  } cases[] = {{encodeInScans(makePicture(21, 18, {0x22, 0x11, 0x11}), {{0}, {1}, {2}}), JPG_OK},
               {encode(inks), JPG_OK},
               {cut, JPG_E_DAMAGED}};
  for (const auto &c : cases) {
    const Attributes attributes(compressed(c.jpeg), JPG_READ_LENIENT);
    for (const uint16_t depth : {uint16_t{24}, uint16_t{8}, uint16_t{16}}) {
      const Bitmap thumbnail = readThumbnail(attributes, depth, false);
      const Bitmap image = readImage(c.jpeg, depth, false, JPG_READ_LENIENT);
      EXPECT_RESULT(JPG_OK, thumbnail.described);
      EXPECT_RESULT(c.result, thumbnail.read);
      EXPECT_RESULT(c.result, image.read);
      EXPECT_EQ(thumbnail.bits == image.bits, true);
    }
  }
}

TEST(JpegThumbnail, IsReadWithTheOptionsOfTheHandleThatTheSegmentCameFrom) {
  const Bytes jpeg = encode(makePicture(21, 18, {0x22, 0x11, 0x11}, Fill::kDense));
  const Bitmap usual = readImage(jpeg, 24, false);
  for (const uint32_t flags : {0U, 0x100U, JPG_READ_ACCURATE}) {
    const Attributes attributes(compressed(jpeg), flags);
    const Bitmap image = readImage(jpeg, 24, false, flags);
    EXPECT_EQ(readThumbnail(attributes, 24).bits == image.bits, true) << std::hex << flags;
    EXPECT_EQ(image.bits == usual.bits, flags != JPG_READ_ACCURATE) << std::hex << flags;
  }
}

// The handle that read a thumbnail is closed behind it. Were it closed once more with the
// attributes, that would meet whatever has its memory by then: here, one of these readers.
TEST(JpegThumbnail, ItsHandleIsClosedOnce) {
  const Bytes jpeg = pictureOf({0x22, 0x11, 0x11});
  std::vector<Reader> readers;
  {
    const Attributes attributes(compressed(jpeg));
    EXPECT_RESULT(JPG_OK, readThumbnail(attributes, 24).read);
    for (int i = 0; i < 8; i++) readers.push_back(Reader::ofMemory(jpeg));
  }
  for (const Reader &reader : readers) {
    uint32_t width = 0, height = 0;
    EXPECT_RESULT(JPG_OK, jpgReadGetImageSize(reader.handle(), &width, &height));
    EXPECT_EQ(width, 21U);
  }
}

TEST(JpegThumbnail, IsDescribedWithoutAResolution) {
  Picture picture = makePicture(8, 8, {0x11, 0x11, 0x11});
  picture.before = StreamBuilder().jfif(1, 300, 300).bytes();
  const Attributes attributes(compressed(encode(picture)));
  for (const uint16_t asked :
       {uint16_t{0}, uint16_t{4}, uint16_t{8}, uint16_t{16}, uint16_t{24}, uint16_t{32}}) {
    Info info;
    info.header.biBitCount = asked;
    info.header.biXPelsPerMeter = info.header.biYPelsPerMeter = 5;
    EXPECT_RESULT(JPG_OK,
                  jpgExifReadThumbnailToWinDIBits(attributes.handle(), nullptr, info.bmi()));
    EXPECT_EQ(info.header.biBitCount, asked == 16 || asked == 24 ? asked : 8);
    EXPECT_EQ(info.header.biSize, 40u);
    EXPECT_EQ(info.header.biPlanes, 1);
    EXPECT_EQ(info.header.biCompression, asked == 16 ? 3u : 0u);
    EXPECT_EQ(info.header.biXPelsPerMeter, 0);
    EXPECT_EQ(info.header.biYPelsPerMeter, 0);
  }
}

TEST(JpegThumbnail, CompressedGreyGoesInto8BitsOnly) {
  const Bytes jpeg = pictureOf({0x11});
  const Attributes attributes(compressed(jpeg));
  const Bitmap gray = readThumbnail(attributes, 8);
  EXPECT_RESULT(JPG_OK, gray.read);
  EXPECT_EQ(gray.bits == readImage(jpeg, 8, false).bits, true);
  EXPECT_EQ(gray.info.colors[77].rgbRed, 77);  // the grey ramp
  for (const uint16_t depth : {uint16_t{16}, uint16_t{24}}) {
    const Bitmap bitmap = readThumbnail(attributes, depth);
    EXPECT_RESULT(JPG_OK, bitmap.described);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, bitmap.read);
    EXPECT_EQ(bitmap.bits, Bytes(bitmap.bits.size(), 0xA5));
  }
  EXPECT_RESULT(JPG_OK, readThumbnail(attributes, 8).read);  // the refusal spoils nothing
}

TEST(JpegThumbnail, FourComponentsFitNoDepthThatIsDescribed) {
  const Attributes attributes(compressed(pictureOf({0x11, 0x11, 0x11, 0x11})));
  for (const uint16_t depth : {uint16_t{8}, uint16_t{16}, uint16_t{24}}) {
    const Bitmap bitmap = readThumbnail(attributes, depth);
    EXPECT_RESULT(JPG_OK, bitmap.described);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, bitmap.read);
  }
}

// 32 bits a pixel are four components': they go straight in, as the rectangle reader stores them,
// which is three bytes a pixel.
TEST(JpegThumbnail, FourComponentsGoInto32BitsAsTheRectangleReaderStoresThem) {
  const Bytes jpeg = pictureOf({0x11, 0x11, 0x11, 0x11}, 5, 3);
  Bytes expected(20 * 3, 0xA5);
  const Reader reader = Reader::ofMemory(jpeg);
  JpgRect rect = {};
  rect.width = 5;
  rect.stride = 20;
  rect.bits = expected.data();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 3));
  const Attributes attributes(compressed(jpeg));
  Bitmap bitmap;
  bitmap.info.header.biBitCount = 32;
  bitmap.info.header.biWidth = 5;
  bitmap.info.header.biHeight = -3;
  makeBits(&bitmap);
  EXPECT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(attributes.handle(), bitmap.bits.data(),
                                                        bitmap.info.bmi()));
  EXPECT_EQ(bitmap.bits, expected);
}

TEST(JpegThumbnail, NeedsNoEndMarker) {
  Bytes jpeg = pictureOf({0x11, 0x11, 0x11});
  const Bitmap image = readImage(jpeg, 24, false);
  jpeg.resize(jpeg.size() - 2);
  const Attributes attributes(compressed(jpeg));
  const Bitmap thumbnail = readThumbnail(attributes, 24);
  EXPECT_RESULT(JPG_OK, thumbnail.read);
  EXPECT_EQ(thumbnail.bits == image.bits, true);
}

TEST(JpegThumbnail, FailsAsTheNestedStreamFails) {
  const Bytes noStart = {'G', 'I', 'F', '8', '9', 'a'};
  EXPECT_RESULT(JPG_E_NOT_JPEG, readThumbnail(Attributes(compressed(noStart)), 24).described);
  Picture arithmetic = makePicture(8, 8, {0x11});
  arithmetic.sof = kSof9;
  EXPECT_RESULT(JPG_E_UNSUPPORTED,
                readThumbnail(Attributes(compressed(encode(arithmetic))), 8).described);
  Picture lossless = makePicture(8, 8, {0x11});
  lossless.sof = kSof3;
  const Bitmap spatial = readThumbnail(Attributes(compressed(encode(lossless))), 8);
  EXPECT_RESULT(JPG_OK, spatial.described);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, spatial.read);
  Bytes cut = pictureOf({0x11}, 64, 64);
  cut.resize(cut.size() - 100);
  append(cut, {0xFF, kEoi});
  const Bitmap damaged = readThumbnail(Attributes(compressed(cut)), 8);
  EXPECT_RESULT(JPG_OK, damaged.described);
  EXPECT_NE(damaged.read, JPG_OK);
  EXPECT_RESULT(readImage(cut, 8, false).read, damaged.read);
}

TEST(JpegThumbnail, CompressedDataOutsideTheStructureIsNotThere) {
  const Bytes jpeg = pictureOf({0x11});
  const auto length = static_cast<uint32_t>(jpeg.size());
  const struct {
    uint32_t offset, length;
    bool there;
  } kCases[] = {
      {8, length, true},       {0, length, false},          {8, 0, false},
      {60000, length, false},  {8, 60000, false},           {8, 0xFFFFFFFF, false},
      {0xFFFFFFF8, 16, false}, {0x80000000, length, false}, {0xFFFFFFFF, 0xFFFFFFFF, false}};
  for (const auto &c : kCases) {
    TiffBuilder tiff(ByteOrder::kLittle);
    tiff.put(jpeg);  // at 8
    tiff.putZeroth({}, tiff.putIfd({tiff.shortOf(259, 6), tiff.longOf(513, c.offset),
                                    tiff.longOf(514, c.length)}));
    const Attributes attributes(tiff);
    const Bitmap bitmap = readThumbnail(attributes, 8);
    EXPECT_RESULT(c.there ? JPG_OK : JPG_E_NOT_FOUND, bitmap.described) << c.offset;
    EXPECT_RESULT(c.there ? JPG_OK : JPG_E_NOT_FOUND, readThumbnail(attributes, 8).described);
  }
  TiffBuilder none(ByteOrder::kLittle);
  none.putZeroth({}, none.putIfd({none.shortOf(259, 6)}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, readThumbnail(Attributes(none), 8).described);
}

TEST(JpegThumbnail, RefusalsComeInTheirOrder) {
  Info info;
  Bytes bits(64 * 64);
  EXPECT_RESULT(JPG_E_INVALID_HANDLE,
                jpgExifReadThumbnailToWinDIBits(nullptr, nullptr, info.bmi()));
  const Bytes jpeg = pictureOf({0x11, 0x11, 0x11});
  const Attributes attributes(compressed(jpeg));
  JPGEXIFHANDLE h = attributes.handle();
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgExifReadThumbnailToWinDIBits(h, bits.data(), nullptr));
  info.header.biBitCount = 24;
  ASSERT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(h, nullptr, info.bmi()));
  for (const int32_t width : {20, 0, -21, INT32_MAX}) {
    info.header.biWidth = width;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                  jpgExifReadThumbnailToWinDIBits(h, bits.data(), info.bmi()));
  }
  // 32 bits fail behind the decoding, and the thumbnail can be read again.
  info.header.biWidth = 21;
  info.header.biBitCount = 32;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                jpgExifReadThumbnailToWinDIBits(h, bits.data(), info.bmi()));
  EXPECT_EQ(readThumbnail(attributes, 24).bits == readImage(jpeg, 24, false).bits, true);
}

TEST(JpegThumbnail, IsOutOfMemoryWhenABlockCannotBeHad) {
  sweepAllocations(compressed(pictureOf({0x11, 0x11, 0x11})));
}

}  // namespace
