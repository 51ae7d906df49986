// SPDX-License-Identifier: MIT
// An uncompressed thumbnail into a bitmap.
#include <algorithm>

#include "exif/bitmap.h"

namespace {

using namespace jpgtest;

constexpr int32_t kWidth = 5, kHeight = 7;
constexpr uint32_t kRowBytes = 3 * kWidth;

// Rows of red, green and blue by rule.
Bytes rgbRows(int32_t first, int32_t count) {
  Bytes out;
  for (int32_t y = first; y < first + count; y++) {
    for (int32_t i = 0; i < 3 * kWidth; i++)
      out.push_back(static_cast<uint8_t>(31 * y + 5 * i + 1));
  }
  return out;
}

// The same row as a bitmap has it.
Bytes bgrRow(int32_t y) {
  Bytes row = rgbRows(y, 1);
  for (size_t i = 0; i < row.size(); i += 3) std::swap(row[i], row[i + 2]);
  return row;
}

void expectPicture(const Bitmap &bitmap) {
  EXPECT_RESULT(JPG_OK, bitmap.described);
  EXPECT_RESULT(JPG_OK, bitmap.read);
  ASSERT_EQ(bitmap.info.header.biWidth, kWidth);
  ASSERT_EQ(std::abs(bitmap.info.header.biHeight), kHeight);
  for (int32_t y = 0; y < kHeight; y++) EXPECT_EQ(bitmap.row(y), bgrRow(y)) << "row " << y;
}

struct Strips {
  std::vector<uint32_t> offsets, sizes;
};

// Strips of so many rows each, the last one first in the structure.
Strips putStrips(TiffBuilder *tiff, int32_t rowsPerStrip) {
  Strips strips;
  for (int32_t y = (kHeight - 1) / rowsPerStrip * rowsPerStrip; y >= 0; y -= rowsPerStrip) {
    const Bytes rows = rgbRows(y, std::min(rowsPerStrip, kHeight - y));
    strips.offsets.insert(strips.offsets.begin(), tiff->put(rows));
    strips.sizes.insert(strips.sizes.begin(), static_cast<uint32_t>(rows.size()));
  }
  return strips;
}

// The 1st directory without what tells of strips.
std::vector<TiffEntry> shape(const TiffBuilder &tiff, uint32_t photometric = 2) {
  std::vector<TiffEntry> entries;
  entries.push_back(tiff.longOf(256, kWidth));
  entries.push_back(tiff.shortOf(257, kHeight));
  entries.push_back(tiff.shortOf(259, 1));
  entries.push_back(tiff.shortOf(262, photometric));
  return entries;
}

TEST(RgbThumbnail, StripsOfAnyHeightAreReadFromTheirTable) {
  for (const ByteOrder order : kByteOrders) {
    for (int32_t rows = 1; rows <= kHeight + 1; rows++) {
      for (const bool wide : {false, true}) {
        TiffBuilder tiff(order);
        const Strips strips = putStrips(&tiff, std::min(rows, kHeight));
        std::vector<TiffEntry> entries = shape(tiff);
        entries.push_back(wide ? tiff.longs(273, strips.offsets)
                               : tiff.shorts(273, strips.offsets));
        entries.push_back(tiff.longOf(278, static_cast<uint32_t>(rows)));
        entries.push_back(wide ? tiff.shorts(279, strips.sizes) : tiff.longs(279, strips.sizes));
        tiff.putZeroth({}, tiff.putIfd(entries));
        const Attributes attributes(tiff);
        SCOPED_TRACE(std::to_string(rows) + " rows a strip");
        expectPicture(readThumbnail(attributes, 24));
        expectPicture(readThumbnail(attributes, 24, true));
      }
    }
  }
}

// One strip of the whole picture, with or without something in place of the rows per strip.
TiffBuilder oneStrip(const std::vector<TiffEntry> &more, uint32_t photometric = 2) {
  TiffBuilder tiff(ByteOrder::kBig);
  const uint32_t at = tiff.put(rgbRows(0, kHeight));
  std::vector<TiffEntry> entries = shape(tiff, photometric);
  entries.push_back(tiff.longOf(273, at));
  entries.push_back(tiff.longOf(279, kHeight * kRowBytes));
  for (const TiffEntry &entry : more) entries.push_back(entry);
  std::sort(entries.begin(), entries.end(),
            [](const TiffEntry &a, const TiffEntry &b) { return a.tag < b.tag; });
  tiff.putZeroth({}, tiff.putIfd(entries));
  return tiff;
}

TEST(RgbThumbnail, TheRecordKeepsWhatItsDirectorySays) {
  const TiffBuilder big(ByteOrder::kBig);
  const Attributes attributes(oneStrip(
      {big.shortOf(274, 6), big.shortOf(278, 9), big.shortOf(284, 1), big.shortOf(296, 3)}));
  const JpgExifAttributes &record = *attributes.handle();
  EXPECT_EQ(record.orientation, 1);
  EXPECT_EQ(record.resolutionUnit, 2);
  Info info;
  EXPECT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(attributes.handle(), nullptr, info.bmi()));
  EXPECT_EQ(record.imageWidth, uint32_t{kWidth});
  EXPECT_EQ(record.imageLength, uint32_t{kHeight});
  EXPECT_EQ(record.compression, 1);
  EXPECT_EQ(record.photometric, 2);
  EXPECT_EQ(record.orientation, 6);
  EXPECT_EQ(record.rowsPerStrip, 9u);
  EXPECT_EQ(record.planarConfiguration, 1);
  EXPECT_EQ(record.resolutionUnit, 3);
}

TEST(RgbThumbnail, WithoutRowsPerStripThereIsOneStrip) {
  const TiffBuilder big(ByteOrder::kBig);
  for (const TiffEntry &rows :
       {big.longOf(300, 0), big.longOf(278, 0), big.shortOf(278, 0), big.longOf(278, 0xFFFFFFFF)}) {
    const Attributes attributes(oneStrip({rows}));
    expectPicture(readThumbnail(attributes, 24));
    expectPicture(readThumbnail(attributes, 24));
  }
}

TEST(RgbThumbnail, UncompressedWithoutTheCompressionTagIsReadAgainAndAgain) {
  TiffBuilder tiff(ByteOrder::kLittle);
  const uint32_t at = tiff.put(rgbRows(0, kHeight));
  tiff.putZeroth(
      {}, tiff.putIfd({tiff.shortOf(256, kWidth), tiff.longOf(257, kHeight), tiff.shortOf(262, 2),
                       tiff.longOf(273, at), tiff.longOf(279, kHeight * kRowBytes)}));
  const Attributes attributes(tiff);
  expectPicture(readThumbnail(attributes, 24));
  expectPicture(readThumbnail(attributes, 24, true));
}

TEST(RgbThumbnail, OnlyInterleavedRgbIsServed) {
  const TiffBuilder big(ByteOrder::kBig);
  for (const uint32_t photometric : {0U, 1U, 3U, 5U, 6U, 8U}) {
    const Bitmap bitmap = readThumbnail(Attributes(oneStrip({}, photometric)), 24);
    EXPECT_RESULT(JPG_OK, bitmap.described);
    EXPECT_EQ(bitmap.info.header.biWidth, kWidth);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, bitmap.read) << photometric;
    EXPECT_EQ(bitmap.bits, Bytes(bitmap.bits.size(), 0xA5));
  }
  // Planes of their own have a strip each.
  TiffBuilder tiff(ByteOrder::kBig);
  const uint32_t at = tiff.put(rgbRows(0, kHeight));
  std::vector<TiffEntry> entries = shape(tiff);
  entries.push_back(tiff.longs(273, {at, at + 35, at + 70}));
  entries.push_back(tiff.longs(279, {35, 35, 35}));
  entries.push_back(tiff.shortOf(284, 2));
  tiff.putZeroth({}, tiff.putIfd(entries));
  const Bitmap planes = readThumbnail(Attributes(tiff), 24);
  EXPECT_RESULT(JPG_OK, planes.described);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, planes.read);
}

TEST(RgbThumbnail, UncompressedColourIsReduced) {
  // Red 255, green 51, blue 204: levels 5, 1 and 4 of the cube. Then red 248, green 4, blue 128.
  const struct {
    uint16_t depth;
    Bytes rgb, pixel;
  } kCases[] = {{8, {255, 51, 204}, {10 + 36 * 5 + 6 * 1 + 4}},
                {16, {248, 4, 128}, {(1 & 7) << 5 | 16, 31 << 3}}};
  for (const auto &c : kCases) {
    TiffBuilder tiff(ByteOrder::kLittle);
    Bytes pixels;
    Bytes row;
    for (int32_t i = 0; i < kWidth * kHeight; i++) append(pixels, c.rgb);
    for (int32_t i = 0; i < kWidth; i++) append(row, c.pixel);
    const uint32_t at = tiff.put(pixels);
    std::vector<TiffEntry> entries = shape(tiff);
    entries.push_back(tiff.longOf(273, at));
    entries.push_back(tiff.longOf(279, kHeight * kRowBytes));
    tiff.putZeroth({}, tiff.putIfd(entries));
    const Bitmap bitmap = readThumbnail(Attributes(tiff), c.depth);
    EXPECT_RESULT(JPG_OK, bitmap.read);
    for (int32_t y = 0; y < kHeight; y++) EXPECT_EQ(bitmap.row(y), row) << c.depth << " bits";
  }
}

TEST(RgbThumbnail, StripsOutsideTheStructureAreNotThere) {
  // The second strip of two; what is read before it stays.
  const auto end = [](const TiffBuilder &t) { return static_cast<uint32_t>(t.bytes().size()); };
  for (const uint32_t past : {0U, 1U}) {
    TiffBuilder tiff(ByteOrder::kBig);
    const uint32_t first =
        tiff.putIfd({tiff.longOf(256, kWidth), tiff.longOf(257, kHeight), tiff.shortOf(259, 1),
                     tiff.shortOf(262, 2), tiff.shorts(273, {1, 2}), tiff.longOf(278, 4),
                     tiff.shorts(279, {4 * kRowBytes, 3 * kRowBytes})});
    tiff.putZeroth({}, first);
    const uint32_t upper = tiff.put(rgbRows(0, 4));
    const uint32_t lower = tiff.put(rgbRows(4, 3));
    EXPECT_EQ(end(tiff), lower + 3 * kRowBytes);
    tiff.overwrite16(first + 2 + 4 * 12 + 8, upper);
    tiff.overwrite16(first + 2 + 4 * 12 + 10, lower + past);
    const Bitmap bitmap = readThumbnail(Attributes(tiff), 24);
    if (past == 0) {
      expectPicture(bitmap);
      continue;
    }
    EXPECT_RESULT(JPG_OK, bitmap.described);
    EXPECT_RESULT(JPG_E_NOT_FOUND, bitmap.read);
    EXPECT_EQ(bitmap.row(3), bgrRow(3));
    EXPECT_EQ(bitmap.row(kHeight - 1), Bytes(kRowBytes, 0xA5));
  }
}

TEST(RgbThumbnail, AStripTableThatLiesIsNotThere) {
  TiffBuilder base(ByteOrder::kLittle);
  const auto with = [&base](const std::vector<TiffEntry> &entries) {
    TiffBuilder tiff = base;
    tiff.putZeroth({}, tiff.putIfd(entries));
    return readThumbnail(Attributes(tiff), 24).described;
  };
  const TiffEntry width = base.longOf(256, kWidth), height = base.longOf(257, kHeight);
  const TiffEntry rgb = base.shortOf(262, 2), offsets = base.longOf(273, 8);
  const TiffEntry rows = base.longOf(278, 1), sizes = base.longOf(279, 15);
  EXPECT_RESULT(JPG_OK, with({width, height, rgb, offsets, sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, height, rgb, sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, height, rgb, offsets}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, height, rgb, offsets, rows, sizes}));  // 7 strips
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, rgb, offsets, sizes}));                // no rows
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, base.longOf(257, 0), rgb, offsets, sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({}));
  // Strips by the billion, offsets that aren't numbers, or that lie outside.
  EXPECT_RESULT(JPG_E_NOT_FOUND,
                with({width, base.longOf(257, 0xFFFFFFFF), rgb, offsets, rows, sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, height, rgb, base.text(273, "abc"), sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, height, rgb, base.claim(273, kLong, 7, 60000), rows,
                                       base.claim(279, kLong, 7, 60000)}));
  // A picture that can't be in a segment is described as far as 16 bits go.
  EXPECT_RESULT(JPG_OK, with({base.longOf(256, 65535), height, rgb, offsets, sizes}));
  EXPECT_RESULT(JPG_OK, with({width, base.longOf(257, 65535), rgb, offsets, sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({base.longOf(256, 65536), height, rgb, offsets, sizes}));
  EXPECT_RESULT(JPG_E_NOT_FOUND, with({width, base.longOf(257, 65536), rgb, offsets, sizes}));
}

// Planes apart aren't decoded, so their strips aren't looked for.
TEST(RgbThumbnail, OfPlanesApartIsDescribedWithoutStripsAndRefused) {
  TiffBuilder tiff(ByteOrder::kLittle);
  tiff.putZeroth(
      {}, tiff.putIfd({tiff.longOf(256, kWidth), tiff.longOf(257, kHeight), tiff.shortOf(262, 2),
                       tiff.longOf(273, 8), tiff.shortOf(284, 2)}));
  const Bitmap bitmap = readThumbnail(Attributes(tiff), 24);
  EXPECT_RESULT(JPG_OK, bitmap.described);
  EXPECT_EQ(bitmap.info.header.biWidth, kWidth);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, bitmap.read);
}

TEST(RgbThumbnail, NeedsThe1stDirectory) {
  TiffBuilder tiff(ByteOrder::kBig);
  tiff.putZeroth({tiff.shortOf(259, 6)}, 0);
  const Attributes attributes(tiff);
  EXPECT_RESULT(JPG_E_NOT_FOUND, readThumbnail(attributes, 24).described);
}

TEST(RgbThumbnail, ABitmapMayBeWiderThanTheThumbnail) {
  const Attributes attributes(oneStrip({}));
  Bitmap bitmap;
  bitmap.info.header.biBitCount = 24;
  bitmap.info.header.biWidth = kWidth + 3;
  bitmap.info.header.biHeight = kHeight;
  makeBits(&bitmap);
  EXPECT_RESULT(JPG_OK, jpgExifReadThumbnailToWinDIBits(attributes.handle(), bitmap.bits.data(),
                                                        bitmap.info.bmi()));
  for (int32_t y = 0; y < kHeight; y++) {
    EXPECT_EQ(bitmap.row(y), bgrRow(y) + Bytes(9, 0xA5)) << "row " << y;
  }
}

TEST(RgbThumbnail, IsOutOfMemoryWhenABlockCannotBeHad) { sweepAllocations(oneStrip({})); }

}  // namespace
