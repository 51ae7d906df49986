// The bit window: a register's width of a stream's entropy-coded data, for the loops that
// decode block after block.
//
// It reads ahead in the stream's input buffer, several bytes at a time where no FF is near.
// Closing it leaves the stream's record as the bit reader (jpgRBits.h) would have left it
// after the same symbols: no byte more is taken than that reader would have fetched, so
// every call boundary, marker peek and offset is the same. Where that takes a byte that
// isn't simply there (the buffer's end, a marker), the window is closed and the bit reader
// goes on.
#ifndef JPG_READ_RFASTBITS_H
#define JPG_READ_RFASTBITS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "read/jpgRVLC.h"
#include "share/jpgHuff.h"
#include "share/jpgShare.h"

namespace jpg {

using WindowWord = size_t;  // the widest that the target handles in one register
constexpr uint32_t kWindowBits = sizeof(WindowWord) * 8;
// Valid bits that a filled window has at least.
constexpr uint32_t kFilledBits = kWindowBits - 8;
// What a loop may count on behind a refill: on wide registers four shortcuts, of which the last
// may take the end of a block along, and then as many bits as the bit reader would have looked
// at ahead of that end; else a whole code.
constexpr uint32_t kEnoughBits =
    kWindowBits >= 64 ? 4 * kShortcutBits - 1 + kMaxCodeLength : kMaxCodeLength;
static_assert(kEnoughBits <= kFilledBits, "a filled window has enough");
// Bits to ask for ahead of a symbol: on wide registers a code and its additional bits, else a
// whole code or a whole shortcut.
constexpr uint32_t kSymbolBits = kWindowBits >= 64 ? 2 * kMaxCodeLength : kMaxCodeLength;
// Bytes that must lie in the buffer for a refill: each may be an FF with its zero.
constexpr uint32_t kWindowReach = 2 * sizeof(WindowWord);

struct BitWindow {
  WindowWord bits;      // the next bit is the highest; zeros behind the valid ones
  uint32_t count;       // valid bits
  uint32_t furthest;    // place up to which the bit reader would have asked for bits
  const uint8_t *next;  // byte behind the valid bits; null: closed
  const uint8_t *end;
  const uint8_t *begin;  // where it was opened
  uint32_t loaded;       // bits that were ever in it: the place of its end
  uint32_t first;        // bits that it took over from the record
};

// A closed window has no bits and no bytes to fill up with.
inline void initWindow(BitWindow *w) { *w = {}; }
inline bool isOpen(const BitWindow &w) { return w.next != nullptr; }

// Place of the next bit, counted from where the window was opened.
inline uint32_t placeOf(const BitWindow &w) { return w.loaded - w.count; }

// Notes that the bit reader would have fetched bits up to this place.
inline void noteReach(BitWindow *w, uint32_t place) {
  if (place > w->furthest) w->furthest = place;
}

// Takes over the stream's pending bits. False when the buffer holds too little.
inline bool openWindow(BitWindow *w, const JpgStream *s) {
  if (s->bufFill - s->bufIndex < kWindowReach || s->bitCount > kWindowBits - 8) return false;
  w->bits = static_cast<WindowWord>(s->bitBuffer) << (kWindowBits - 32);
  w->count = w->loaded = w->first = w->furthest = s->bitCount;
  w->next = w->begin = s->inputBuffer + s->bufIndex;
  w->end = s->inputBuffer + s->bufFill;
  return true;
}

// Gives the stream its state back and closes the window.
void closeWindow(BitWindow *w, JpgStream *s);

// Appends bytes, the zeros behind FF dropped, until kEnoughBits are there. False at a marker, or
// near the buffer's end, where they don't suffice.
bool fillBesideFF(BitWindow *w);

inline WindowWord loadBigEndian(const uint8_t *p) {
  if (sizeof(WindowWord) == 4) {  // not every compiler at -O2 unrolls the loop
    const uint32_t high = static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16;
    return high | static_cast<uint32_t>(p[2]) << 8 | p[3];
  }
  WindowWord v = 0;
  memcpy(&v, p, sizeof(v));
  if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) return v;
  return sizeof(v) == 8 ? static_cast<WindowWord>(__builtin_bswap64(v))
                        : __builtin_bswap32(static_cast<uint32_t>(v));
}

// The first `bytes` bytes of a word, fewer than it has.
inline WindowWord firstBytes(WindowWord v, uint32_t bytes) {
  return v & ~(~WindowWord{0} >> (8 * bytes));
}

// Whole bytes for which a word with so many valid bits has room.
inline uint32_t roomFor(uint32_t count) { return (kWindowBits - 1 - count) / 8; }

// The top bits of bytes that are FF, and perhaps of some ahead of them; 0 when none is.
inline WindowWord findFF(WindowWord v) {
  constexpr WindowWord kOnes = ~WindowWord{0} / 255;
  return (~v - kOnes) & v & (kOnes << 7);
}

inline uint32_t leadingZeros(WindowWord v) {
  return static_cast<uint32_t>(sizeof(v) == 8 ? __builtin_clzll(v)
                                              : __builtin_clz(static_cast<uint32_t>(v)));
}

// What a decoding loop keeps in registers: a window's bits and their count.
struct WindowHead {
  WindowWord bits;
  uint32_t count;
};

inline WindowHead headOf(const BitWindow &w) { return {w.bits, w.count}; }

inline void putBack(BitWindow *w, const WindowHead &head) {
  w->bits = head.bits;
  w->count = head.count;
}

// Drops n bits, n < kWindowBits, which must be there.
inline void dropHeadBits(WindowHead *head, uint32_t n) {
  head->bits <<= n;
  head->count -= n;
}

// Appends the stream's next `bytes` bytes: the first ones of `word`, with zeros behind them.
inline void appendBytes(BitWindow *w, WindowHead *head, WindowWord word, uint32_t bytes) {
  head->bits |= word >> head->count;
  head->count += 8 * bytes;
  w->loaded += 8 * bytes;
  w->next += bytes;
}

// Fills up to at least kFilledBits, near an FF kEnoughBits. False when the window can't go on
// alone. Forced inline: a call would spill the bit buffer.
[[gnu::always_inline]] inline bool fillHead(BitWindow *w, WindowHead *head) {
  if (static_cast<size_t>(w->end - w->next) < kWindowReach) return false;
  const uint32_t bytes = roomFor(head->count);
  const WindowWord word = firstBytes(loadBigEndian(w->next), bytes);
  if (findFF(word) == 0) {
    appendBytes(w, head, word, bytes);
    return true;
  }
  putBack(w, *head);
  const bool filled = fillBesideFF(w);
  *head = headOf(*w);
  return filled;
}

inline bool fillWindow(BitWindow *w) {
  WindowHead head = headOf(*w);
  const bool filled = fillHead(w, &head);
  putBack(w, head);
  return filled;
}

// At least n bits, n <= kEnoughBits. False when the window can't go on alone.
inline bool ensureBits(BitWindow *w, uint32_t n) { return w->count >= n || fillWindow(w); }

// The next n bits, 0 <= n <= 16, which must be there.
inline uint32_t windowBits(const BitWindow &w, uint32_t n) {
  return static_cast<uint32_t>((w.bits >> 1) >> (kWindowBits - 1 - n));
}

// The shortcut of an AC table for the window's next bits.
inline HuffShortcut acShortcut(const HuffShortcut *shortcuts, WindowWord bits) {
  return shortcuts[bits >> (kWindowBits - kShortcutBits)];
}

// A symbol by the lookup array, of up to kMaxCodeLength bits, which must be there. False for none.
inline bool windowSymbol(BitWindow *w, WindowHead *head, const HuffDecoder &table,
                         uint32_t *symbol) {
  noteReach(w, w->loaded - head->count + table.maxLength);
  const auto bits = static_cast<uint32_t>((head->bits >> 1) >> (kWindowBits - 1 - table.maxLength));
  const uint8_t entry = table.lookup[bits];
  if (entry == kNoCode) return false;
  dropHeadBits(head, table.codes[entry].length);
  *symbol = table.codes[entry].value;
  return true;
}

// Drops n bits, n < kWindowBits, which must be there.
inline void dropWindowBits(BitWindow *w, uint32_t n) {
  w->bits <<= n;
  w->count -= n;
}

}  // namespace jpg

#endif
