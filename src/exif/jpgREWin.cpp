// SPDX-License-Identifier: MIT
// The Exif thumbnail into a Windows bitmap.
#include <string.h>

#include "exif/jpgRExif.h"
#include "read/jpgRPicture.h"
#include "share/jpgHeap.h"
#include "win/jpgDib.h"

namespace jpg {
namespace {

constexpr uint32_t kPixelBytes = 3;
constexpr uint32_t kMaxSide = 0xFFFF;  // pixels; a larger picture doesn't fit a segment

// Where the compressed thumbnail is, by the directory; not kept in the record.
struct JpegPlace {
  uint32_t offset;
  uint32_t length;
};

void keepEntry(JpgExifAttributes *a, JpegPlace *jpeg, uint16_t tag, uint32_t value) {
  const auto low = static_cast<uint16_t>(value);
  switch (tag) {
    case kTagImageWidth:
      a->imageWidth = value;
      break;
    case kTagImageLength:
      a->imageLength = value;
      break;
    case kTagCompression:
      a->compression = low;
      break;
    case kTagPhotometric:
      a->photometric = low;
      break;
    case kTagOrientation:
      a->orientation = low;
      break;
    case kTagRowsPerStrip:
      a->rowsPerStrip = value;
      break;
    case kTagPlanarConfiguration:
      a->planarConfiguration = low;
      break;
    case kTagResolutionUnit:
      a->resolutionUnit = low;
      break;
    case kTagJpegOffset:
      jpeg->offset = value;
      break;
    case kTagJpegLength:
      jpeg->length = value;
      break;
    default:
      break;
  }
}

// Reads the directory's entries; those whose value lies outside the structure are ignored.
void readDirectory(JpgExifAttributes *a, JpegPlace *jpeg, JpgIfdCursor *cursor) {
  for (;;) {
    uint16_t tag = 0;
    uint32_t value = 0;
    const Result r = nextIfdEntry(cursor, &tag, nullptr, &value);
    if (r == JPG_E_END_OF_IMAGE) return;
    if (r == JPG_OK) keepEntry(a, jpeg, tag, value);
  }
}

bool isLenient(const JpgExifAttributes &a) { return (a.options & kOptionLenient) != 0; }

// Lenient reading takes a compressed thumbnail for one where the directory tells its place,
// whatever it says of the compression, and the part of it that lies in the structure.
void mendPlace(JpgExifAttributes *a, JpegPlace *jpeg) {
  if (!isLenient(*a) || jpeg->offset == 0 || jpeg->offset >= a->tiffLength) return;
  const uint32_t most = a->tiffLength - jpeg->offset;
  if (jpeg->length > most) jpeg->length = most;
  if (jpeg->length != 0) a->compression = kCompressionJpeg;
}

// Opens the nested handle on the compressed thumbnail.
Result openJpeg(JpgExifAttributes *a, const JpegPlace &jpeg) {
  if (jpeg.offset == 0 || jpeg.length == 0) return JPG_E_NOT_FOUND;
  if (!insideTiff(*a, jpeg.offset, jpeg.length)) return JPG_E_NOT_FOUND;
  const uint32_t flags = JPG_READ_COMPLETE | kOptionsMark | a->options;
  return jpgReadPrologFromMemory(a->tiff + jpeg.offset, static_cast<int32_t>(jpeg.length), flags,
                                 &a->thumbnail);
}

// One column of the strip table: the numbers of a tag, one per strip.
Result readStripColumn(JpgIfdCursor *cursor, uint16_t tag, uint32_t strips, uint32_t *column) {
  if (const Result r = findIfdEntry(cursor, tag, nullptr, nullptr); r != JPG_OK) return r;
  for (uint32_t i = 0; i < strips; i++) {
    const Result r = ifdElement(*cursor, i, column);
    if (r != JPG_OK) return r;
    column += sizeof(ExifStrip) / sizeof(uint32_t);
  }
  return JPG_OK;
}

Result readStrips(JpgExifAttributes *a, JpgIfdCursor *cursor, uint32_t strips) {
  const Result r = readStripColumn(cursor, kTagStripOffsets, strips, &a->strips[0].offset);
  if (r != JPG_OK) return r;
  return readStripColumn(cursor, kTagStripByteCounts, strips, &a->strips[0].bytes);
}

// Makes the strip table of an uncompressed thumbnail. Without RowsPerStrip there is one strip.
// Planar samples aren't decoded and need no table.
Result makeStrips(JpgExifAttributes *a, JpgIfdCursor *cursor) {
  if (a->imageLength == 0) return JPG_E_NOT_FOUND;
  if (a->planarConfiguration != kPlanarChunky) return JPG_OK;
  if (a->rowsPerStrip == 0) a->rowsPerStrip = a->imageLength;
  a->stripsPerPlane = a->imageLength / a->rowsPerStrip;
  if (a->imageLength % a->rowsPerStrip != 0) a->stripsPerPlane++;
  const uint32_t strips = a->stripsPerPlane;
  if (strips > a->tiffLength) return JPG_E_NOT_FOUND;  // their offsets alone wouldn't fit
  heapRelease(a->strips);
  a->strips = static_cast<ExifStrip *>(heapAlloc(strips * sizeof(ExifStrip)));
  if (a->strips == nullptr) return JPG_E_OUT_OF_MEMORY;
  return readStrips(a, cursor, strips);
}

// Reads the 1st directory when it is first needed. After a failure it counts as unread.
Result parseFirstIfd(JpgExifAttributes *a) {
  if (a->compression != 0) return JPG_OK;
  JpgIfdCursor *cursor = nullptr;
  if (const Result r = openIfd(a, kIfdFirst, &cursor); r != JPG_OK) return r;
  JpegPlace jpeg = {};
  readDirectory(a, &jpeg, cursor);
  mendPlace(a, &jpeg);
  const Result r = a->compression == kCompressionJpeg ? openJpeg(a, jpeg) : makeStrips(a, cursor);
  closeIfd(cursor);
  if (r != JPG_OK) a->compression = 0;
  return r;
}

// Closes the nested handle, so that the thumbnail can be read again.
void forgetThumbnail(JpgExifAttributes *a) {
  jpgReadEpilog(a->thumbnail);
  a->thumbnail = nullptr;
  a->compression = 0;
}

ImageShape measureThumbnail(const JpgExifAttributes &a) {
  if (a.compression != kCompressionJpeg) return {a.imageWidth, a.imageLength, a.samplesPerPixel};
  const JpgContext &picture = *a.thumbnail;
  const uint32_t channels = isLenient(a) ? pictureChannels(picture) : picture.numComponents;
  return {picture.width, picture.height, channels};
}

// Copies red, green, blue as blue, green, red.
void copyRgbRow(const uint8_t *in, uint8_t *out, uint32_t pixels) {
  for (uint32_t i = 0; i < pixels; i++, in += kPixelBytes, out += kPixelBytes) {
    for (uint32_t k = 0; k < kPixelBytes; k++) out[k] = in[kPixelBytes - 1 - k];
  }
}

Result readRgb(const JpgExifAttributes &a, const JpgRect &rect) {
  if (a.photometric != kPhotometricRgb || a.planarConfiguration != kPlanarChunky) {
    return JPG_E_UNSUPPORTED;
  }
  const uint64_t rowBytes = uint64_t{a.imageWidth} * kPixelBytes;
  for (uint32_t y = 0; y < static_cast<uint32_t>(rect.height); y++) {
    const ExifStrip &strip = a.strips[y / a.rowsPerStrip];
    const uint64_t offset = strip.offset + y % a.rowsPerStrip * rowBytes;
    if (!insideTiff(a, offset, rowBytes)) return JPG_E_NOT_FOUND;
    auto *out = static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(y) * rect.stride;
    copyRgbRow(a.tiff + offset, out, a.imageWidth);
  }
  return JPG_OK;
}

// Reads the thumbnail into a rectangle of its size; `source` is the attribute record.
Result readThumbnail(void *source, const JpgRect *rect, int32_t lines) {
  auto *a = static_cast<JpgExifAttributes *>(source);
  if (a->compression != kCompressionJpeg) return readRgb(*a, *rect);
  const Result r = jpgReadToRect(a->thumbnail, rect, lines);
  forgetThumbnail(a);
  return r;
}

Result decodeThumbnail(JpgExifAttributes *a, const ImageShape &shape, void *bits,
                       const BITMAPINFOHEADER &header) {
  const auto lines = static_cast<int32_t>(shape.height);
  JpgRect rect;
  const Result r = makeDibRect(header, shape, lines, bits, &rect);
  if (r != JPG_OK) return r;
  if (shape.components == header.biBitCount / 8U) return readThumbnail(a, &rect, lines);
  if (shape.components != 3) return JPG_E_UNSUPPORTED;
  return readReduced(header, rect, {readThumbnail, a}, lines);
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgExifReadThumbnailToWinDIBits(JPGEXIFHANDLE attributes, void *bits,
                                                  BITMAPINFO *bmi) {
  JpgExifAttributes *a = validAttributes(attributes);
  if (a == nullptr || bmi == nullptr) return JPG_E_INVALID_HANDLE;
  if (const Result r = parseFirstIfd(a); r != JPG_OK) return r;
  const ImageShape shape = measureThumbnail(*a);
  if (shape.width > kMaxSide || shape.height > kMaxSide) return JPG_E_NOT_FOUND;
  if (bits != nullptr) return decodeThumbnail(a, shape, bits, loadDibHeader(bmi));
  fillDibHeader(bmi, shape);
  return JPG_OK;
}
