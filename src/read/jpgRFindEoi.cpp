// SPDX-License-Identifier: MIT
#include "read/jpgRFindEoi.h"

#include "share/jpgMarkers.h"

namespace jpg {
namespace {

constexpr int64_t kMaxSeek = 0x7FFFFFFF;  // a file position has 31 bits

// True if the n bytes contain FF D9.
bool holdsEoi(const uint8_t *data, uint32_t n) {
  for (uint32_t i = n; i >= 2; i--) {
    if (data[i - 2] == kMarkerEoi >> 8 && data[i - 1] == (kMarkerEoi & 0xFF)) return true;
  }
  return false;
}

// Reads up to n bytes from `position` on into `buffer`; returns their count, 0
// if nothing can be read.
uint32_t readAt(JpgStream *s, uint32_t position, uint8_t *buffer, uint32_t n) {
  if (streamSeek(s, position, kSeekBegin) == kSeekFailed) return 0;
  uint32_t count = 0;
  while (count < n) {
    const int32_t got = streamRead(s, buffer + count, n - count);
    if (got < 1) break;
    count += static_cast<uint32_t>(got);
  }
  return count;
}

}  // namespace

// Reads blocks instead of pairs: neighbouring blocks overlap by a byte, so that every pair
// is whole in one of them. The stream's own input buffer is free for them here.
bool fileHasEoi(JpgStream *s) {
  constexpr int64_t kPairsPerBlock = kStreamBuffer - 1;
  const int64_t first = int64_t{s->startOffset} + 1;
  // A size that couldn't be determined is 0xFFFFFFFF: there is nothing to search.
  int64_t last = static_cast<int64_t>(s->endOffset == 0xFFFFFFFF ? 0 : s->endOffset) - 2;
  if (last > kMaxSeek - s->startOffset) last = kMaxSeek - s->startOffset;
  while (last >= first) {
    const int64_t from = last - kPairsPerBlock + 1 > first ? last - kPairsPerBlock + 1 : first;
    const auto n = static_cast<uint32_t>(last - from + 2);
    const uint32_t got = readAt(s, static_cast<uint32_t>(from), s->inputBuffer, n);
    if (holdsEoi(s->inputBuffer, got)) return true;
    last = from - 1;
  }
  return false;
}

bool memoryHasEoi(const JpgStream *s) { return holdsEoi(s->base + 1, s->size - 1); }

}  // namespace jpg
