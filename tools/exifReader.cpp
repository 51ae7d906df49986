#include "exifReader.h"

#include <cstring>

// The library exports the attribute handle and the thumbnail; the cursor over the directories
// is its own affair. The tool links the static library and takes the cursor from its internal
// header, here only.
#include "exif/jpgRExif.h"
#include "reader.h"

namespace jpgtool {
namespace {

constexpr uint32_t kEntrySize = 12;  // tag, type, count, value or offset
constexpr uint32_t kFieldAt = 8;
constexpr uint32_t kFieldSize = 4;

// What the values of a segment of 64 KiB come to at most, unless they share their bytes: then
// a small file could ask for gigabytes. Twice that, for writers that share a few.
constexpr uint32_t kMostBytes = 2 * 65536;

// The value of the entry that the cursor has just taken.
const uint8_t *valueOf(const JpgIfdCursor &cursor, uint32_t size) {
  if (size > kFieldSize) return cursor.tiff + cursor.value;
  return cursor.ifd + 2 + kEntrySize * (cursor.nextEntry - 1U) + kFieldAt;
}

void listEntries(JpgIfdCursor *cursor, uint32_t *left, std::vector<ExifEntry> *entries) {
  for (;;) {
    ExifEntry entry;
    uint32_t size = 0;
    const uint32_t r = jpg::nextIfdEntry(cursor, &entry.tag, &size, nullptr);
    if (r == JPG_E_END_OF_IMAGE) return;
    entry.type = cursor->type;
    entry.count = cursor->count;
    if (r != JPG_OK) {
      entry.state = ExifEntry::kOutside;
    } else if (size > *left) {
      entry.state = ExifEntry::kTooMuch;
    } else {
      const uint8_t *value = valueOf(*cursor, size);
      entry.value.assign(value, value + size);
      *left -= size;
    }
    entries->push_back(entry);
  }
}

double floatingOf(const uint8_t *p, uint32_t size, bool bigEndian) {
  const uint64_t first = jpg::readTiff32(p, bigEndian);
  if (size == sizeof(float)) {
    const auto bits = static_cast<uint32_t>(first);
    float number = 0;
    std::memcpy(&number, &bits, sizeof(number));
    return static_cast<double>(number);
  }
  const uint64_t second = jpg::readTiff32(p + 4, bigEndian);
  const uint64_t bits = bigEndian ? first << 32 | second : second << 32 | first;
  double number = 0;
  std::memcpy(&number, &bits, sizeof(number));
  return number;
}

int64_t long32(const uint8_t *p, bool bigEndian, bool isSigned) {
  const uint32_t bits = jpg::readTiff32(p, bigEndian);
  return isSigned ? static_cast<int32_t>(bits) : static_cast<int64_t>(bits);
}

int64_t short16(const uint8_t *p, bool bigEndian, bool isSigned) {
  const uint32_t bits = jpg::readTiff16(p, bigEndian);
  return isSigned ? static_cast<int16_t>(bits) : static_cast<int64_t>(bits);
}

ExifNumber numberAt(const uint8_t *p, uint16_t type, bool bigEndian) {
  constexpr uint16_t kFirstSigned = jpg::kTypeSbyte;
  const uint32_t size = jpg::tiffTypeSize(type);
  const bool isSigned = type >= kFirstSigned;
  ExifNumber out;
  if (type >= jpg::kTypeDouble - 1) {
    out.kind = ExifNumber::kFloating;
    out.floating = floatingOf(p, size, bigEndian);
  } else if (size == 8) {
    out.kind = ExifNumber::kFraction;
    out.number = long32(p, bigEndian, isSigned);
    out.denominator = long32(p + 4, bigEndian, isSigned);
  } else if (size == 4) {
    out.number = long32(p, bigEndian, isSigned);
  } else if (size == 2) {
    out.number = short16(p, bigEndian, isSigned);
  } else {
    out.number = isSigned ? static_cast<int8_t>(*p) : static_cast<int64_t>(*p);
  }
  return out;
}

}  // namespace

uint32_t ExifHandle::open(const std::string &file, uint32_t flags, const Limits &limits,
                          std::string *why) {
  Reader reader;
  if (const uint32_t r = reader.open(file, flags, limits, why); r != JPG_OK) return r;
  const uint32_t r = jpgReadExifReadAttributeProlog(reader.handle(), &handle_);
  if (r == JPG_E_NOT_JPEG) *why = "has no Exif segment";
  if (r == JPG_E_NOT_FOUND) *why = "its Exif segment is empty";
  return r;
}

uint32_t listExif(JPGEXIFHANDLE handle, ExifList *list) {
  uint32_t left = kMostBytes;
  for (int32_t number = kZeroth; number <= kInteroperability; number++) {
    JpgIfdCursor *cursor = nullptr;
    const uint32_t r = jpg::openIfd(handle, number, &cursor);
    if (r == JPG_E_NOT_FOUND) continue;
    if (r != JPG_OK) return r;
    list->bigEndian = cursor->bigEndian != 0;
    ExifDirectory directory;
    directory.number = number;
    listEntries(cursor, &left, &directory.entries);
    list->directories.push_back(directory);
    jpg::closeIfd(cursor);
  }
  return JPG_OK;
}

std::vector<ExifNumber> numbersOf(const ExifEntry &entry, bool bigEndian) {
  std::vector<ExifNumber> numbers;
  const uint32_t size = jpg::tiffTypeSize(entry.type);
  if (size == 0 || entry.type == jpg::kTypeAscii || entry.type == jpg::kTypeUndefined) {
    return numbers;
  }
  for (size_t at = 0; at + size <= entry.value.size(); at += size) {
    numbers.push_back(numberAt(entry.value.data() + at, entry.type, bigEndian));
  }
  return numbers;
}

}  // namespace jpgtool
