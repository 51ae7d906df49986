// SPDX-License-Identifier: MIT
#include "whole/damage/smallStreams.h"

#include "model/losslessSource.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/tiffBuilder.h"

namespace jpgtest {
namespace {

// A picture whose tables hold what it needs and no more, so that most bytes matter.
Picture lean(uint16_t width, uint16_t height, const std::vector<uint8_t> &samplings,
             Fill fill = Fill::kSmooth) {
  Picture picture = makePicture(width, height, samplings, fill, 7);
  useOptimalTables(picture);
  return picture;
}

Bytes sequential(uint16_t width, uint16_t height, const std::vector<uint8_t> &samplings,
                 uint8_t sof = kSof0) {
  Picture picture = lean(width, height, samplings);
  picture.sof = sof;
  return encode(picture);
}

Bytes twelveBits() {
  Picture picture = lean(16, 8, {0x11, 0x11, 0x11});
  picture.sof = kSof1;
  picture.precision = 12;
  picture.wideQuant = true;
  return encode(picture);
}

Bytes withRestarts() {
  Picture picture = lean(24, 24, {0x11});
  picture.restartInterval = 3;  // a row of MCUs
  return encode(picture);
}

Bytes withDnl() {
  Picture picture = lean(16, 16, {0x11});
  picture.heightByDnl = true;
  return encode(picture);
}

Bytes withSegments() {
  Picture picture = lean(8, 8, {0x11, 0x11, 0x11}, Fill::kDcOnly);
  picture.before = StreamBuilder().jfif().adobe(1).com("a comment").bytes();
  return encode(picture);
}

Bytes progressive(const std::vector<uint8_t> &samplings, Script (*script)(size_t),
                  uint16_t restart = 0) {
  // A progressive scan has its own symbols, so the tables are complete ones.
  Picture picture = makePicture(17, 17, samplings, Fill::kSparse, 5);
  picture.restartInterval = restart;
  return encodeProgressive(picture, script(samplings.size()));
}

Bytes lossless(unsigned components, uint8_t precision, uint8_t predictor, uint16_t restart = 0) {
  Source source;
  source.width = 9;
  source.height = 6;
  source.precision = precision;
  source.predictor = predictor;
  source.restart = restart;
  source.useTables(std::vector<unsigned>(components, 0));
  source.fill(11);
  return streamOf(source);
}

// A grey picture with an Exif segment.
Bytes exifOf(const TiffBuilder &tiff) {
  Picture picture = lean(8, 8, {0x11}, Fill::kDcOnly);
  picture.before = exifSegment(tiff.bytes());
  return encode(picture);
}

// Directories of every kind, values inside and outside of their entries.
Bytes exifDirectories() {
  TiffBuilder tiff(ByteOrder::kBig);
  const uint32_t interoperability = tiff.putIfd({tiff.text(1, "R98")});
  const uint32_t exif = tiff.putIfd({tiff.longOf(kInteroperabilityPointer, interoperability)});
  const uint32_t gps = tiff.putIfd({tiff.longs(2, {1, 2, 3, 4, 5, 6})});
  tiff.putZeroth({tiff.text(271, "a maker"), tiff.shortOf(274, 1), tiff.longOf(kExifPointer, exif),
                  tiff.longOf(kGpsPointer, gps)});
  return exifOf(tiff);
}

Bytes exifJpegThumbnail() {
  const Bytes thumbnail = encode(lean(8, 8, {0x11}, Fill::kDcOnly));
  TiffBuilder tiff(ByteOrder::kLittle);
  const uint32_t at = tiff.put(thumbnail);
  const auto size = static_cast<uint32_t>(thumbnail.size());
  const uint32_t first =
      tiff.putIfd({tiff.shortOf(259, 6), tiff.longOf(513, at), tiff.longOf(514, size)});
  tiff.putZeroth({tiff.shortOf(274, 1)}, first);
  return exifOf(tiff);
}

// 4 x 4 pixels in strips of two rows.
Bytes exifRgbThumbnail() {
  TiffBuilder tiff(ByteOrder::kBig);
  const uint32_t top = tiff.put(Bytes(24, 0x20));
  const uint32_t bottom = tiff.put(Bytes(24, 0x60));
  const uint32_t first = tiff.putIfd(
      {tiff.longOf(256, 4), tiff.shortOf(257, 4), tiff.shorts(258, {8, 8, 8}), tiff.shortOf(259, 1),
       tiff.shortOf(262, 2), tiff.longs(273, {top, bottom}), tiff.shortOf(277, 3),
       tiff.shortOf(278, 2), tiff.longs(279, {24, 24}), tiff.shortOf(284, 1)});
  tiff.putZeroth({}, first);
  return exifOf(tiff);
}

std::vector<SmallStream> makeAll() {
  std::vector<SmallStream> all;
  const auto add = [&all](const char *name, Bytes bytes) {
    all.push_back({name, std::move(bytes)});
  };
  add("Grey", sequential(17, 9, {0x11}));
  add("Colour444", sequential(9, 9, {0x11, 0x11, 0x11}));
  add("Colour420", sequential(17, 17, {0x22, 0x11, 0x11}));
  add("Colour422Extended", sequential(17, 8, {0x21, 0x11, 0x11}, kSof1));
  add("ChromaLargerThanLuma", sequential(9, 9, {0x11, 0x22, 0x12}));
  add("FourComponents", sequential(8, 8, {0x11, 0x11, 0x11, 0x11}));
  add("TwoComponents", sequential(8, 8, {0x12, 0x11}));
  add("TwelveBits", twelveBits());
  add("Restarts", withRestarts());
  add("Dnl", withDnl());
  add("Segments", withSegments());
  add("ProgressiveGrey", progressive({0x11}, refiningScript));
  add("ProgressiveColour", progressive({0x22, 0x11, 0x11}, spectralScript));
  add("ProgressiveRestarts", progressive({0x11, 0x11, 0x11}, partedScript, 2));
  add("LosslessGrey", lossless(1, 8, 1));
  add("LosslessColour", lossless(3, 8, 4, 9));
  add("LosslessDeep", lossless(1, 16, 7));
  add("ExifDirectories", exifDirectories());
  add("ExifJpegThumbnail", exifJpegThumbnail());
  add("ExifRgbThumbnail", exifRgbThumbnail());
  return all;
}

}  // namespace

const std::vector<SmallStream> &smallStreams() {
  static const std::vector<SmallStream> all = makeAll();
  return all;
}

}  // namespace jpgtest
