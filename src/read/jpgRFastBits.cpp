// SPDX-License-Identifier: MIT
#include "read/jpgRFastBits.h"

#include "share/jpgAssert.h"

namespace jpg {
namespace {

// Steps back over the data byte before p; true when it is an FF with its stuffed zero. An FF before
// `begin` isn't the window's: the bit reader has already taken it for a data byte.
bool stepBack(const uint8_t **p, const uint8_t *begin) {
  JPG_ASSERT(*p > begin);
  const bool stuffed = *p - begin >= 2 && (*p)[-1] == 0 && (*p)[-2] == 0xFF;
  *p -= stuffed ? 2 : 1;
  return stuffed;
}

}  // namespace

bool fillBesideFF(BitWindow *w) {
  while (w->count < kEnoughBits) {
    if (static_cast<size_t>(w->end - w->next) <= sizeof(WindowWord)) return false;
    uint32_t bytes = roomFor(w->count);
    WindowWord word = firstBytes(loadBigEndian(w->next), bytes);
    const WindowWord found = findFF(word);
    bool stuffed = false, marker = false;
    if (found != 0) {
      const uint32_t at = leadingZeros(found) / 8;
      stuffed = w->next[at] == 0xFF && w->next[at + 1] == 0;
      marker = w->next[at] == 0xFF && !stuffed;
      bytes = marker ? at : at + 1;
      word = firstBytes(word, bytes);
    }
    w->bits |= word >> w->count;
    w->count += 8 * bytes;
    w->loaded += 8 * bytes;
    w->next += stuffed ? bytes + 1 : bytes;
    JPG_ASSERT(w->next <= w->end && w->count < kWindowBits);
    if (marker) return w->count >= kEnoughBits;
  }
  return true;
}

void closeWindow(BitWindow *w, JpgStream *s) {
  noteReach(w, placeOf(*w));
  const uint32_t taken = (w->loaded - w->first) / 8;
  const uint32_t wanted = w->furthest > w->first ? (w->furthest - w->first + 7) / 8 : 0;
  const uint8_t *next = w->next;
  for (uint32_t i = wanted; i < taken; i++) stepBack(&next, w->begin);
  s->bufIndex += static_cast<uint32_t>(next - w->begin);
  JPG_ASSERT(s->bufIndex <= s->bufFill);
  const uint32_t count = w->count - 8 * (taken - wanted);
  JPG_ASSERT(count <= 31);
  const auto top = static_cast<uint32_t>(w->bits >> (kWindowBits - 32));
  s->bitBuffer = count == 0 ? 0 : top >> (32 - count) << (32 - count);
  s->bitCount = count;
  // Only the history of bytes that are still in the bit buffer is ever used.
  constexpr uint32_t kMostPending = 4;
  const uint32_t recent = wanted < kMostPending ? wanted : kMostPending;
  uint32_t history = 0;
  for (uint32_t i = 0; i < recent; i++) history |= (stepBack(&next, w->begin) ? 1U : 0U) << i;
  s->stuffHistory = s->stuffHistory << recent | history;
  initWindow(w);
}

}  // namespace jpg
