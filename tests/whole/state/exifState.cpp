// SPDX-License-Identifier: MIT
#include "whole/state/exifState.h"

#include <cstring>

namespace jpgtest {

uint32_t ExifState::number16(size_t at) const {
  const bool big = tiff_[0] == 'M';
  return big ? tiff_[at] * 256U + tiff_[at + 1] : tiff_[at + 1] * 256U + tiff_[at];
}

uint32_t ExifState::number32(size_t at) const {
  const bool big = tiff_[0] == 'M';
  const uint32_t a = number16(at), b = number16(at + 2);
  return big ? a << 16 | b : b << 16 | a;
}

uint32_t ExifState::open(ReaderState *reader) {
  uint32_t length = 0;
  optionFlags_ = reader->optionFlags();
  for (int32_t mode = JPG_SEGMENT_FIRST;; mode = JPG_SEGMENT_NEXT) {
    uint16_t marker = 0;
    uint32_t r = reader->seekMarkerSegment(mode, &marker, &length);
    if (r != JPG_OK) return r;
    if (marker != 0xFFE1) continue;
    uint8_t name[6] = {};
    r = reader->readMarkerData(name, 6, nullptr);
    if (r != JPG_OK) return r;
    if (std::memcmp(name, "Exif", 5) == 0) break;
  }
  if (length < 6 + 8) return JPG_E_NOT_FOUND;
  tiff_.resize(length - 6);
  const uint32_t r = reader->readMarkerData(tiff_.data(), length - 6, nullptr);
  if (r != JPG_OK) return r;
  const size_t zeroth = number32(4);
  first_ = number32(zeroth + 2 + 12 * number16(zeroth));
  return JPG_OK;
}

uint32_t ExifState::parse() {
  if (parsed_) return JPG_OK;
  if (first_ == 0) return JPG_E_NOT_FOUND;
  for (uint32_t i = 0; i < number16(first_); i++) {
    const size_t entry = first_ + 2 + 12 * i;
    const bool isShort = number16(entry + 2) == 3;
    const uint32_t value = isShort ? number16(entry + 8) : number32(entry + 8);
    switch (number16(entry)) {
      case 256:
        width_ = value;
        break;
      case 257:
        height_ = value;
        break;
      case 259:
        compression_ = value;
        break;
      case 262:
        photometric_ = value;
        break;
      case 273:
        strip_ = value;
        break;
      case 284:
        planar_ = value;
        break;
      case 513:
        jpegAt_ = value;
        break;
      case 514:
        jpegSize_ = value;
        break;
      default:
        break;
    }
  }
  parsed_ = true;
  return compressed() ? rewind() : JPG_OK;
}

uint32_t ExifState::rewind() {
  nested_ = std::make_unique<ReaderState>();
  const auto first = tiff_.begin() + static_cast<std::ptrdiff_t>(jpegAt_);
  return nested_->openMemory(Bytes(first, first + static_cast<std::ptrdiff_t>(jpegSize_)),
                             JPG_READ_COMPLETE | optionFlags_);
}

uint32_t ExifState::rgbRows(const JpgRect &rect, int32_t rows) const {
  if (photometric_ != 2 || planar_ != 1) return JPG_E_UNSUPPORTED;
  const uint8_t *from = &tiff_[strip_];
  for (int32_t y = 0; y < rows; y++) {
    uint8_t *to = static_cast<uint8_t *>(rect.bits) + int64_t{rect.stride} * y;
    for (uint32_t x = 0; x < width_; x++, from += 3, to += 3) {
      to[0] = from[2];
      to[1] = from[1];
      to[2] = from[0];
    }
  }
  return JPG_OK;
}

}  // namespace jpgtest
