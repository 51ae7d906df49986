// SPDX-License-Identifier: MIT
#include "exifHandle.h"

#include <cstring>
#include <utility>
#include <vector>

#include "fileSegments.h"
#include "reader.h"

namespace jpgtool {
namespace {

constexpr uint32_t kNameSize = 6;  // "Exif", a zero, and a byte that pads it

// The first Exif segment ahead of the scans, and its offset. False, with the reason.
bool findExif(const Input &input, FileSegment *segment, uint64_t *offset, std::string *why) {
  constexpr char kName[] = {'E', 'x', 'i', 'f', 0};
  const FileSegments stream(input);
  if (stream.at(0, segment) != JPG_OK || segment->marker != jpg::marker::kSoi) {
    *why = "no start marker (FF D8) at byte 0";
    return false;
  }
  for (const Segment &s : headersOf(input).segments) {
    if (s.marker != jpg::marker::kApp1 || stream.at(s.offset, segment) != JPG_OK) continue;
    if (segment->size < kNameSize || std::memcmp(segment->data, kName, sizeof(kName)) != 0)
      continue;
    *offset = s.offset;
    return true;
  }
  *why = "has no Exif segment";
  return false;
}

// Explains the codes for a stream without attributes.
void explain(uint32_t code, std::string *why) {
  if (code == JPG_E_NOT_JPEG) *why = "its Exif segment is cut off";
  if (code == JPG_E_NOT_FOUND) *why = "its Exif segment is empty";
}

}  // namespace

uint32_t ExifHandle::open(const Input &input, uint32_t flags, std::string *why) {
  // A stream of one pixel with this segment, so that the picture need not be one that can be
  // opened.
  static constexpr uint8_t kSoi[] = {0xFF, 0xD8};
  static constexpr uint8_t kRest[] = {0xFF, 0xC0, 0, 11, 8, 0, 1, 0, 1,  1, 1, 0x11, 0,  // SOF0
                                      0xFF, 0xDA, 0, 8,  1, 1, 0, 0, 63, 0,              // SOS
                                      0xFF, 0xD9};                                       // EOI
  FileSegment segment;
  uint64_t offset = 0;
  if (!findExif(input, &segment, &offset, why)) return JPG_E_NOT_JPEG;
  std::vector<uint8_t> stream(kSoi, kSoi + sizeof(kSoi));
  const uint8_t *begin = input.data() + offset, *end = segment.data + segment.size;
  stream.insert(stream.end(), begin, end);
  stream.insert(stream.end(), kRest, kRest + sizeof(kRest));
  JPGHANDLE reader = nullptr;
  uint32_t r =
      jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), flags, &reader);
  if (r == JPG_OK) r = jpgReadExifReadAttributeProlog(reader, &handle_);
  jpgReadEpilog(reader);
  explain(r, why);
  return r;
}

uint32_t readExif(const Input &input, jpg::ExifData *data, uint64_t *offset, std::string *why) {
  FileSegment segment;
  if (!findExif(input, &segment, offset, why)) return JPG_E_NOT_JPEG;
  jpg::Result<jpg::ExifData> read =
      jpg::ExifData::ofTiff({segment.data + kNameSize, segment.size - kNameSize});
  explain(read.code(), why);
  if (read) *data = std::move(*read);
  *offset += 4 + kNameSize;
  return read.code();
}

uint32_t orientationOf(const Input &input) {
  jpg::ExifData data;
  uint64_t offset = 0;
  std::string why;
  return readExif(input, &data, &offset, &why) == JPG_OK ? data.orientation() : 1;
}

}  // namespace jpgtool
