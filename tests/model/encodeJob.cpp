// SPDX-License-Identifier: MIT
#include "model/encodeJob.h"

#include <cstdio>

#include "model/encoder.h"
#include "support/random.h"

namespace jpgtest {
namespace {

EncodeFrame frameOf(const EncodeJob &job) {
  EncodeFrame frame;
  frame.raw = job.raw;
  frame.width = job.width;
  frame.height = job.unknownHeight ? 0 : job.height;
  frame.components = job.channels;
  frame.sampling = job.channels == 1 ? 0x11 : job.sampling;
  frame.quality = job.quality;
  frame.restart = job.restart;
  for (size_t i = 0; i < job.channels; i++) {
    const int id = job.channels == 3 && job.raw ? "RGB"[i] : static_cast<int>(i) + 1;
    frame.ids.push_back(static_cast<uint8_t>(id));
  }
  return frame;
}

}  // namespace

std::string describe(const EncodeJob &job) {
  char text[160];
  std::snprintf(text, sizeof(text), "%ux%u, %u channels, sampling %08X, quality %u, restart %u%s%s",
                job.width, job.height, job.channels, job.sampling, job.quality, job.restart,
                job.raw ? ", raw" : "", job.unknownHeight ? ", DNL" : "");
  return text;
}

Bytes pixelsOf(const EncodeJob &job) {
  Bytes out;
  Random random(job.seed);
  for (uint32_t y = 0; y < job.height; y++) {
    for (uint32_t x = 0; x < job.width; x++) {
      for (uint32_t k = 0; k < job.channels; k++) {
        const uint32_t noise = random.byte();
        const uint32_t kind = (x / 8 + y / 8 + job.seed) % 4;
        const uint32_t value = kind == 0   ? noise
                               : kind == 1 ? 5 * x + 3 * y + 40 * k
                               : kind == 2 ? (k == 1 ? 255U : 0U)
                                           : (noise & 1U) * 255;
        out.push_back(static_cast<uint8_t>(value));
      }
    }
  }
  return out;
}

Bytes modelEncode(const EncodeJob &job) {
  const Bytes pixels = pixelsOf(job);
  ModelEncoder encoder;
  encoder.out().marker(0xFFD8);
  encoder.headers(frameOf(job));
  std::vector<uint32_t> bands = job.bands;
  if (bands.empty()) bands.push_back(job.height);
  const size_t stride = size_t{job.width} * job.channels;
  size_t first = 0;
  for (const uint32_t lines : bands) {
    encoder.baselineLines(pixels.data() + first * stride, static_cast<std::ptrdiff_t>(stride),
                          lines);
    first += lines;
  }
  if (job.unknownHeight) {
    encoder.out().segment(0xFFDC, {static_cast<uint8_t>(first >> 8), static_cast<uint8_t>(first)});
  }
  encoder.out().marker(0xFFD9);
  return encoder.out().take();
}

}  // namespace jpgtest
