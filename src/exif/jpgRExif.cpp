// SPDX-License-Identifier: MIT
// The attribute handle: finding the Exif segment, and closing.
#include "exif/jpgRExif.h"

#include <string.h>

#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"

static_assert(sizeof(void *) != 4 || sizeof(JpgExifAttributes) == jpg::kExifSize, "84 bytes");
static_assert(sizeof(void *) != 4 || sizeof(JpgIfdCursor) == jpg::kIfdCursorSize, "36 bytes");

namespace jpg {
namespace {

constexpr uint32_t kExifHeader = 6;  // "Exif", 0, 0 ahead of the TIFF structure

// A record's values before its directory is read: an RGB picture of 8 bits a sample.
constexpr uint16_t kDefaultResolution = 72;  // pixels per inch
constexpr uint16_t kDefaultBits = 8;
constexpr uint16_t kDefaultSamples = 3;

JpgExifAttributes *createAttributes() {
  auto *a = static_cast<JpgExifAttributes *>(heapAlloc(sizeof(JpgExifAttributes)));
  if (a == nullptr) return nullptr;
  memset(a, 0, sizeof(*a));
  a->signature = kExifSignature;
  a->recordSize = kExifSize;
  a->version = 1;
  a->versionLetter = 'a';
  a->xResolution = kDefaultResolution;
  a->yResolution = kDefaultResolution;
  a->bitsPerSample = kDefaultBits;
  a->orientation = kOrientationTopLeft;
  a->samplesPerPixel = kDefaultSamples;
  a->planarConfiguration = kPlanarChunky;
  a->resolutionUnit = kResolutionInch;
  return a;
}

Result destroyAttributes(JpgExifAttributes *a) {
  if (a->thumbnail != nullptr) jpgReadEpilog(a->thumbnail);
  heapRelease(a->strips);
  heapRelease(a->tiff);
  *static_cast<volatile uint32_t *>(&a->signature) = 0;  // refuse a stale handle
  return heapFree(a);
}

// Reads the Exif header; true when the current segment begins with it. Segments too short for it
// have none.
bool takeExifHeader(JPGHANDLE handle) {
  char header[kExifHeader + 1] = {};
  jpgReadReadMarkerData(handle, header, kExifHeader, nullptr);
  return compareText(header, "Exif") == 0;
}

// Goes to the data behind the Exif header; `length` receives the rest of the segment's length.
Result findExifSegment(JPGHANDLE handle, uint32_t *length) {
  for (int32_t mode = JPG_SEGMENT_FIRST;; mode = JPG_SEGMENT_NEXT) {
    uint16_t marker = 0;
    const Result r = jpgReadSeekMarkerSegment(handle, mode, &marker, length);
    if (r != JPG_OK) return r;
    if (marker == kMarkerApp1 && *length >= kExifHeader && takeExifHeader(handle)) break;
  }
  *length -= kExifHeader;
  return JPG_OK;
}

Result copyTiff(JPGHANDLE handle, JpgExifAttributes *a) {
  uint32_t length = 0;
  if (const Result r = findExifSegment(handle, &length); r != JPG_OK) return r;
  if (length < kTiffHeaderSize) return JPG_E_NOT_FOUND;
  a->tiff = static_cast<uint8_t *>(heapAlloc(length));
  if (a->tiff == nullptr) return JPG_E_OUT_OF_MEMORY;
  a->tiffLength = length;
  return jpgReadReadMarkerData(handle, a->tiff, length, nullptr);
}

// Finds the first two directories, if they lie within the structure.
void locateDirectories(JpgExifAttributes *a) {
  a->bigEndian = a->tiff[0] == 'M' ? 1 : 0;
  const bool big = a->bigEndian != 0;
  const uint32_t offset = readTiff32(a->tiff + kTiffIfd0At, big);
  if (!insideTiff(*a, offset, kIfdCountSize)) return;
  a->ifd0 = a->tiff + offset;
  const uint64_t link = uint64_t{offset} + kIfdCountSize + kIfdEntrySize * readTiff16(a->ifd0, big);
  if (!insideTiff(*a, link, kIfdLinkSize)) return;
  const uint32_t next = readTiff32(a->tiff + link, big);
  if (next != 0 && insideTiff(*a, next, kIfdCountSize)) a->ifd1 = a->tiff + next;
}

}  // namespace

JpgExifAttributes *validAttributes(JPGEXIFHANDLE handle) {
  if (handle == nullptr || reinterpret_cast<uintptr_t>(handle) % 4 != 0) return nullptr;
  return handle->signature == kExifSignature && handle->recordSize == kExifSize ? handle : nullptr;
}

uint32_t readTiff16(const uint8_t *p, bool bigEndian) {
  const uint32_t first = p[0];
  const uint32_t second = p[1];
  return bigEndian ? first << 8 | second : second << 8 | first;
}

uint32_t readTiff32(const uint8_t *p, bool bigEndian) {
  const uint32_t first = readTiff16(p, bigEndian);
  const uint32_t second = readTiff16(p + 2, bigEndian);
  return bigEndian ? first << 16 | second : second << 16 | first;
}

bool insideTiff(const JpgExifAttributes &a, uint64_t offset, uint64_t bytes) {
  return offset <= a.tiffLength && bytes <= a.tiffLength - offset;
}

}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadExifReadAttributeProlog(JPGHANDLE handle, JPGEXIFHANDLE *attributes) {
  if (attributes == nullptr) return JPG_E_INVALID_HANDLE;
  *attributes = nullptr;
  if (validReader(handle) == nullptr) return JPG_E_INVALID_HANDLE;
  JpgExifAttributes *a = createAttributes();
  if (a == nullptr) return JPG_E_OUT_OF_MEMORY;
  if (const Result r = copyTiff(handle, a); r != JPG_OK) {
    destroyAttributes(a);
    return r;
  }
  locateDirectories(a);
  a->options = handle->options;
  *attributes = a;
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadExifReadAttributeEpilog(JPGEXIFHANDLE attributes) {
  JpgExifAttributes *a = validAttributes(attributes);
  return a != nullptr ? destroyAttributes(a) : JPG_E_INVALID_HANDLE;
}
