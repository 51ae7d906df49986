#include "exifHandle.h"

#include <utility>

#include "reader.h"

namespace jpgtool {
namespace {

// Explains the codes for an open file without attributes.
void explain(uint32_t code, std::string *why) {
  if (code == JPG_E_NOT_JPEG) *why = "has no Exif segment";
  if (code == JPG_E_NOT_FOUND) *why = "its Exif segment is empty";
}

}  // namespace

uint32_t ExifHandle::open(const std::string &file, uint32_t flags, const Limits &limits,
                          std::string *why) {
  Reader reader;
  if (const uint32_t r = reader.open(file, flags, limits, why); r != JPG_OK) return r;
  const uint32_t r = jpgReadExifReadAttributeProlog(reader.handle(), &handle_);
  explain(r, why);
  return r;
}

uint32_t readExif(const std::string &file, uint32_t flags, const Limits &limits,
                  jpg::ExifData *data, std::string *why) {
  Reader reader;
  if (const uint32_t r = reader.open(file, flags, limits, why); r != JPG_OK) return r;
  jpg::Result<jpg::ExifData> read = jpg::ExifData::of(reader.handle());
  explain(read.code(), why);
  if (read) *data = std::move(*read);
  return read.code();
}

}  // namespace jpgtool
