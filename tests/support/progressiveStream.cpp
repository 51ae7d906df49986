// SPDX-License-Identifier: MIT
#include "support/progressiveStream.h"

#include <algorithm>
#include <cstdlib>

#include "support/entropy.h"

namespace jpgtest {
namespace {

constexpr unsigned kLongestRun = 0x7FFF;

std::vector<uint8_t> symbols(unsigned last) {
  std::vector<uint8_t> all;
  for (unsigned i = 0; i <= last; i++) all.push_back(static_cast<uint8_t>(i));
  return all;
}

HuffTable dcTable() { return evenTable(symbols(15), 5); }
HuffTable acTable() { return evenTable(symbols(254), 9); }

// Blocks of a scan in coded order, and after how many an MCU ends.
struct ScanBlock {
  const Block *block;
  size_t component;  // place in the scan
  bool endsMcu;
};

std::vector<ScanBlock> interleavedBlocks(const Picture &p, const ScanScript &scan) {
  std::vector<ScanBlock> out;
  for (unsigned mcu = 0; mcu < p.mcuCount(); mcu++) {
    for (size_t k = 0; k < scan.components.size(); k++) {
      const unsigned i = scan.components[k];
      const unsigned n = p.blocksInMcu(i);
      for (unsigned b = 0; b < n; b++) {
        const bool last = k + 1 == scan.components.size() && b + 1 == n;
        out.push_back({&p.components[i].blocks[mcu * n + b], k, last});
      }
    }
  }
  return out;
}

unsigned ceilDiv(unsigned n, unsigned d) { return (n + d - 1) / d; }

// A single component's blocks row by row, as far as its samples reach (T.81 A.2.2).
std::vector<ScanBlock> singleBlocks(const Picture &p, unsigned i) {
  const bool alone = p.components.size() == 1;
  const unsigned h = alone ? 1 : p.components[i].sampling >> 4;
  const unsigned v = alone ? 1 : p.components[i].sampling & 15U;
  const unsigned columns = ceilDiv(ceilDiv(p.width * h, p.hMax()), 8);
  const unsigned rows = ceilDiv(ceilDiv(p.height * v, p.vMax()), 8);
  std::vector<ScanBlock> out;
  for (unsigned row = 0; row < rows; row++) {
    for (unsigned column = 0; column < columns; column++) {
      const unsigned mcu = row / v * p.mcusPerRow() + column / h;
      const unsigned inMcu = row % v * h + column % h;
      out.push_back({&p.components[i].blocks[mcu * h * v + inMcu], 0, true});
    }
  }
  return out;
}

// Shifts DC values down with floor, AC values toward zero (T.81 G.1.2.1).
int32_t dcPart(int32_t v, unsigned al) { return v >> al; }
int32_t acPart(int32_t v, unsigned al) { return v < 0 ? -(-v >> al) : v >> al; }

class ScanCoder {
 public:
  ScanCoder(const Picture &picture, const ScanScript &scan)
      : picture_(picture), scan_(scan), dc_(codesOf(dcTable())), ac_(codesOf(acTable())) {}

  Bytes code() {
    const std::vector<ScanBlock> blocks = scan_.components.size() > 1
                                              ? interleavedBlocks(picture_, scan_)
                                              : singleBlocks(picture_, scan_.components[0]);
    for (size_t i = 0; i < blocks.size(); i++) {
      codeBlock(blocks[i]);
      if (blocks[i].endsMcu && ++mcus_ == picture_.restartInterval && i + 1 < blocks.size()) {
        restart();
      }
    }
    flushRun();
    return out_.take();
  }

 private:
  void codeBlock(const ScanBlock &b) {
    if (scan_.ss == 0) {
      codeDc(b);
      if (scan_.se != 0) out_.ac(*b.block, ac_);
    } else if (scan_.ah == 0) {
      codeAcFirst(*b.block);
    } else {
      codeAcRefine(*b.block);
    }
  }

  void codeDc(const ScanBlock &b) {
    const int32_t v = dcPart((*b.block)[0], scan_.al);
    if (scan_.ah != 0) {
      out_.bits(static_cast<uint32_t>(v) & 1, 1);
      return;
    }
    out_.dc(v - prediction_[b.component], dc_);
    prediction_[b.component] = v;
  }

  void codeAcFirst(const Block &block) {
    unsigned run = 0;
    for (unsigned k = scan_.ss; k <= scan_.se; k++) {
      const int32_t v = acPart(block[kZigzag[k]], scan_.al);
      if (v == 0) {
        run++;
        continue;
      }
      flushRun();
      for (; run > 15; run -= 16) out_.symbol(ac_, 0xF0);
      const unsigned category = categoryOf(v);
      out_.symbol(ac_, static_cast<uint8_t>(run << 4 | category));
      out_.additional(v, category);
      run = 0;
    }
    if (run > 0 && ++eobRun_ == kLongestRun) flushRun();
  }

  // The blocks that the run covers: EOBn and its bits, and the corrections of those blocks.
  void flushRun() {
    if (eobRun_ == 0) return;
    const unsigned n = categoryOf(static_cast<int32_t>(eobRun_)) - 1;
    out_.symbol(ac_, static_cast<uint8_t>(n << 4));
    out_.bits(eobRun_ & ((1U << n) - 1), n);
    eobRun_ = 0;
    for (const bool bit : runCorrections_) out_.bits(bit ? 1 : 0, 1);
    runCorrections_.clear();
  }

  bool isCorrected(const Block &block, unsigned k) const {
    return std::abs(block[kZigzag[k]]) >> (scan_.al + 1) != 0;
  }

  bool correction(const Block &block, unsigned k) const {
    return (std::abs(block[kZigzag[k]]) >> scan_.al & 1) != 0;
  }

  // Corrections of the coefficients passed follow each code (T.81 G.1.2.3).
  void codeAcRefine(const Block &block) {
    unsigned from = scan_.ss;
    unsigned zeros = 0;
    for (unsigned k = scan_.ss; k <= scan_.se; k++) {
      if (isCorrected(block, k)) continue;
      const bool fresh = std::abs(block[kZigzag[k]]) >> scan_.al == 1;
      if (!fresh && ++zeros < 16) continue;
      if (!fresh && noneFresh(block, k)) break;  // the end of the band covers the rest
      flushRun();
      if (!fresh) {
        out_.symbol(ac_, 0xF0);
      } else {
        out_.symbol(ac_, static_cast<uint8_t>(zeros << 4 | 1));
        out_.bits(block[kZigzag[k]] > 0 ? 1 : 0, 1);
      }
      for (; from <= k; from++) {
        if (isCorrected(block, from)) out_.bits(correction(block, from) ? 1 : 0, 1);
      }
      zeros = 0;
    }
    if (from > scan_.se) return;
    for (; from <= scan_.se; from++) {
      if (isCorrected(block, from)) runCorrections_.push_back(correction(block, from));
    }
    if (++eobRun_ == kLongestRun) flushRun();
  }

  bool noneFresh(const Block &block, unsigned k) const {
    for (; k <= scan_.se; k++) {
      if (!isCorrected(block, k) && std::abs(block[kZigzag[k]]) >> scan_.al == 1) return false;
    }
    return true;
  }

  void restart() {
    flushRun();
    out_.pad();
    out_.rawByte(0xFF);
    out_.rawByte(static_cast<uint8_t>(kRst0 + restarts_++ % 8));
    mcus_ = 0;
    std::fill(prediction_, prediction_ + 4, 0);
  }

  const Picture &picture_;
  const ScanScript &scan_;
  std::array<HuffCode, 256> dc_, ac_;
  EntropyWriter out_;
  int32_t prediction_[4] = {};
  unsigned eobRun_ = 0, mcus_ = 0, restarts_ = 0;
  std::vector<bool> runCorrections_;  // of the blocks in the run, in refining scans
};

}  // namespace

Script spectralScript(size_t components) {
  Script script = {{{}, 0, 0, 0, 0}};
  for (unsigned i = 0; i < components; i++) script[0].components.push_back(i);
  for (unsigned i = 0; i < components; i++) {
    script.push_back({{i}, 1, 5, 0, 0});
    script.push_back({{i}, 6, 63, 0, 0});
  }
  return script;
}

Script refiningScript(size_t components) {
  Script script = {{{}, 0, 0, 0, 2}};
  for (unsigned i = 0; i < components; i++) script[0].components.push_back(i);
  for (unsigned i = 0; i < components; i++) script.push_back({{i}, 1, 63, 0, 2});
  for (const uint8_t al : {uint8_t{1}, uint8_t{0}}) {
    script.push_back({script[0].components, 0, 0, static_cast<uint8_t>(al + 1), al});
    for (unsigned i = 0; i < components; i++) {
      script.push_back({{i}, 1, 20, static_cast<uint8_t>(al + 1), al});
      script.push_back({{i}, 21, 63, static_cast<uint8_t>(al + 1), al});
    }
  }
  return script;
}

Script partedScript(size_t components) {
  Script script;
  if (components > 2) {
    script.push_back({{0, 1}, 0, 0, 0, 1});
  } else {
    script.push_back({{0}, 0, 0, 0, 1});
  }
  for (unsigned i = components > 2 ? 2 : 1; i < components; i++) {
    script.push_back({{i}, 0, 0, 0, 1});
  }
  for (size_t i = components; i-- > 0;) {  // the last component first
    const auto c = static_cast<unsigned>(i);
    script.push_back({{c}, 2, 63, 0, 3});
    script.push_back({{c}, 1, 1, 0, 0});
    for (uint8_t al = 3; al-- > 0;) {
      script.push_back({{c}, 2, 63, static_cast<uint8_t>(al + 1), al});
    }
    script.push_back({{c}, 0, 0, 1, 0});
  }
  return script;
}

StreamBuilder progressiveHeaders(const Picture &picture) { return headersOfScans(picture, kSof2); }

StreamBuilder headersOfScans(const Picture &picture, uint8_t sof) {
  StreamBuilder s;
  s.soi().raw(picture.before);
  for (uint8_t t = 0; t < 4; t++) s.dqt(t, picture.quant[t], picture.wideQuant);
  std::vector<FrameComponent> components;
  for (const PictureComponent &c : picture.components)
    components.push_back({c.id, c.sampling, c.tq});
  s.sof(sof, picture.precision, picture.height, picture.width, components);
  s.dht(0x00, dcTable()).dht(0x10, acTable());
  if (picture.restartInterval != 0) s.dri(picture.restartInterval);
  return s;
}

Bytes progressiveScan(const Picture &picture, const ScanScript &scan) {
  return ScanCoder(picture, scan).code();
}

void putScanHeader(StreamBuilder &stream, const Picture &picture, const ScanScript &scan) {
  std::vector<ScanComponent> components;
  for (const unsigned i : scan.components) components.push_back({picture.components[i].id, 0});
  stream.sos(components, scan.ss, scan.se, static_cast<uint8_t>(scan.ah << 4 | scan.al));
}

namespace {

Bytes encodeScans(const Picture &picture, const Script &script, uint8_t sof) {
  StreamBuilder s = headersOfScans(picture, sof);
  for (const ScanScript &scan : script) {
    putScanHeader(s, picture, scan);
    s.raw(progressiveScan(picture, scan));
  }
  return s.eoi().bytes();
}

}  // namespace

Bytes encodeProgressive(const Picture &picture, const Script &script) {
  return encodeScans(picture, script, kSof2);
}

Bytes encodeInScans(const Picture &picture, const std::vector<std::vector<unsigned>> &scans) {
  Script script;
  for (const std::vector<unsigned> &components : scans) script.push_back({components, 0, 63, 0, 0});
  return encodeScans(picture, script, kSof1);
}

}  // namespace jpgtest
