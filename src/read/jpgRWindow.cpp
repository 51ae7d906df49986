#include "read/jpgRWindow.h"

namespace jpg {
namespace {

// Steps back over the data byte in front of p; true when it is an FF with its zero. An FF ahead
// of `begin` isn't the window's: the bit reader has taken it for a data byte of its own.
bool stepBack(const uint8_t **p, const uint8_t *begin) {
  const bool stuffed = *p - begin >= 2 && (*p)[-1] == 0 && (*p)[-2] == 0xFF;
  *p -= stuffed ? 2 : 1;
  return stuffed;
}

}  // namespace

bool fillWindowSlowly(BitWindow *w) {
  while (w->count <= kFilledBits) {
    if (w->end - w->next < 2) return false;
    const WindowWord byte = *w->next;
    if (byte == 0xFF && w->next[1] != 0) return false;
    w->next += byte == 0xFF ? 2 : 1;
    w->bits |= byte << (kFilledBits - w->count);
    w->count += 8;
    w->loaded += 8;
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
  const uint32_t count = w->count - 8 * (taken - wanted);
  const auto top = static_cast<uint32_t>(w->bits >> (kWindowBits - 32));
  s->bitBuffer = count == 0 ? 0 : top >> (32 - count) << (32 - count);
  s->bitCount = count;
  // Of the bytes in front only those still pending are ever asked for.
  constexpr uint32_t kMostPending = 4;
  const uint32_t recent = wanted < kMostPending ? wanted : kMostPending;
  uint32_t history = 0;
  for (uint32_t i = 0; i < recent; i++) history |= (stepBack(&next, w->begin) ? 1U : 0U) << i;
  s->stuffHistory = s->stuffHistory << recent | history;
  initWindow(w);
}

}  // namespace jpg
