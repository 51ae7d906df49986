// SPDX-License-Identifier: MIT
// Exif attributes: the copy of an APP1 segment's TIFF structure, and a cursor over
// its directories.
//
// In: the marker segments of a read handle. Out: entries, their values decoded in the
// file's byte order. Every offset, count and length is checked against the structure's
// length; what lies outside counts as missing.
#ifndef JPG_EXIF_REXIF_H
#define JPG_EXIF_REXIF_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kExifSignature = 0x45786966;  // 'Exif'
constexpr uint32_t kExifSize = 84;               // the record's size on a 32-bit target
constexpr uint32_t kIfdSignature = 0x4946440A;   // 'IFD\n'
constexpr uint32_t kIfdCursorSize = 36;          // the same of the cursor

// A strip of an uncompressed thumbnail.
struct ExifStrip {
  uint32_t offset;  // in the TIFF structure
  uint32_t bytes;
};

}  // namespace jpg

// The record behind an attribute handle. Field order is fixed.
struct JpgExifAttributes {
  uint32_t signature;   // kExifSignature
  uint32_t recordSize;  // kExifSize on every target
  uint16_t version;
  uint8_t versionMinor;
  uint8_t versionLetter;
  JPGHANDLE thumbnail;     // nested read handle of a compressed thumbnail; owned
  jpg::ExifStrip *strips;  // of an uncompressed one; owned
  uint32_t stripsPerPlane;
  uint32_t imageLength;  // pixels
  uint32_t imageWidth;   // pixels
  uint32_t xResolution;
  uint32_t yResolution;
  uint32_t rowsPerStrip;
  uint16_t bitsPerSample;
  uint16_t compression;  // 6 = JPEG; 0 = the 1st directory hasn't been read yet
  uint16_t photometric;  // 2 = RGB
  uint16_t orientation;
  uint16_t samplesPerPixel;
  uint16_t planarConfiguration;  // 1 = samples interleaved
  uint16_t resolutionUnit;
  const uint8_t *ifd0;  // into tiff; null if outside
  const uint8_t *ifd1;  // into tiff; null if there is none
  uint32_t options;     // kOption bits of the handle that the segment was read from
  uint8_t *tiff;        // owned
  uint32_t tiffLength;  // bytes
  uint32_t bigEndian;   // 1: "MM" byte order
};

// A cursor over a directory. Field order is fixed.
struct JpgIfdCursor {
  uint32_t signature;   // jpg::kIfdSignature
  uint32_t recordSize;  // jpg::kIfdCursorSize on every target
  const uint8_t *ifd;   // its entry count
  uint16_t tag;         // of the current entry
  uint16_t type;
  uint32_t count;
  uint32_t value;
  uint32_t bigEndian;
  const uint8_t *tiff;
  uint16_t entryCount;
  uint16_t nextEntry;
};

namespace jpg {

// The structure's header: byte order, 42, offset of the 0th directory.
constexpr uint32_t kTiffHeaderSize = 8;
constexpr uint32_t kTiffIfd0At = 4;

// A directory: a count, its entries, the offset of the next directory.
constexpr uint32_t kIfdCountSize = 2;
constexpr uint32_t kIfdLinkSize = 4;

// An entry: tag, type, count, and its value if that fits 4 bytes, or else the value's offset.
constexpr uint32_t kIfdEntrySize = 12;
constexpr uint32_t kEntryTypeAt = 2;
constexpr uint32_t kEntryCountAt = 4;
constexpr uint32_t kEntryValueAt = 8;
constexpr uint32_t kEntryValueSize = 4;

// Tags of the 0th and 1st directory.
constexpr uint16_t kTagImageWidth = 256;
constexpr uint16_t kTagImageLength = 257;
constexpr uint16_t kTagCompression = 259;
constexpr uint16_t kTagPhotometric = 262;
constexpr uint16_t kTagStripOffsets = 273;
constexpr uint16_t kTagOrientation = 274;
constexpr uint16_t kTagRowsPerStrip = 278;
constexpr uint16_t kTagStripByteCounts = 279;
constexpr uint16_t kTagPlanarConfiguration = 284;
constexpr uint16_t kTagResolutionUnit = 296;
constexpr uint16_t kTagJpegOffset = 513;
constexpr uint16_t kTagJpegLength = 514;

// Tags whose values are the offsets of directories.
constexpr uint16_t kTagExifIfd = 34665;
constexpr uint16_t kTagGpsIfd = 34853;
constexpr uint16_t kTagInteroperabilityIfd = 40965;

// Values of these tags.
constexpr uint16_t kCompressionJpeg = 6;
constexpr uint16_t kPhotometricRgb = 2;
constexpr uint16_t kPlanarChunky = 1;  // samples interleaved
constexpr uint16_t kOrientationTopLeft = 1;
constexpr uint16_t kResolutionInch = 2;

// Directories that openIfd knows.
enum IfdNumber : int32_t {
  kIfdZeroth = 1,
  kIfdFirst = 2,
  kIfdExif = 3,
  kIfdGps = 4,
  kIfdInteroperability = 5
};

// TIFF types.
constexpr uint16_t kTypeByte = 1;
constexpr uint16_t kTypeAscii = 2;
constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeLong = 4;
constexpr uint16_t kTypeSbyte = 6;
constexpr uint16_t kTypeUndefined = 7;
constexpr uint16_t kTypeSshort = 8;
constexpr uint16_t kTypeDouble = 12;  // the last

// The record behind an attribute handle, or null for anything that isn't one.
JpgExifAttributes *validAttributes(JPGEXIFHANDLE handle);

// Numbers in the structure's byte order.
uint32_t readTiff16(const uint8_t *p, bool bigEndian);
uint32_t readTiff32(const uint8_t *p, bool bigEndian);

// True when `bytes` bytes at `offset` lie within the structure.
bool insideTiff(const JpgExifAttributes &a, uint64_t offset, uint64_t bytes);

// Bytes of a value of a TIFF type; 0 for an unknown one.
uint32_t tiffTypeSize(uint32_t type);

// Opens a directory. 0, JPG_E_INVALID_HANDLE, JPG_E_INVALID_PARAMETER (unknown
// number), JPG_E_OUT_OF_MEMORY, or JPG_E_NOT_FOUND (no such directory).
Result openIfd(JPGEXIFHANDLE handle, int32_t number, JpgIfdCursor **cursor);

// Goes to the next entry: its tag, its value's size in bytes, and the value itself if
// that fits 4 bytes, else its offset in the structure. size and value may be null.
// JPG_E_END_OF_IMAGE after the last; JPG_E_NOT_FOUND, with the tag, for an entry whose
// value lies outside the structure.
Result nextIfdEntry(JpgIfdCursor *cursor, uint16_t *tag, uint32_t *size, uint32_t *value);

// Finds the entry with a tag; the directory is sorted by tag. Doesn't change which entry
// nextIfdEntry returns next. JPG_E_NOT_FOUND when there is none.
Result findIfdEntry(JpgIfdCursor *cursor, uint16_t tag, uint32_t *size, uint32_t *value);

// The i-th number, SHORT or LONG, of the entry that was read or found last. JPG_E_NOT_FOUND
// when the entry has no such number.
Result ifdElement(const JpgIfdCursor &cursor, uint32_t i, uint32_t *element);

// 0 or JPG_E_INVALID_HANDLE.
Result closeIfd(JpgIfdCursor *cursor);

// Opens a directory, finds a tag, closes the directory.
Result findInIfd(JPGEXIFHANDLE handle, int32_t number, uint16_t tag, uint32_t *value);

}  // namespace jpg

#endif
