// SPDX-License-Identifier: MIT
#include "metadata.h"

#include <algorithm>
#include <cstring>

#include "exifHandle.h"
#include "fileSegments.h"
#include "reader.h"

namespace jpgtool {
namespace {

constexpr char kIccName[] = "ICC_PROFILE";  // with its zero; then number and count of the segment
constexpr size_t kIccHead = sizeof(kIccName) + 2;
constexpr size_t kMostData = 65533;
constexpr uint16_t kApp2 = 0xFFE2, kCom = 0xFFFE;

// Changes numbers of a TIFF structure in place.
class TiffEditor {
 public:
  TiffEditor(uint8_t *tiff, size_t size, bool bigEndian)
      : tiff_(tiff), size_(size), bigEndian_(bigEndian) {}

  uint32_t number(size_t at, size_t bytes) const {
    uint32_t value = 0;
    for (size_t i = 0; i < bytes; i++) value |= uint32_t{tiff_[at + i]} << shift(i, bytes);
    return value;
  }
  void put(size_t at, size_t bytes, uint32_t value) {
    for (size_t i = 0; i < bytes; i++)
      tiff_[at + i] = static_cast<uint8_t>(value >> shift(i, bytes));
  }
  bool holds(uint64_t at, uint64_t bytes) const { return at + bytes <= size_; }

  // Where an entry of a directory begins, 0 without it.
  size_t find(uint32_t directory, uint16_t tag) const {
    if (directory == 0 || !holds(directory, 2)) return 0;
    const uint32_t count = number(directory, 2);
    for (uint32_t i = 0; i < count; i++) {
      const uint64_t at = directory + 2 + uint64_t{12} * i;
      if (!holds(at, 12)) return 0;
      if (number(static_cast<size_t>(at), 2) == tag) return static_cast<size_t>(at);
    }
    return 0;
  }
  // Sets a value of one SHORT or LONG.
  void set(uint32_t directory, uint16_t tag, uint32_t value) {
    constexpr uint32_t kShort = 3, kLong = 4;
    const size_t at = find(directory, tag);
    if (at == 0 || number(at + 4, 4) != 1) return;
    if (number(at + 2, 2) == kShort) put(at + 8, 2, value);
    if (number(at + 2, 2) == kLong) put(at + 8, 4, value);
  }
  // Cuts the link to the directory behind one.
  void endChain(uint32_t directory) {
    if (directory == 0 || !holds(directory, 2)) return;
    const uint64_t link = directory + 2 + uint64_t{12} * number(directory, 2);
    if (holds(link, 4)) put(static_cast<size_t>(link), 4, 0);
  }
  uint32_t pointer(uint32_t directory, uint16_t tag) const {
    const size_t at = find(directory, tag);
    return at != 0 ? number(at + 8, 4) : 0;
  }

 private:
  size_t shift(size_t i, size_t bytes) const { return 8 * (bigEndian_ ? bytes - 1 - i : i); }

  uint8_t *tiff_;
  size_t size_;
  bool bigEndian_;
};

}  // namespace

Bytes iccProfileOf(const Input &input) {
  const FileSegments stream(input);
  std::vector<Bytes> pieces;
  for (const Segment &s : headersOf(input).segments) {
    FileSegment segment;
    if (s.marker != kApp2 || stream.at(s.offset, &segment) != JPG_OK) continue;
    if (segment.size < kIccHead || std::memcmp(segment.data, kIccName, sizeof(kIccName)) != 0)
      continue;
    const size_t number = segment.data[kIccHead - 2], count = segment.data[kIccHead - 1];
    pieces.resize(std::max(pieces.size(), count));
    if (number < 1 || number > pieces.size()) return {};
    pieces[number - 1].assign(segment.data + kIccHead, segment.data + segment.size);
  }
  Bytes profile;
  for (const Bytes &piece : pieces) {
    if (piece.empty()) return {};
    profile.insert(profile.end(), piece.begin(), piece.end());
  }
  return profile;
}

bool appendIcc(const Bytes &profile, std::vector<MarkerData> *segments) {
  constexpr size_t kPiece = kMostData - kIccHead;
  const size_t count = (profile.size() + kPiece - 1) / kPiece;
  if (count == 0 || count > 255) return false;
  for (size_t i = 0; i < count; i++) {
    MarkerData segment = {kApp2, Bytes(kIccName, kIccName + sizeof(kIccName))};
    segment.data.push_back(static_cast<uint8_t>(i + 1));
    segment.data.push_back(static_cast<uint8_t>(count));
    const auto first = profile.begin() + static_cast<std::ptrdiff_t>(i * kPiece);
    const size_t size = std::min(kPiece, profile.size() - i * kPiece);
    segment.data.insert(segment.data.end(), first, first + static_cast<std::ptrdiff_t>(size));
    segments->push_back(segment);
  }
  return true;
}

bool commentOf(const Input &input, Bytes *comment) {
  const FileSegments stream(input);
  for (const Segment &s : headersOf(input).segments) {
    FileSegment segment;
    if (s.marker != kCom || stream.at(s.offset, &segment) != JPG_OK || segment.size == 0) continue;
    comment->assign(segment.data, segment.data + segment.size);
    return true;
  }
  return false;
}

bool exifFor(const Input &input, uint32_t width, uint32_t height, bool asStored, Bytes *data) {
  constexpr uint16_t kPixelXDimension = 40962, kPixelYDimension = 40963;
  jpg::ExifData exif;
  uint64_t offset = 0;
  std::string why;
  if (readExif(input, &exif, &offset, &why) != JPG_OK) return false;
  static constexpr uint8_t kName[] = {'E', 'x', 'i', 'f', 0, 0};
  data->assign(kName, kName + sizeof(kName));
  data->insert(data->end(), exif.tiff().data(), exif.tiff().data() + exif.tiff().size());
  TiffEditor tiff(data->data() + sizeof(kName), exif.tiff().size(), exif.bigEndian());
  const uint32_t zeroth = tiff.number(4, 4);
  if (!asStored && exif.orientation() != 1) {
    tiff.set(zeroth, jpg::tag::kOrientation, 1);
    tiff.endChain(zeroth);
  }
  const uint32_t camera = tiff.pointer(zeroth, jpg::tag::kExifPointer);
  tiff.set(camera, kPixelXDimension, width);
  tiff.set(camera, kPixelYDimension, height);
  return true;
}

}  // namespace jpgtool
