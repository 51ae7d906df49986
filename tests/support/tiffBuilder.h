// SPDX-License-Identifier: MIT
// Builds the TIFF structure of an Exif segment piece by piece, right or wrong.
//
// Pieces stand in the order in which they are put; what points to a piece comes behind it:
// directories of the Exif, GPS and Interoperability kind before the one that names them.
#ifndef JPG_TESTS_SUPPORT_TIFFBUILDER_H
#define JPG_TESTS_SUPPORT_TIFFBUILDER_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace jpgtest {

enum class ByteOrder { kLittle, kBig };

constexpr ByteOrder kByteOrders[] = {ByteOrder::kLittle, ByteOrder::kBig};

enum TiffType : uint16_t {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kSbyte = 6,
  kUndefined = 7,
  kSshort = 8,
  kSlong = 9,
  kSrational = 10,
  kFloat = 11,
  kDouble = 12,
};

// Tags that lead to other directories.
constexpr uint16_t kExifPointer = 34665;
constexpr uint16_t kGpsPointer = 34853;
constexpr uint16_t kInteroperabilityPointer = 40965;

struct TiffEntry {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  Bytes
      value;  // in the file's order; up to 4 bytes stand in the entry, more ahead of its directory
};

class TiffBuilder {
 public:
  explicit TiffBuilder(ByteOrder order);

  // Entries with their numbers in the file's order.
  TiffEntry shorts(uint16_t tag, const std::vector<uint32_t> &numbers) const;
  TiffEntry longs(uint16_t tag, const std::vector<uint32_t> &numbers) const;
  TiffEntry shortOf(uint16_t tag, uint32_t number) const { return shorts(tag, {number}); }
  TiffEntry longOf(uint16_t tag, uint32_t number) const { return longs(tag, {number}); }
  TiffEntry text(uint16_t tag, const std::string &text) const;  // with its terminator
  // Any type and count, true or not, with four bytes that hold a number.
  TiffEntry claim(uint16_t tag, uint16_t type, uint32_t count, uint32_t field) const;

  // Bytes, and a directory with the values that it hasn't room for ahead of it; both at even
  // offsets, which are returned.
  uint32_t put(const Bytes &data);
  uint32_t putIfd(const std::vector<TiffEntry> &entries, uint32_t next = 0);
  // The header's offset of the 0th directory.
  void setZeroth(uint32_t offset) { overwrite32(4, offset); }
  // Puts the 0th directory.
  uint32_t putZeroth(const std::vector<TiffEntry> &entries, uint32_t next = 0);

  void overwrite16(size_t at, uint32_t number);
  void overwrite32(size_t at, uint32_t number);
  void cut(size_t size) { bytes_.resize(size); }

  ByteOrder order() const { return order_; }
  const Bytes &bytes() const { return bytes_; }
  Bytes number16(uint32_t number) const;
  Bytes number32(uint32_t number) const;

 private:
  void evenOut();

  ByteOrder order_;
  Bytes bytes_;
};

// The data of an APP1 segment, and the segment.
Bytes exifData(const Bytes &tiff);
Bytes exifSegment(const Bytes &tiff);
// A small grey picture's stream with segments behind its SOI.
Bytes streamWith(const Bytes &segments);
// The same with one Exif segment.
Bytes streamOf(const TiffBuilder &tiff);

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_TIFFBUILDER_H
