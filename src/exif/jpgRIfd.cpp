// SPDX-License-Identifier: MIT
// The cursor over a directory.
#include "exif/jpgRExif.h"
#include "share/jpgHeap.h"

namespace jpg {
namespace {

// A cursor, which is handed out, and behind it what the checks need.
struct CursorBlock {
  JpgIfdCursor cursor;
  uint32_t tiffLength;
  const uint8_t *entry;  // read or found last; null before that, and if it was invalid
};

bool isValid(const JpgIfdCursor *cursor) {
  return cursor != nullptr && cursor->signature == kIfdSignature &&
         cursor->recordSize == kIfdCursorSize;
}

CursorBlock *blockOf(JpgIfdCursor *cursor) { return reinterpret_cast<CursorBlock *>(cursor); }
const CursorBlock &blockOf(const JpgIfdCursor &cursor) {
  return *reinterpret_cast<const CursorBlock *>(&cursor);
}

const uint8_t *entryAt(const JpgIfdCursor &cursor, uint32_t index) {
  return cursor.ifd + kIfdCountSize + kIfdEntrySize * index;
}

// Where a directory begins, by its number. 0, JPG_E_NOT_FOUND, or the code with which the
// search for the tag that points to it failed.
Result locateIfd(const JpgExifAttributes &a, JPGEXIFHANDLE handle, int32_t number,
                 const uint8_t **ifd) {
  if (number == kIfdZeroth || number == kIfdFirst) {
    *ifd = number == kIfdZeroth ? a.ifd0 : a.ifd1;
    return *ifd != nullptr ? JPG_OK : JPG_E_NOT_FOUND;
  }
  const int32_t parent = number == kIfdInteroperability ? kIfdExif : kIfdZeroth;
  uint16_t tag = kTagInteroperabilityIfd;
  if (number == kIfdExif) tag = kTagExifIfd;
  if (number == kIfdGps) tag = kTagGpsIfd;
  uint32_t offset = 0;
  if (const Result r = findInIfd(handle, parent, tag, &offset); r != JPG_OK) return r;
  if (!insideTiff(a, offset, kIfdCountSize)) return JPG_E_NOT_FOUND;
  *ifd = a.tiff + offset;
  return JPG_OK;
}

// True when all entries of the directory lie within the structure.
bool entriesInside(const JpgExifAttributes &a, const uint8_t *ifd) {
  const uint64_t bytes =
      kIfdCountSize + uint64_t{kIfdEntrySize} * readTiff16(ifd, a.bigEndian != 0);
  return insideTiff(a, static_cast<uint64_t>(ifd - a.tiff), bytes);
}

// The text inside an entry as a number, its first byte lowest, whatever the structure's byte order.
uint32_t textInside(const JpgIfdCursor &cursor, const uint8_t *value) {
  uint32_t word = 0;
  for (uint32_t i = 0; i < cursor.count; i++) word |= uint32_t{value[i]} << 8 * i;
  return word;
}

// The value inside an entry: the first one of several, sign-extended for signed types.
uint32_t valueInside(const JpgIfdCursor &cursor, const uint8_t *value) {
  const bool big = cursor.bigEndian != 0;
  switch (cursor.type) {
    case kTypeAscii:
    case kTypeUndefined:
      return textInside(cursor, value);
    case kTypeByte:
      return value[0];
    case kTypeSbyte:
      return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(value[0])));
    case kTypeShort:
      return cursor.count == 2 ? readTiff32(value, big) : readTiff16(value, big);
    case kTypeSshort:
      return static_cast<uint32_t>(
          static_cast<int32_t>(static_cast<int16_t>(readTiff16(value, big))));
    default:
      return readTiff32(value, big);
  }
}

// Makes the entry at `entry` the current one.
Result decodeEntry(JpgIfdCursor *cursor, const uint8_t *entry, uint32_t *size, uint32_t *value) {
  const bool big = cursor->bigEndian != 0;
  const uint8_t *field = entry + kEntryValueAt;
  cursor->tag = static_cast<uint16_t>(readTiff16(entry, big));
  cursor->type = static_cast<uint16_t>(readTiff16(entry + kEntryTypeAt, big));
  cursor->count = readTiff32(entry + kEntryCountAt, big);
  blockOf(cursor)->entry = nullptr;
  const uint64_t bytes = uint64_t{tiffTypeSize(cursor->type)} * cursor->count;
  const bool inside = bytes <= kEntryValueSize;
  cursor->value = inside ? valueInside(*cursor, field) : readTiff32(field, big);
  const uint32_t length = blockOf(cursor)->tiffLength;
  if (!inside && (cursor->value > length || bytes > length - cursor->value)) {
    return JPG_E_NOT_FOUND;
  }
  blockOf(cursor)->entry = entry;
  if (size != nullptr) *size = static_cast<uint32_t>(bytes);
  if (value != nullptr) *value = cursor->value;
  return JPG_OK;
}

}  // namespace

uint32_t tiffTypeSize(uint32_t type) {
  constexpr uint8_t kSizes[kTypeDouble + 1] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type <= kTypeDouble ? kSizes[type] : 0;
}

Result openIfd(JPGEXIFHANDLE handle, int32_t number, JpgIfdCursor **cursor) {
  const JpgExifAttributes *a = validAttributes(handle);
  if (a == nullptr || cursor == nullptr) return JPG_E_INVALID_HANDLE;
  if (number < kIfdZeroth || number > kIfdInteroperability) return JPG_E_INVALID_PARAMETER;
  *cursor = nullptr;
  const uint8_t *ifd = nullptr;
  if (const Result r = locateIfd(*a, handle, number, &ifd); r != JPG_OK) return r;
  if (!entriesInside(*a, ifd)) return JPG_E_NOT_FOUND;
  auto *block = static_cast<CursorBlock *>(heapAlloc(sizeof(CursorBlock)));
  if (block == nullptr) return JPG_E_OUT_OF_MEMORY;
  *block = {};
  block->tiffLength = a->tiffLength;
  JpgIfdCursor *c = &block->cursor;
  c->signature = kIfdSignature;
  c->recordSize = kIfdCursorSize;
  c->ifd = ifd;
  c->bigEndian = a->bigEndian;
  c->tiff = a->tiff;
  c->entryCount = static_cast<uint16_t>(readTiff16(ifd, a->bigEndian != 0));
  *cursor = c;
  return JPG_OK;
}

Result nextIfdEntry(JpgIfdCursor *cursor, uint16_t *tag, uint32_t *size, uint32_t *value) {
  if (!isValid(cursor)) return JPG_E_INVALID_HANDLE;
  if (cursor->nextEntry >= cursor->entryCount) return JPG_E_END_OF_IMAGE;
  if (tag == nullptr) return JPG_E_INVALID_HANDLE;
  const uint8_t *entry = entryAt(*cursor, cursor->nextEntry++);
  const Result r = decodeEntry(cursor, entry, size, value);
  *tag = cursor->tag;
  return r;
}

Result findIfdEntry(JpgIfdCursor *cursor, uint16_t tag, uint32_t *size, uint32_t *value) {
  if (!isValid(cursor)) return JPG_E_INVALID_HANDLE;
  for (uint32_t i = 0; i < cursor->entryCount; i++) {
    const uint8_t *entry = entryAt(*cursor, i);
    const uint32_t found = readTiff16(entry, cursor->bigEndian != 0);
    if (found == tag) return decodeEntry(cursor, entry, size, value);
    if (found > tag) break;
  }
  return JPG_E_NOT_FOUND;
}

Result ifdElement(const JpgIfdCursor &cursor, uint32_t i, uint32_t *element) {
  const CursorBlock &block = blockOf(cursor);
  const bool wide = cursor.type == kTypeLong;
  if (block.entry == nullptr || i >= cursor.count) return JPG_E_NOT_FOUND;
  if (!wide && cursor.type != kTypeShort) return JPG_E_NOT_FOUND;
  const uint32_t size = tiffTypeSize(cursor.type);
  const bool inside = uint64_t{size} * cursor.count <= kEntryValueSize;
  const uint8_t *values = inside ? block.entry + kEntryValueAt : cursor.tiff + cursor.value;
  const uint8_t *p = values + static_cast<size_t>(size) * i;
  const bool big = cursor.bigEndian != 0;
  *element = wide ? readTiff32(p, big) : readTiff16(p, big);
  return JPG_OK;
}

Result closeIfd(JpgIfdCursor *cursor) {
  if (!isValid(cursor)) return JPG_E_INVALID_HANDLE;
  *static_cast<volatile uint32_t *>(&cursor->signature) = 0;
  return heapFree(cursor);
}

Result findInIfd(JPGEXIFHANDLE handle, int32_t number, uint16_t tag, uint32_t *value) {
  JpgIfdCursor *cursor = nullptr;
  if (const Result r = openIfd(handle, number, &cursor); r != JPG_OK) return r;
  const Result r = findIfdEntry(cursor, tag, nullptr, value);
  closeIfd(cursor);
  return r;
}

}  // namespace jpg
