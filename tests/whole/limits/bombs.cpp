// SPDX-License-Identifier: MIT
#include "whole/limits/bombs.h"

#include "support/huffman.h"

namespace jpgtest {
namespace {

// The codes 0 and 1, both for symbol 0.
HuffTable everyBit() { return evenTable({0, 0}, 1); }

std::vector<FrameComponent> frameOf(unsigned components) {
  std::vector<FrameComponent> frame;
  for (unsigned i = 0; i < components; i++) frame.push_back({static_cast<uint8_t>(i + 1), 0x11, 0});
  return frame;
}

std::vector<ScanComponent> scanOf(unsigned components) {
  std::vector<ScanComponent> scan;
  for (unsigned i = 0; i < components; i++) scan.push_back({static_cast<uint8_t>(i + 1), 0});
  return scan;
}

}  // namespace

StreamBuilder endlessHeaders(uint8_t sof, uint16_t width, uint16_t height, unsigned components) {
  StreamBuilder s;
  s.soi().dqt(0, flatQuant(1)).sof(sof, 8, height, width, frameOf(components));
  s.dht(0x00, everyBit()).dht(0x10, everyBit());
  return s;
}

Bytes endlessStream(uint8_t sof, uint16_t width, uint16_t height, unsigned components) {
  StreamBuilder s = endlessHeaders(sof, width, height, components);
  const uint8_t first = sof == kSof3 ? 1 : 0;  // lossless: the predictor
  const uint8_t last = sof == kSof0 ? 63 : 0;
  return s.sos(scanOf(components), first, last).eoi().bytes();
}

Bytes manyScans(uint16_t side, uint32_t scans, bool tablesEach) {
  const HuffTable ends = evenTable({0xE0}, 1);  // the longest run of ended bands
  StreamBuilder s = endlessHeaders(kSof2, side, side, 1);
  s.dht(0x10, ends);
  for (uint32_t i = 0; i < scans; i++) {
    if (tablesEach && i != 0) s.dht(0x10, ends).dht(0x00, everyBit());
    s.sos(scanOf(1), 1, 63);
    s.raw({0x7F, 0xFE});  // code 0, 14 bits of 1: 32767 blocks; a bit to fill the byte
  }
  return s.eoi().bytes();
}

Bytes manyScanHeaders(uint32_t scans) {
  StreamBuilder s = endlessHeaders(kSof0, 8, 16, 1);
  s.dri(1).sos(scanOf(1)).raw({0});
  for (uint32_t i = 0; i < scans; i++) s.sos(scanOf(1));
  return s.raw({0}).eoi().bytes();
}

}  // namespace jpgtest
