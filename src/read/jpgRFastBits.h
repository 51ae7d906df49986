// SPDX-License-Identifier: MIT
// The bit window: a register-wide bit buffer over a stream's entropy-coded data, for the loops
// that decode block after block.
//
// It is refilled from the stream's input buffer, several bytes at a time unless an FF is among
// them. Closing it leaves the stream's record as the bit reader (jpgRBits.h) would have left it
// after the same symbols: no byte more is consumed than that reader would have fetched, so every
// call boundary, marker peek and offset is the same. Near the buffer's end and at markers, the
// window is closed and the bit reader takes over.
#ifndef JPG_READ_RFASTBITS_H
#define JPG_READ_RFASTBITS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "read/jpgRVLC.h"
#include "share/jpgAssert.h"
#include "share/jpgHuffFast.h"
#include "share/jpgShare.h"

namespace jpg {

using WindowWord = size_t;  // the widest that the target handles in one register
constexpr uint32_t kWindowBits = sizeof(WindowWord) * 8;
// Least number of valid bits after a refill that found no FF. On 32-bit registers a refill comes
// when fewer than 16 bits are left, and takes two bytes.
constexpr uint32_t kFilledBits = kWindowBits >= 64 ? kWindowBits - 8 : 16;
// Bits guaranteed after any refill: on 64-bit registers enough for four shortcuts, of which the
// last may include the end of a block, and for the bits that the bit reader would have peeked
// ahead of that end; on 32-bit registers enough for a whole code.
constexpr uint32_t kEnoughBits =
    kWindowBits >= 64 ? 4 * kShortcutBits - 1 + kMaxCodeLength : kMaxCodeLength;
static_assert(kEnoughBits <= kFilledBits, "a filled window has enough");
// Bits needed before a symbol is decoded: on 64-bit registers a code and its additional bits, else
// a code or a shortcut.
constexpr uint32_t kSymbolBits = kWindowBits >= 64 ? 2 * kMaxCodeLength : kMaxCodeLength;
// Bytes that a refill needs in the input buffer: each byte may be an FF with its stuffed zero.
constexpr uint32_t kWindowReach = 2 * sizeof(WindowWord);

struct BitWindow {
  WindowWord bits;      // the next bit is the highest; zeros below the valid ones
  uint32_t count;       // valid bits
  uint32_t furthest;    // position up to which the bit reader would have fetched
  const uint8_t *next;  // byte behind the valid bits; null: closed
  const uint8_t *end;
  const uint8_t *begin;  // `next` when it was opened
  uint32_t loaded;       // all bits loaded since it was opened: the position of its end
  uint32_t first;        // of these, bits taken over from the record
};

// A closed window has no bits, and a refill fails.
inline void initWindow(BitWindow *w) { *w = {}; }
inline bool isOpen(const BitWindow &w) { return w.next != nullptr; }

// Position of the next bit, counted in bits from where the window was opened.
inline uint32_t placeOf(const BitWindow &w) { return w.loaded - w.count; }

// Records that the bit reader would have fetched bits up to this position.
inline void noteReach(BitWindow *w, uint32_t place) {
  if (place > w->furthest) w->furthest = place;
}

// Opens the window with the stream's pending bits. False when the buffer has too few bytes left.
inline bool openWindow(BitWindow *w, const JpgStream *s) {
  if (s->bufFill - s->bufIndex < kWindowReach || s->bitCount > kWindowBits - 8) return false;
  w->bits = static_cast<WindowWord>(s->bitBuffer) << (kWindowBits - 32);
  w->count = w->loaded = w->first = w->furthest = s->bitCount;
  w->next = w->begin = s->inputBuffer + s->bufIndex;
  w->end = s->inputBuffer + s->bufFill;
  return true;
}

// Writes the state back to the stream and closes the window.
void closeWindow(BitWindow *w, JpgStream *s);

// Refills to at least kEnoughBits where an FF is near, dropping stuffed zeros. False if a marker or
// the buffer's end comes first.
bool fillBesideFF(BitWindow *w);

inline WindowWord loadBigEndian(const uint8_t *p) {
  if (sizeof(WindowWord) == 4) {  // without a loop, which gcc doesn't unroll at -O2
    const uint32_t high = static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16;
    return high | static_cast<uint32_t>(p[2]) << 8 | p[3];
  }
  WindowWord v = 0;
  memcpy(&v, p, sizeof(v));
  if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) return v;
  return sizeof(v) == 8 ? static_cast<WindowWord>(__builtin_bswap64(v))
                        : __builtin_bswap32(static_cast<uint32_t>(v));
}

// The first `bytes` bytes of a word, with zeros behind them; fewer than the word has.
inline WindowWord firstBytes(WindowWord v, uint32_t bytes) {
  return v & ~(~WindowWord{0} >> (8 * bytes));
}

// Number of whole bytes that fit behind `count` valid bits.
inline uint32_t roomFor(uint32_t count) {
  JPG_ASSERT(count < kWindowBits);
  return (kWindowBits - 1 - count) / 8;
}

// Bit 7 of each byte that is FF, and perhaps of bytes ahead of it; 0 when no byte is FF.
inline WindowWord findFF(WindowWord v) {
  constexpr WindowWord kOnes = ~WindowWord{0} / 255;
  return (~v - kOnes) & v & (kOnes << 7);
}

inline uint32_t leadingZeros(WindowWord v) {
  return static_cast<uint32_t>(sizeof(v) == 8 ? __builtin_clzll(v)
                                              : __builtin_clz(static_cast<uint32_t>(v)));
}

// The part of a window that a decoding loop keeps in registers: the bits and their count.
struct WindowHead {
  WindowWord bits;
  uint32_t count;
};

inline WindowHead headOf(const BitWindow &w) { return {w.bits, w.count}; }

inline void putBack(BitWindow *w, const WindowHead &head) {
  w->bits = head.bits;
  w->count = head.count;
}

// Drops n bits, n < kWindowBits, which must be in the window.
inline void dropHeadBits(WindowHead *head, uint32_t n) {
  JPG_ASSERT(n < kWindowBits && n <= head->count);
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

// Takes two bytes into a 32-bit register with fewer than 16 bits, unless one of them is an FF.
inline bool takeTwoBytes(BitWindow *w, WindowHead *head) {
  JPG_ASSERT(head->count < kFilledBits);
  const WindowWord first = w->next[0], second = w->next[1];
  if (first == 0xFF || second == 0xFF) return false;
  appendBytes(w, head, (first << 8 | second) << (kWindowBits - 16), 2);
  return true;
}

// Refills to at least kFilledBits, or kEnoughBits near an FF. False when the bit reader must take
// over. On 32-bit registers there must be fewer than kFilledBits. Forced inline: a call would spill
// the bit buffer.
[[gnu::always_inline]] inline bool fillHead(BitWindow *w, WindowHead *head) {
  if (static_cast<size_t>(w->end - w->next) < kWindowReach) return false;
  if (kWindowBits < 64) {
    if (takeTwoBytes(w, head)) return true;
  } else {
    const uint32_t bytes = roomFor(head->count);
    const WindowWord word = firstBytes(loadBigEndian(w->next), bytes);
    if (findFF(word) == 0) {
      appendBytes(w, head, word, bytes);
      return true;
    }
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

// Refills if fewer than n bits are left, n <= kEnoughBits. False: the bit reader must take over.
inline bool ensureBits(BitWindow *w, uint32_t n) { return w->count >= n || fillWindow(w); }

// The next n bits, 0 <= n <= 16, which must be in the window.
inline uint32_t windowBits(const BitWindow &w, uint32_t n) {
  JPG_ASSERT(n <= w.count);
  return static_cast<uint32_t>((w.bits >> 1) >> (kWindowBits - 1 - n));
}

// The shortcut for the window's next bits.
inline HuffShortcut nextShortcut(const JpgHuffLookup &lookup, WindowWord bits) {
  return lookup.shortcut[bits >> (kWindowBits - kShortcutBits)];
}

// Decodes a symbol without its additional bits; the window must have kMaxCodeLength bits. False for
// an invalid code.
inline bool windowSymbol(BitWindow *w, WindowHead *head, const HuffDecoder &table,
                         uint32_t *symbol) {
  JPG_ASSERT(table.maxLength <= head->count);
  noteReach(w, w->loaded - head->count + table.maxLength);
  const auto bits = static_cast<uint32_t>(head->bits >> (kWindowBits - kMaxCodeLength));
  const HuffSymbol next = symbolAt(*table.lookup, table.codes, bits);
  dropHeadBits(head, next.length);
  *symbol = next.value;
  return next.length != 0;
}

// Drops n bits, n < kWindowBits, which must be in the window.
inline void dropWindowBits(BitWindow *w, uint32_t n) {
  JPG_ASSERT(n < kWindowBits && n <= w->count);
  w->bits <<= n;
  w->count -= n;
}

}  // namespace jpg

#endif
