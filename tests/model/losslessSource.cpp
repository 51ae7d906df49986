// SPDX-License-Identifier: MIT
#include "model/losslessSource.h"

#include "support/bytes.h"
#include "support/entropy.h"
#include "support/random.h"

namespace jpgtest {
namespace {

int floorHalf(int v) { return (v - (v % 2 != 0 && v < 0 ? 1 : 0)) / 2; }

// T.81 table H.1.
int predictionOf(int selection, int a, int b, int c) {
  const int all[] = {
      0, a, b, c, a + b - c, a + floorHalf(b - c), b + floorHalf(a - c), floorHalf(a + b)};
  return all[selection & 7];
}

// A difference of words counts modulo 2^16; -32768 is category 16 with its sixteen bits.
void put(EntropyWriter *out, int difference, const HuffTable &table, bool wide) {
  while (wide && difference > 32768) difference -= 65536;
  while (wide && difference < -32767) difference += 65536;
  const unsigned category = categoryOf(difference);
  out->symbol(codesOf(table), static_cast<uint8_t>(category));
  const int raw = difference < 0 ? difference - 1 : difference;
  out->bits(static_cast<uint32_t>(raw) & ((1U << category) - 1U), category);
}

void putRow(EntropyWriter *out, const Source &s, size_t y, bool first) {
  const size_t n = s.count(), row = s.width * n;
  for (size_t i = 0; i < row; i++) {
    const int *now = s.samples.data() + y * row + i;
    int p = s.point < s.precision ? 1 << (s.precision - s.point - 1) : 0;
    if (i >= n && first) p = now[-static_cast<std::ptrdiff_t>(n)];
    if (!first) {
      const int *above = now - row;
      p = i < n ? *above
                : predictionOf(s.predictor, now[-static_cast<std::ptrdiff_t>(n)], *above,
                               above[-static_cast<std::ptrdiff_t>(n)]);
    }
    put(out, *now - p, s.tables[s.scan[i % n].tables >> 4], s.precision > 8);
  }
}

}  // namespace

HuffTable wideTable() {
  HuffTable table;
  table.counts = {0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
  for (uint8_t v = 0; v <= 16; v++) table.values.push_back(v);
  return table;
}

void Source::useTables(const std::vector<unsigned> &selectors) {
  frame.clear();
  scan.clear();
  for (const unsigned selector : selectors) {
    FrameComponent f;
    f.id = static_cast<uint8_t>(frame.size() + 1);
    frame.push_back(f);
    ScanComponent c;
    c.id = f.id;
    c.tables = static_cast<uint8_t>(selector << 4);
    scan.push_back(c);
  }
}

void Source::fill(uint32_t seed) {
  Random random(seed);
  const int top = point < precision ? (1 << (precision - point)) - 1 : 0;
  samples.clear();
  for (size_t i = 0; i < size_t{width} * height * count(); i++) {
    samples.push_back(random.between(0, top));
  }
}

Bytes headersOf(const Source &s) {
  StreamBuilder b;
  b.soi().sof(kSof3, s.precision, s.height, s.width, s.frame);
  for (uint8_t t = 0; t < 4; t++) b.dht(t, s.tables[t]);
  if (s.restart != 0) b.dri(s.restart);
  b.sos(s.scan, s.predictor, 0, s.point);
  return b.bytes();
}

Bytes streamOf(const Source &s) {
  Bytes out = headersOf(s);
  EntropyWriter writer;
  bool first = true;
  uint32_t pixels = 0;
  unsigned restarts = 0;
  for (size_t y = 0; y < s.height; y++) {
    putRow(&writer, s, y, first);
    first = false;
    pixels += s.width;
    if (pixels != s.restart) continue;
    append(out, writer.take());
    append(out, s.between ? s.between(restarts) : StreamBuilder().rst(restarts).bytes());
    restarts++;
    pixels = 0;
    first = true;
  }
  append(out, writer.take());
  append(out, s.end);
  return out;
}

}  // namespace jpgtest
