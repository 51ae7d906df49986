// SPDX-License-Identifier: MIT
// Damaged streams: the codes and the pixels stored until the damage was met.
#include "suite.h"

namespace golden {
namespace {

using Reading = void (*)(Suite &suite, Digest &digest, const Stream &stream);

void readSequential(Suite &suite, Digest &digest, const Stream &stream) {
  readWhole(suite, digest, stream);
  readBands(suite, digest, stream, 16);
}

void readHalf(Suite &suite, Digest &digest, const Stream &stream) {
  readScaled(suite, digest, stream, JPG_SCALE_HALF, 0);
}

void readAllScans(Suite &suite, Digest &digest, const Stream &stream) {
  readProgressive(suite, digest, stream, 0);
}

void readSamples(Suite &suite, Digest &digest, const Stream &stream) {
  readLossless(suite, digest, stream, 0);
}

void readBitmap(Suite &suite, Digest &digest, const Stream &stream) {
  readDib(suite, digest, stream, 8, DibWay::kSequential, 0);
}

// Cut at every sixteenth, refused for want of EOI; and with an EOI put behind the cut.
void emitCuts(Suite &suite, const std::string &name, const Stream &stream, Reading read) {
  Digest digest;
  const auto all = static_cast<std::ptrdiff_t>(stream.bytes.size());
  for (std::ptrdiff_t i = 1; i < 16; i++) {
    Stream cut = stream;
    cut.bytes.assign(stream.bytes.begin(), stream.bytes.begin() + all * i / 16);
    read(suite, digest, cut);
    cut.bytes.push_back(0xFF);
    cut.bytes.push_back(0xD9);
    read(suite, digest, cut);
  }
  suite.emit("damage.cut." + name, digest);
}

// True for the bytes of the frame header behind its marker: damaged sizes ask for memory that
// one target has and another hasn't.
bool isInFrameHeader(const Stream &stream, size_t place) {
  for (size_t i = 0; i + 20 < stream.bytes.size(); i++) {
    const bool sof =
        stream.bytes[i] == 0xFF && stream.bytes[i + 1] >= 0xC0 && stream.bytes[i + 1] <= 0xC3;
    if (sof && place >= i && place < i + 20) return true;
  }
  return false;
}

void emitFlips(Suite &suite, const std::string &name, const Stream &stream, Reading read) {
  constexpr int kFlips = 120;
  Rule rule(static_cast<uint32_t>(name.size()));
  Digest digest;
  for (int i = 0; i < kFlips; i++) {
    const size_t place = rule.next() % stream.bytes.size();
    const uint32_t bit = rule.next() % 8;
    if (isInFrameHeader(stream, place)) continue;
    Stream flipped = stream;
    flipped.bytes[place] = static_cast<uint8_t>(flipped.bytes[place] ^ (1U << bit));
    read(suite, digest, flipped);
  }
  suite.emit("damage.flipped." + name, digest);
}

void emitDamage(Suite &suite, const std::string &name, const Stream &stream, Reading read) {
  suite.setStrict(false);
  emitCuts(suite, name, stream, read);
  emitFlips(suite, name, stream, read);
  suite.setStrict(true);
}

}  // namespace

void runDamage(Suite &suite) {
  emitDamage(suite, "grey", encodeSample(suite, 1, 0x11, 0), readSequential);
  emitDamage(suite, "full", encodeSample(suite, 3, 0x111111, 0), readSequential);
  emitDamage(suite, "quarter", encodeSample(suite, 3, 0x221111, 0), readSequential);
  emitDamage(suite, "restarts", encodeSample(suite, 3, 0x221111, 2), readSequential);
  emitDamage(suite, "four", encodeSample(suite, 4, 0x11111111, 0), readSequential);
  emitDamage(suite, "half", encodeSample(suite, 3, 0x221111, 0), readHalf);
  emitDamage(suite, "bitmap", encodeSample(suite, 3, 0x221111, 3), readBitmap);
  emitDamage(suite, "progressive.spectral", progressiveSample(3, 0), readAllScans);
  emitDamage(suite, "progressive.refining", progressiveSample(3, 1), readScanByScan);
  emitDamage(suite, "progressive.parted", progressiveSample(1, 2), readAllScans);
  emitDamage(suite, "lossless", losslessSample(suite, 8, 3, 4), readSamples);
  emitDamage(suite, "lossless.words", losslessSample(suite, 12, 1, 7), readSamples);
}

}  // namespace golden
