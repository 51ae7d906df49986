// SPDX-License-Identifier: MIT
// Steps of a reader.
#include "support/stored.h"
#include "whole/patterns/steps.h"

namespace jpgtest {
namespace {

constexpr int32_t kSide = 40;  // pixels both ways that there is room for
constexpr int32_t kPixelBytes = 8;
constexpr int32_t kAllRows = kSide;
constexpr uint8_t kBefore = 0x5A;  // in the rows ahead of a call

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

bool fits(Session &s) {
  uint32_t width = 0, height = 0;
  jpgReadGetImageSize(s.handle, &width, &height);
  return width < kSide && height < kSide;
}

// Rows of a picture into memory that holds a pattern; one row more is the decoder's to use.
template <typename Read>
void readRows(Session &s, Read read) {
  if (!fits(s)) return;
  s.memory.assign(size_t{kSide} * kPixelBytes * (kSide + 2), kBefore);
  uint32_t channels = 1;
  jpgReadGetNumberOfChannels(s.handle, &channels);
  JpgRect rect = {};
  rect.width = kSide;
  rect.stride = kSide * kPixelBytes;
  rect.bitsPerPixel = static_cast<int32_t>(8 * channels);
  rect.bits = s.memory.data();
  s.good(read(s.handle, &rect));
  expectStored(s.memory.data(), s.memory.size());
  s.digest.bytes(s.memory);
}

template <int32_t kLines>
void sequential(Session &s) {
  readRows(s, [](JPGHANDLE h, const JpgRect *rect) { return jpgReadToRect(h, rect, kLines); });
}
template <int32_t kLines, int32_t kMode>
void progressive(Session &s) {
  readRows(s, [](JPGHANDLE h, const JpgRect *rect) {
    return jpgReadProgressiveToRect(h, rect, kLines, kMode);
  });
}
template <int32_t kLines, int32_t kScale>
void scaled(Session &s) {
  readRows(s, [](JPGHANDLE h, const JpgRect *rect) {
    return jpgReadScaleOutputToRect(h, rect, kLines, kScale);
  });
}
template <int32_t kLines>
void lossless(Session &s) {
  readRows(s,
           [](JPGHANDLE h, const JpgRect *rect) { return jpgReadSpatialToRect(h, rect, kLines); });
}

// A description and its pixels.
template <typename Read>
void readBitmap(Session &s, uint16_t depth, Read read) {
  Bitmap bitmap = {};
  bitmap.header.biBitCount = depth;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  if (!s.good(read(nullptr, 0, bmi))) return;
  s.digest.bytes(&bitmap.header, sizeof(bitmap.header));
  if (bitmap.header.biWidth >= kSide || bitmap.header.biHeight >= kSide) return;
  s.memory.assign(size_t{4} * kSide * kSide, kBefore);
  s.good(read(s.memory.data(), bitmap.header.biHeight, bmi));
  expectStored(s.memory.data(), s.memory.size());
  s.digest.bytes(s.memory);
}
template <uint16_t kDepth>
void sequentialBitmap(Session &s) {
  readBitmap(s, kDepth, [&s](void *bits, int32_t lines, BITMAPINFO *bmi) {
    return jpgReadToWinDIBits(s.handle, lines, bits, bmi);
  });
}
template <uint16_t kDepth, int32_t kMode>
void progressiveBitmap(Session &s) {
  readBitmap(s, kDepth, [&s](void *bits, int32_t lines, BITMAPINFO *bmi) {
    return jpgReadProgressiveToWinDIBits(s.handle, lines, bits, bmi, kMode);
  });
}
template <uint16_t kDepth>
void scaledBitmap(Session &s) {
  readBitmap(s, kDepth, [&s](void *bits, int32_t lines, BITMAPINFO *bmi) {
    return jpgReadScaleOutputToWinDIBits(s.handle, lines, bits, bmi, JPG_SCALE_HALF);
  });
}

template <uint16_t kDepth>
void thumbnail(Session &s) {
  JPGEXIFHANDLE exif = nullptr;
  if (!s.good(jpgReadExifReadAttributeProlog(s.handle, &exif))) return;
  readBitmap(s, kDepth, [exif](void *bits, int32_t /*lines*/, BITMAPINFO *bmi) {
    return jpgExifReadThumbnailToWinDIBits(exif, bits, bmi);
  });
  s.good(jpgReadExifReadAttributeEpilog(exif));
}

template <int32_t kMode>
void segment(Session &s) {
  uint16_t marker = 0;
  uint32_t length = 0, count = 0;
  uint8_t data[10] = {};
  s.good(jpgReadSeekMarkerSegment(s.handle, kMode, &marker, &length));
  s.digest.number(marker);
  s.digest.number(length);
  s.good(jpgReadReadMarkerData(s.handle, data, sizeof(data), &count));
  s.digest.number(count);
  s.digest.bytes(data, sizeof(data));
}

template <int32_t kIntervals, uint32_t kMode>
void restart(Session &s) {
  s.good(jpgReadSeekRestartMarker(s.handle, kIntervals, kMode));
}

void raw(Session &s) { s.good(jpgReadSetNoColorConversion(s.handle)); }

void piece(Session &s) {
  const size_t from = s.stream->size() / 2;
  s.good(jpgReadSetPartialBitstream(s.handle, s.stream->data() + from,
                                    static_cast<uint32_t>(s.stream->size() - from)));
}

}  // namespace

const std::vector<Step> &readerSteps() {
  static const std::vector<Step> steps = {
      {"first segment", segment<JPG_SEGMENT_FIRST>},
      {"next segment", segment<JPG_SEGMENT_NEXT>},
      {"interval 0", restart<0, JPG_RESTART_FROM_START>},
      {"interval 1", restart<1, JPG_RESTART_FROM_START>},
      {"next interval", restart<1, JPG_RESTART_FROM_CURRENT>},
      {"raw", raw},
      {"piece", piece},
      {"8 rows", sequential<8>},
      {"all rows", sequential<kAllRows>},
      {"all scans, 16 rows", progressive<16, JPG_PROGRESSIVE_ALL_SCANS>},
      {"all scans, all rows", progressive<kAllRows, JPG_PROGRESSIVE_ALL_SCANS>},
      {"next scan, 8 rows", progressive<8, JPG_PROGRESSIVE_NEXT_SCAN>},
      {"next scan, all rows", progressive<kAllRows, JPG_PROGRESSIVE_NEXT_SCAN>},
      {"an eighth", scaled<kAllRows, JPG_SCALE_EIGHTH>},
      {"a quarter, 2 rows", scaled<2, JPG_SCALE_QUARTER>},
      {"a half", scaled<kAllRows, JPG_SCALE_HALF>},
      {"full scale, 8 rows", scaled<8, JPG_SCALE_FULL>},
      {"keep a row", lossless<0>},
      {"a row", lossless<1>},
      {"all lossless rows", lossless<kAllRows>},
      {"bitmap, 8 bits", sequentialBitmap<8>},
      {"bitmap of a half, 16 bits", scaledBitmap<16>},
      {"bitmap of the next scan, 24 bits", progressiveBitmap<24, JPG_PROGRESSIVE_NEXT_SCAN>},
      {"bitmap of all scans, 8 bits", progressiveBitmap<8, JPG_PROGRESSIVE_ALL_SCANS>},
      {"thumbnail, 8 bits", thumbnail<8>},
      {"thumbnail, 24 bits", thumbnail<24>},
  };
  return steps;
}

uint64_t readBySteps(const Bytes &stream, uint32_t flags, const std::vector<const Step *> &steps) {
  Session s;
  s.stream = &stream;
  const auto size = static_cast<int32_t>(stream.size());
  if (!s.good(jpgReadPrologFromMemory(stream.data(), size, flags, &s.handle))) {
    return s.digest.value();
  }
  uint32_t values[5] = {};
  jpgReadGetImageSize(s.handle, &values[0], &values[1]);
  jpgReadGetNumberOfChannels(s.handle, &values[2]);
  jpgReadGetCodingProcess(s.handle, &values[3]);
  jpgReadGetSamplePrecision(s.handle, &values[4]);
  for (const uint32_t v : values) s.digest.number(v);
  for (const Step *step : steps) step->run(s);
  s.good(jpgReadEpilog(s.handle));
  return s.digest.value();
}

}  // namespace jpgtest
