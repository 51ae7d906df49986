// SPDX-License-Identifier: MIT
// Builds JPEG streams segment by segment, right or wrong, in any order.
#ifndef JPG_TESTS_SUPPORT_STREAMBUILDER_H
#define JPG_TESTS_SUPPORT_STREAMBUILDER_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/huffman.h"

namespace jpgtest {

// Second bytes of the markers (T.81 table B.1).
enum Marker : uint8_t {
  kSof0 = 0xC0,
  kSof1 = 0xC1,
  kSof2 = 0xC2,
  kSof3 = 0xC3,
  kDht = 0xC4,
  kSof7 = 0xC7,
  kJpg = 0xC8,
  kSof9 = 0xC9,
  kDac = 0xCC,
  kRst0 = 0xD0,
  kSoi = 0xD8,
  kEoi = 0xD9,
  kSos = 0xDA,
  kDqt = 0xDB,
  kDnl = 0xDC,
  kDri = 0xDD,
  kDhp = 0xDE,
  kExp = 0xDF,
  kApp0 = 0xE0,
  kApp1 = 0xE1,
  kApp14 = 0xEE,
  kJpg0 = 0xF0,
  kCom = 0xFE,
};

struct FrameComponent {
  uint8_t id = 1;
  uint8_t sampling = 0x11;  // H in the high nibble, V in the low
  uint8_t tq = 0;
};

struct ScanComponent {
  uint8_t id = 1;
  uint8_t tables = 0;  // Td in the high nibble, Ta in the low
};

// Entries in coded order.
using QuantTable = std::array<uint16_t, 64>;
QuantTable flatQuant(uint16_t value);

class StreamBuilder {
 public:
  // A marker without data, and a segment with its length field before the data.
  StreamBuilder &marker(uint8_t code);
  StreamBuilder &segment(uint8_t code, const Bytes &data);
  // A segment whose length field says something else than its data.
  StreamBuilder &segmentOfLength(uint8_t code, uint16_t lengthField, const Bytes &data);
  StreamBuilder &raw(const Bytes &bytes);

  StreamBuilder &soi() { return marker(kSoi); }
  StreamBuilder &eoi() { return marker(kEoi); }
  StreamBuilder &rst(unsigned n) { return marker(static_cast<uint8_t>(kRst0 + n % 8)); }
  StreamBuilder &com(const std::string &text);
  StreamBuilder &jfif(uint8_t units = 1, uint16_t xDensity = 72, uint16_t yDensity = 72);
  StreamBuilder &adobe(uint8_t transform);
  StreamBuilder &dqt(uint8_t tq, const QuantTable &table, bool wide = false);
  // `tcTh`: class in the high nibble (0 DC, 1 AC), identifier in the low.
  StreamBuilder &dht(uint8_t tcTh, const HuffTable &table);
  StreamBuilder &dri(uint16_t interval);
  StreamBuilder &dnl(uint16_t height);
  StreamBuilder &sof(uint8_t code, uint8_t precision, uint16_t height, uint16_t width,
                     const std::vector<FrameComponent> &components);
  StreamBuilder &sos(const std::vector<ScanComponent> &components, uint8_t ss = 0, uint8_t se = 63,
                     uint8_t ahAl = 0);

  size_t size() const { return bytes_.size(); }
  const Bytes &bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

// The data of single segments, for those that are put together by hand.
Bytes dhtData(uint8_t tcTh, const HuffTable &table);
Bytes dqtData(uint8_t pqTq, const QuantTable &table);
Bytes sofData(uint8_t precision, uint16_t height, uint16_t width,
              const std::vector<FrameComponent> &components);
Bytes sosData(const std::vector<ScanComponent> &components, uint8_t ss, uint8_t se, uint8_t ahAl);

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_STREAMBUILDER_H
