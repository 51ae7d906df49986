// SPDX-License-Identifier: MIT
// Lossless coding: every precision, component count and predictor, there and back.
#include <cstring>

#include "suite.h"

namespace golden {
namespace {

struct LosslessCase {
  int32_t width, height, channels, precision, predictor;
  int32_t restart;  // pixels
  int32_t band;     // lines a call, 0: all at once
  bool noHeight;    // told by DNL
};

// Samples by rule, in the machine's form.
Bytes makeSamples(const LosslessCase &c) {
  Rule rule(static_cast<uint32_t>(c.precision * 4 + c.channels));
  const int32_t mask = (1 << c.precision) - 1;
  const int32_t steep = (mask + 40) / 40;
  Bytes out;
  for (int32_t y = 0; y < c.height; y++) {
    for (int32_t x = 0; x < c.width; x++) {
      for (int32_t k = 0; k < c.channels; k++) {
        const int32_t noise = rule.between(0, steep);
        const bool wild = rule.between(0, 30) == 0;
        const int32_t anywhere = rule.between(0, mask);
        const auto word =
            static_cast<uint16_t>(wild ? anywhere : (steep * (x + 2 * y + 5 * k) + noise) & mask);
        uint8_t raw[2];
        memcpy(raw, &word, sizeof(raw));
        if (c.precision <= 8) raw[0] = static_cast<uint8_t>(word);
        out.push_back(raw[0]);
        if (c.precision > 8) out.push_back(raw[1]);
      }
    }
  }
  return out;
}

Stream encode(Suite &suite, Digest &digest, const LosslessCase &c, Bytes &samples) {
  const int32_t stride = c.width * c.channels * (c.precision > 8 ? 2 : 1);
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToMemory(0, &h));
  suite.result(digest, jpgWriteSetSpatialPredictor(h, c.predictor));
  suite.result(digest, jpgWriteSetRestartInterval(h, c.restart));
  JpgRect rect = {};
  rect.width = c.width;
  rect.height = c.noHeight ? 0 : c.height;
  rect.stride = stride;
  rect.channels = c.channels;
  rect.bitsPerSample = c.precision;
  const int32_t band = c.band > 0 ? c.band : c.height;
  for (int32_t y = 0; y < c.height; y += band) {
    rect.bits = samples.data() + y * stride;
    const int32_t lines = band < c.height - y ? band : c.height - y;
    suite.result(digest, jpgWriteSpatialFromRect(h, &rect, static_cast<uint32_t>(lines)));
  }
  void *data = nullptr;
  uint32_t size = 0;
  suite.result(digest, jpgWriteEpilogToMemory(h, &data, &size));
  Stream stream;
  stream.width = c.width;
  stream.height = c.height;
  stream.components = c.channels;
  stream.bytes = takeBlock(suite, data, size);
  digest.bytes(stream.bytes);
  return stream;
}

// The samples come back as they went in.
void requireSamples(Suite &suite, const LosslessCase &c, const Stream &stream,
                    const Bytes &samples) {
  Plane plane(c.width, c.height);
  Digest unused;
  Opened in(suite, unused, stream);
  const JpgRect rect = plane.rect(0, c.channels);
  suite.require(jpgReadSpatialToRect(in.handle(), &rect, c.height) == JPG_OK);
  const size_t rowBytes = samples.size() / static_cast<size_t>(c.height);
  for (int32_t y = 0; y < c.height; y++) {
    const uint8_t *expected = samples.data() + static_cast<size_t>(y) * rowBytes;
    suite.require(memcmp(plane.row(y), expected, rowBytes) == 0);
  }
}

void runCase(Suite &suite, Digest &digest, const LosslessCase &c) {
  Bytes samples = makeSamples(c);
  const Stream stream = encode(suite, digest, c, samples);
  if (!c.noHeight) requireSamples(suite, c, stream, samples);
  if (!c.noHeight) readLossless(suite, digest, stream, 0);
  readLossless(suite, digest, stream, c.noHeight ? 1 : 5);
}

void emitCase(Suite &suite, const char *name, const LosslessCase &c) {
  Digest digest;
  runCase(suite, digest, c);
  suite.emit(std::string("lossless.") + name, digest);
}

}  // namespace

Stream losslessSample(Suite &suite, int32_t precision, int32_t channels, int32_t predictor) {
  const LosslessCase c = {19, 13, channels, precision, predictor, 38, 0, false};
  Bytes samples = makeSamples(c);
  Digest unused;
  return encode(suite, unused, c, samples);
}

void runLossless(Suite &suite) {
  for (int32_t precision = 2; precision <= 16; precision++) {
    for (int32_t channels = 1; channels <= 4; channels++) {
      Digest digest;
      for (int32_t predictor = 1; predictor <= 7; predictor++) {
        runCase(suite, digest, {17, 11, channels, precision, predictor, 0, 0, false});
      }
      suite.emit(
          "lossless.bits" + std::to_string(precision) + ".components" + std::to_string(channels),
          digest);
    }
  }
  emitCase(suite, "bands", {23, 17, 3, 8, 4, 0, 3, false});
  emitCase(suite, "bandsOfWords", {23, 17, 1, 12, 7, 0, 4, false});
  emitCase(suite, "restartRow", {23, 17, 3, 8, 6, 23, 0, false});
  emitCase(suite, "restartRows", {23, 17, 2, 16, 5, 46, 6, false});
  emitCase(suite, "restartWithinRows", {23, 17, 1, 10, 2, 30, 0, false});
  emitCase(suite, "noHeight", {23, 17, 1, 8, 3, 0, 5, true});
  emitCase(suite, "pixel", {1, 1, 4, 16, 7, 0, 0, false});
  emitCase(suite, "strip", {200, 2, 3, 14, 1, 0, 1, false});
}

}  // namespace golden
