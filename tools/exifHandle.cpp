#include "exifHandle.h"

#include <cstring>
#include <utility>

#include "fileSegments.h"
#include "reader.h"

namespace jpgtool {
namespace {

// Explains the codes for a stream without attributes.
void explain(uint32_t code, std::string *why) {
  if (code == JPG_E_NOT_JPEG) *why = "has no Exif segment";
  if (code == JPG_E_NOT_FOUND) *why = "its Exif segment is empty";
}

}  // namespace

uint32_t ExifHandle::open(const Input &input, uint32_t flags, const Limits &limits,
                          std::string *why) {
  Reader reader;
  if (const uint32_t r = reader.open(input, flags, limits, why); r != JPG_OK) return r;
  const uint32_t r = jpgReadExifReadAttributeProlog(reader.handle(), &handle_);
  explain(r, why);
  return r;
}

uint32_t readExif(const Input &input, jpg::ExifData *data, uint64_t *offset, std::string *why) {
  constexpr char kName[] = {'E', 'x', 'i', 'f', 0};
  constexpr uint32_t kNameSize = 6;  // and a byte that pads it
  const FileSegments stream(input);
  FileSegment start;
  if (stream.at(0, &start) != JPG_OK || start.marker != jpg::marker::kSoi) {
    *why = "no start marker (FF D8) at byte 0";
    return JPG_E_NOT_JPEG;
  }
  for (const Segment &s : headersOf(input).segments) {
    FileSegment segment;
    if (s.marker != jpg::marker::kApp1 || stream.at(s.offset, &segment) != JPG_OK) continue;
    if (segment.size < kNameSize || std::memcmp(segment.data, kName, sizeof(kName)) != 0) continue;
    jpg::Result<jpg::ExifData> read =
        jpg::ExifData::ofTiff({segment.data + kNameSize, segment.size - kNameSize});
    explain(read.code(), why);
    if (read) *data = std::move(*read);
    *offset = s.offset + 4 + kNameSize;
    return read.code();
  }
  explain(JPG_E_NOT_JPEG, why);
  return JPG_E_NOT_JPEG;
}

uint32_t orientationOf(const Input &input) {
  jpg::ExifData data;
  uint64_t offset = 0;
  std::string why;
  return readExif(input, &data, &offset, &why) == JPG_OK ? data.orientation() : 1;
}

}  // namespace jpgtool
