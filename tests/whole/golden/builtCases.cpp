// SPDX-License-Identifier: MIT
// Streams that the library's own encoder doesn't write: every sampling layout that is read,
// other tables, 12 bits, extended sequential, what says the colour space, progressive.
#include "suite.h"
#include "support/picture.h"
#include "support/progressiveStream.h"

namespace golden {
namespace {

using jpgtest::Block;
using jpgtest::Picture;
using jpgtest::Script;
using jpgtest::StreamBuilder;

// How blocks are filled.
enum class Texture {
  kSmooth,  // few low frequencies
  kDense,   // every coefficient
  kExtreme  // far beyond those of pictures
};

Block makeBlock(Rule &rule, Texture texture) {
  Block block{};
  if (texture == Texture::kSmooth) {
    for (int32_t n = rule.between(0, 9); n > 0; n--) {
      const int32_t place = rule.between(0, 3) * 8 + rule.between(0, 3);
      block[static_cast<size_t>(place)] = rule.between(-40, 40);
    }
    block[0] = rule.between(-300, 300);
    return block;
  }
  const int32_t limit = texture == Texture::kDense ? 30 : 16000;
  for (int32_t &c : block) c = rule.between(0, 2) == 0 ? 0 : rule.between(-limit, limit);
  return block;
}

Picture makePicture(const std::vector<uint8_t> &samplings, Texture texture) {
  Picture p = jpgtest::makePicture(45, 37, samplings, jpgtest::Fill::kZero);
  Rule rule(static_cast<uint32_t>(samplings.size() * 16 + samplings[0]));
  for (jpgtest::PictureComponent &c : p.components) {
    for (Block &b : c.blocks) b = makeBlock(rule, texture);
  }
  return p;
}

Stream streamOf(const Picture &p, Bytes bytes) {
  Stream stream;
  stream.bytes = std::move(bytes);
  stream.width = p.width;
  stream.height = p.height;
  stream.components = static_cast<int32_t>(p.components.size());
  return stream;
}

void emitPicture(Suite &suite, const std::string &name, const Picture &p) {
  emitReads(suite, "built." + name, streamOf(p, jpgtest::encode(p)));
}

struct Layout {
  const char *name;
  std::vector<uint8_t> samplings;
};

std::vector<Layout> layouts() {
  return {{"grey", {0x11}},
          {"two", {0x11, 0x11}},
          {"full", {0x11, 0x11, 0x11}},
          {"wide", {0x21, 0x11, 0x11}},
          {"tall", {0x12, 0x11, 0x11}},
          {"quarter", {0x22, 0x11, 0x11}},
          {"four", {0x11, 0x11, 0x11, 0x11}}};
}

void runLayouts(Suite &suite) {
  std::vector<Layout> all = layouts();
  all.push_back({"greyLarge", {0x22}});
  all.push_back({"mixed", {0x22, 0x21, 0x12}});
  all.push_back({"large", {0x22, 0x22, 0x22}});
  all.push_back({"chromaFirst", {0x11, 0x22, 0x11}});
  all.push_back({"fourQuarter", {0x22, 0x11, 0x11, 0x22}});
  suite.setStrict(false);  // not every layout is served
  for (const Layout &layout : all) {
    emitPicture(suite, layout.name, makePicture(layout.samplings, Texture::kSmooth));
  }
  suite.setStrict(true);
}

void runTables(Suite &suite) {
  Picture p = makePicture({0x21, 0x11, 0x11}, Texture::kDense);
  emitPicture(suite, "dense", p);
  jpgtest::useOptimalTables(p);
  emitPicture(suite, "optimal", p);
  jpgtest::useLongTables(p);
  p.restartInterval = 2;
  emitPicture(suite, "longCodes", p);
  p = makePicture({0x11}, Texture::kExtreme);
  emitPicture(suite, "extreme", p);
  p = makePicture({0x22, 0x11, 0x11}, Texture::kSmooth);
  p.wideQuant = true;
  for (auto &table : p.quant) table.fill(300);
  emitPicture(suite, "wideSteps", p);
}

void runProcesses(Suite &suite) {
  Picture p = makePicture({0x22, 0x11, 0x11}, Texture::kSmooth);
  p.sof = jpgtest::kSof1;
  for (uint8_t i = 0; i < 3; i++) p.components[i].td = p.components[i].ta = p.components[i].tq = i;
  emitPicture(suite, "extended", p);
  p.precision = 12;
  emitPicture(suite, "extended12", p);
  p = makePicture({0x11}, Texture::kDense);
  p.sof = jpgtest::kSof1;
  p.precision = 12;
  p.wideQuant = true;
  emitPicture(suite, "extendedGrey12", p);
}

void runColours(Suite &suite) {
  Picture p = makePicture({0x11, 0x11, 0x11}, Texture::kSmooth);
  p.before = StreamBuilder().jfif(2, 300, 250).bytes();
  emitPicture(suite, "jfif", p);
  for (const uint8_t transform : {uint8_t{0}, uint8_t{1}, uint8_t{2}}) {
    p.before = StreamBuilder().adobe(transform).bytes();
    emitPicture(suite, "adobe" + std::to_string(transform), p);
  }
  p.before.clear();
  p.components[0].id = 'R';
  p.components[1].id = 'G';
  p.components[2].id = 'B';
  emitPicture(suite, "rgbIdentifiers", p);
}

Script scriptOf(size_t components, int32_t kind) {
  if (kind == 0) return jpgtest::spectralScript(components);
  return kind == 1 ? jpgtest::refiningScript(components) : jpgtest::partedScript(components);
}

void emitProgressive(Suite &suite, const std::string &name, const Stream &stream) {
  Digest whole, scans;
  whole.bytes(stream.bytes);
  readProgressive(suite, whole, stream, 0);
  readProgressive(suite, whole, stream, 16);
  suite.emit("progressive." + name + ".whole", whole);
  readScanByScan(suite, scans, stream);
  suite.emit("progressive." + name + ".scans", scans);
}

}  // namespace

Stream progressiveSample(int32_t components, int32_t script) {
  const std::vector<uint8_t> samplings =
      components == 1 ? std::vector<uint8_t>{0x11} : std::vector<uint8_t>{0x22, 0x11, 0x11};
  const Picture p = makePicture(samplings, Texture::kSmooth);
  return streamOf(p, jpgtest::encodeProgressive(p, scriptOf(samplings.size(), script)));
}

Stream newTablesSample() {
  const Picture p = makePicture({0x21, 0x11, 0x11}, Texture::kSmooth);
  const Bytes headers = jpgtest::progressiveHeaders(p).bytes();
  size_t tables = headers.size();  // the DHT segments end the headers
  for (size_t i = 0; i + 1 < headers.size(); i++) {
    if (headers[i] == 0xFF && headers[i + 1] == jpgtest::kDht && i < tables) tables = i;
  }
  const Bytes again(headers.begin() + static_cast<std::ptrdiff_t>(tables), headers.end());
  StreamBuilder s;
  s.raw(Bytes(headers.begin(), headers.begin() + static_cast<std::ptrdiff_t>(tables)));
  for (const jpgtest::ScanScript &scan : jpgtest::refiningScript(3)) {
    std::vector<jpgtest::ScanComponent> components;
    for (const unsigned i : scan.components) components.push_back({p.components[i].id, 0});
    s.raw(again).sos(components, scan.ss, scan.se, static_cast<uint8_t>(scan.ah << 4 | scan.al));
    s.raw(jpgtest::progressiveScan(p, scan));
  }
  return streamOf(p, s.eoi().bytes());
}

void runBuilt(Suite &suite) {
  runLayouts(suite);
  runTables(suite);
  runProcesses(suite);
  runColours(suite);
}

void runProgressive(Suite &suite) {
  static const char *const kScripts[] = {"spectral", "refining", "parted"};
  for (const Layout &layout : layouts()) {
    for (int32_t kind = 0; kind < 3; kind++) {
      Picture p = makePicture(layout.samplings, kind == 1 ? Texture::kDense : Texture::kSmooth);
      p.restartInterval = kind == 2 ? 3 : 0;
      const Script script = scriptOf(layout.samplings.size(), kind);
      emitProgressive(suite, std::string(layout.name) + "." + kScripts[kind],
                      streamOf(p, jpgtest::encodeProgressive(p, script)));
    }
  }
}

}  // namespace golden
