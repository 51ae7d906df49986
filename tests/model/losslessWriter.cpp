// SPDX-License-Identifier: MIT
#include "model/losslessWriter.h"

#include <cstdio>
#include <cstring>

#include "model/encoder.h"
#include "support/random.h"

namespace jpgtest {
namespace {

EncodeFrame frameOf(const SpatialJob &job) {
  EncodeFrame frame;
  frame.lossless = true;
  frame.width = job.width;
  frame.height = job.unknownHeight ? 0 : job.height;
  frame.components = job.components;
  frame.precision = job.precision;
  frame.restart = job.restart;
  frame.predictor = job.predictor;
  for (uint32_t i = 1; i <= job.components; i++) frame.ids.push_back(static_cast<uint8_t>(i));
  return frame;
}

}  // namespace

std::string describe(const SpatialJob &job) {
  char text[160];
  std::snprintf(text, sizeof(text),
                "%ux%u, %u components, %u bits, predictor %u, restart %u, kind %d", job.width,
                job.height, job.components, job.precision, job.predictor, job.restart,
                static_cast<int>(job.kind));
  return text;
}

Samples samplesOf(const SpatialJob &job) {
  Samples out;
  const int top = (1 << job.precision) - 1;
  Random random(job.precision * 977 + job.components);
  for (uint32_t y = 0; y < job.height; y++) {
    for (uint32_t x = 0; x < job.width; x++) {
      for (uint32_t k = 0; k < job.components; k++) {
        const int noise = random.between(0, top);
        const int smooth =
            static_cast<int>((x * 3 + y * 5 + k * 11) * static_cast<uint32_t>(top) / 200 +
                             random.below(4)) &
            top;
        const int extreme = (x + y + k) % 2 == 0 ? 0 : top;
        out.push_back(job.kind == Kind::kNoise    ? noise
                      : job.kind == Kind::kSmooth ? smooth
                                                  : extreme);
      }
    }
  }
  return out;
}

Bytes packed(const Samples &samples, uint32_t precision) {
  Bytes out;
  for (const int s : samples) {
    const auto word = static_cast<uint16_t>(s);
    uint8_t bytes[2];
    std::memcpy(bytes, &word, 2);
    if (precision > 8) {
      out.push_back(bytes[0]);
      out.push_back(bytes[1]);
    } else {
      out.push_back(static_cast<uint8_t>(s));
    }
  }
  return out;
}

size_t rowBytes(const SpatialJob &job) {
  return size_t{job.width} * job.components * (job.precision > 8 ? 2 : 1);
}

JpgRect rectOf(const SpatialJob &job, void *bits) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(job.width);
  rect.height = job.unknownHeight ? 0 : static_cast<int32_t>(job.height);
  rect.channels = static_cast<int32_t>(job.components);
  rect.bitsPerSample = static_cast<int32_t>(job.precision);
  rect.stride = static_cast<int32_t>(rowBytes(job));
  rect.bits = bits;
  return rect;
}

Bytes modelSpatial(const SpatialJob &job) {
  const Bytes rows = packed(samplesOf(job), job.precision);
  ModelEncoder encoder;
  encoder.out().marker(0xFFD8);
  encoder.headers(frameOf(job));
  for (uint32_t y = 0; y < job.height; y++) encoder.losslessLine(&rows[y * rowBytes(job)]);
  if (job.unknownHeight) {
    encoder.out().segment(
        0xFFDC, {static_cast<uint8_t>(job.height >> 8), static_cast<uint8_t>(job.height)});
  }
  encoder.out().marker(0xFFD9);
  return encoder.out().take();
}

}  // namespace jpgtest
