// SPDX-License-Identifier: MIT
#include "fileSegments.h"

#include <algorithm>
#include <cstring>

namespace jpgtool {

namespace marker = jpg::marker;

uint32_t FileSegments::at(uint64_t offset, FileSegment *segment) const {
  constexpr size_t kMarker = 2, kHead = 4;  // marker, and with it the length
  *segment = FileSegment();
  if (left(offset) < kMarker) return JPG_E_NOT_JPEG;
  const uint8_t *head = bytesAt(offset);
  const auto code = static_cast<uint16_t>(head[0] << 8 | head[1]);
  if (code < marker::kSof0 || code == 0xFFFF) return JPG_E_NOT_JPEG;
  segment->marker = code;
  segment->end = offset + kMarker;
  if (marker::standsAlone(code)) return JPG_OK;
  if (left(offset) < kHead) return JPG_E_NOT_JPEG;
  const uint32_t length = static_cast<uint32_t>(head[2] << 8 | head[3]);
  if (length < 2) return JPG_E_NOT_JPEG;  // it counts itself
  segment->length = length - 2;
  segment->end += length;
  segment->data = head + kHead;
  segment->size = std::min<size_t>(segment->length, left(offset) - kHead);
  return JPG_OK;
}

bool FileSegments::find(uint64_t *offset, uint16_t *marker) const {
  while (left(*offset) >= 2) {
    const uint8_t *bytes = bytesAt(*offset);
    const void *found = std::memchr(bytes, 0xFF, left(*offset) - 1);
    if (found == nullptr) return false;
    const auto i = static_cast<size_t>(static_cast<const uint8_t *>(found) - bytes);
    *offset += i;
    *marker = static_cast<uint16_t>(0xFF00 | bytes[i + 1]);
    if (bytes[i + 1] != 0 && bytes[i + 1] != 0xFF) return true;
    *offset += 1;
  }
  return false;
}

}  // namespace jpgtool
