// SPDX-License-Identifier: MIT
// Steps of a writer.
#include <cstring>

#include "support/stored.h"
#include "whole/patterns/steps.h"

namespace jpgtest {
namespace {

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

void *samples(Session &s) {
  if (s.memory.empty()) s.memory = golden::makePixels(64, 64, 3, 4);
  return s.memory.data();
}

JpgRect rectOf(Session &s, int32_t width, int32_t height, int32_t channels, int32_t bits) {
  JpgRect rect = {};
  rect.width = width;
  rect.height = height;
  rect.stride = width * channels * (bits > 8 ? 2 : 1);
  rect.bitsPerPixel = 8 * channels;
  rect.channels = channels;
  rect.bitsPerSample = bits;
  rect.bits = samples(s);
  return rect;
}

template <int32_t kWidth, int32_t kHeight, int32_t kChannels, uint32_t kLines>
void rows(Session &s) {
  const JpgRect rect = rectOf(s, kWidth, kHeight, kChannels, 8);
  s.good(jpgWriteFromRect(s.handle, &rect, kLines));
}
template <int32_t kBits, int32_t kChannels, uint32_t kLines>
void lossless(Session &s) {
  const JpgRect rect = rectOf(s, 9, 7, kChannels, kBits);
  s.good(jpgWriteSpatialFromRect(s.handle, &rect, kLines));
}
template <uint16_t kDepth, uint32_t kCompression>
void bitmap(Session &s) {
  static const uint8_t kRuns[] = {5, 1, 0, 0, 0, 2, 1, 1, 3, 2, 0, 0, 9, 3, 0, 1};
  Bitmap description = {};
  description.header.biSize = 40;
  description.header.biWidth = 9;
  description.header.biHeight = 7;
  description.header.biBitCount = kDepth;
  description.header.biCompression = kCompression;
  const bool coded = kCompression != BI_RGB;
  description.header.biSizeImage = coded ? sizeof(kRuns) : 0;
  s.good(jpgWriteFromWinDIBits(s.handle, 7, coded ? kRuns : samples(s),
                               reinterpret_cast<BITMAPINFO *>(&description)));
}

void take(Session &s, void *data, uint32_t size) {
  if (data == nullptr) return;
  expectStored(data, size);
  s.digest.bytes(data, size);
  s.good(jpgWriteFreeBitstream(data));
}

void piece(Session &s) {
  void *data = nullptr;
  uint32_t size = 0;
  if (s.good(jpgWriteGetPartialBitstream(s.handle, &data, &size))) take(s, data, size);
}

template <uint32_t kPacked>
void sampling(Session &s) {
  s.good(jpgWriteSetSubsamplingFactor(s.handle, kPacked));
}
void size(Session &s) { s.good(jpgWriteSetImageSize(s.handle, 17, 15)); }
void components(Session &s) { s.good(jpgWriteSetNumberOfComponents(s.handle, 3)); }
void interval(Session &s) { s.good(jpgWriteSetRestartInterval(s.handle, 1)); }
void quality(Session &s) { s.good(jpgWriteSetQuantizationFactor(s.handle, 100)); }
void raw(Session &s) { s.good(jpgWriteSetNoColorConversion(s.handle)); }
void predictor(Session &s) { s.good(jpgWriteSetSpatialPredictor(s.handle, 6)); }
void segment(Session &s) { s.good(jpgWriteWriteMarkerSegment(s.handle, 0xFFFE, samples(s), 4200)); }
// A header whose data are missing, and data, which may be those of no header.
void header(Session &s) { s.good(jpgWriteWriteMarkerCode(s.handle, 0xFFE5, 12)); }
void data(Session &s) {
  uint32_t count = 0;
  s.good(jpgWriteWriteMarkerData(s.handle, samples(s), 12, &count));
  s.digest.number(count);
}

}  // namespace

const std::vector<Step> &writerSteps() {
  static const std::vector<Step> steps = {
      {"size", size},
      {"three components", components},
      {"4:4:4", sampling<0x111111>},
      {"4:2:2", sampling<0x211111>},
      {"four components, 4:4:4:4", sampling<0x11111111>},
      {"interval", interval},
      {"quality", quality},
      {"raw", raw},
      {"predictor", predictor},
      {"segment", segment},
      {"header of a segment", header},
      {"data of a segment", data},
      {"piece", piece},
      {"grey 17 x 15", rows<17, 15, 1, 15>},
      {"colour 17 x 15, 8 rows", rows<17, 15, 3, 8>},
      {"colour 17 x 15", rows<17, 15, 3, 15>},
      {"colour 1 x 1", rows<1, 1, 3, 1>},
      {"colour 0 high", rows<5, 0, 3, 5>},
      {"four components", rows<9, 9, 4, 9>},
      {"lossless grey", lossless<8, 1, 7>},
      {"lossless colour, 3 rows", lossless<8, 3, 3>},
      {"lossless, 12 bits", lossless<12, 1, 7>},
      {"bitmap, 1 bit", bitmap<1, BI_RGB>},
      {"bitmap, 8 bits coded", bitmap<8, BI_RLE8>},
      {"bitmap, 4 bits coded", bitmap<4, BI_RLE4>},
      {"bitmap, 16 bits", bitmap<16, BI_RGB>},
      {"bitmap, 24 bits", bitmap<24, BI_RGB>},
      {"bitmap, 32 bits", bitmap<32, BI_RGB>},
  };
  return steps;
}

uint64_t writeBySteps(const std::vector<const Step *> &steps, uint32_t options) {
  Session s;
  s.good(jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM | options, &s.handle));
  for (const Step *step : steps) step->run(s);
  void *block = nullptr;
  uint32_t bytes = 0;
  s.good(jpgWriteEpilogToMemory(s.handle, &block, &bytes));
  s.digest.number(bytes);
  take(s, block, bytes);
  return s.digest.value();
}

}  // namespace jpgtest
