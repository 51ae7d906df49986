// The Exif attributes of a file: their handle, and a list of all entries.
#ifndef JPGTOOL_EXIFREADER_H
#define JPGTOOL_EXIFREADER_H

#include <cstdint>
#include <string>
#include <vector>

#include "jpg.h"
#include "limits.h"

namespace jpgtool {

// Owner of an attribute handle.
class ExifHandle {
 public:
  ExifHandle() = default;
  ~ExifHandle() {
    if (handle_ != nullptr) jpgReadExifReadAttributeEpilog(handle_);
  }
  ExifHandle(const ExifHandle &) = delete;
  ExifHandle &operator=(const ExifHandle &) = delete;

  // As Reader::open.
  uint32_t open(const std::string &file, uint32_t flags, const Limits &limits, std::string *why);
  JPGEXIFHANDLE handle() const { return handle_; }

 private:
  JPGEXIFHANDLE handle_ = nullptr;
};

// The directories, by the library's numbers.
enum ExifDirectoryNumber { kZeroth = 1, kFirst, kExif, kGps, kInteroperability };

// An entry, and its value unless that lies outside the segment, or the values ahead of it come
// to more than a segment holds (which share their bytes then).
struct ExifEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  enum State { kThere, kOutside, kTooMuch } state = kThere;
  std::vector<uint8_t> value;  // in the file's byte order
};

struct ExifDirectory {
  int32_t number = 0;
  std::vector<ExifEntry> entries;
};

// The directories that are there, with their entries as they stand.
struct ExifList {
  bool bigEndian = false;
  std::vector<ExifDirectory> directories;
};

uint32_t listExif(JPGEXIFHANDLE handle, ExifList *list);

// Numbers of an entry's value, by its type: whole ones, fractions, or floating.
struct ExifNumber {
  enum Kind { kWhole, kFraction, kFloating } kind = kWhole;
  int64_t number = 0;  // or numerator
  int64_t denominator = 1;
  double floating = 0;
};

// The entry's numbers; none for text, bytes of no type, and unknown types.
std::vector<ExifNumber> numbersOf(const ExifEntry &entry, bool bigEndian);

}  // namespace jpgtool

#endif
