// SPDX-License-Identifier: MIT
// The library of this tree, or another build of it for a comparison.
#include "codec.h"
#include "jpg.h"

#ifndef JPG_BENCH_CODEC
#define JPG_BENCH_CODEC oursCodec
#define JPG_BENCH_NAME "ours"
#endif

namespace jpgbench {
namespace {

struct Frame {
  uint32_t width = 0, height = 0, channels = 0, precision = 0, process = 0;
};

uint32_t readFrame(JPGHANDLE h, Frame *f) {
  uint32_t r = jpgReadGetImageSize(h, &f->width, &f->height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(h, &f->channels);
  if (r == JPG_OK) r = jpgReadGetSamplePrecision(h, &f->precision);
  if (r == JPG_OK) r = jpgReadGetCodingProcess(h, &f->process);
  return r;
}

int32_t scaleOf(uint32_t denominator) {
  return denominator == 8   ? JPG_SCALE_EIGHTH
         : denominator == 4 ? JPG_SCALE_QUARTER
         : denominator == 2 ? JPG_SCALE_HALF
                            : JPG_SCALE_FULL;
}

uint32_t readRows(JPGHANDLE h, const Frame &frame, const JpgRect &rect, int32_t scale) {
  const int32_t rows = rect.height;
  if (frame.process == JPG_PROCESS_PROGRESSIVE) {
    return jpgReadProgressiveToRect(h, &rect, rows, JPG_PROGRESSIVE_ALL_SCANS);
  }
  if (frame.process == JPG_PROCESS_LOSSLESS) return jpgReadSpatialToRect(h, &rect, rows);
  if (scale != JPG_SCALE_FULL) return jpgReadScaleOutputToRect(h, &rect, rows, scale);
  return jpgReadToRect(h, &rect, rows);
}

uint32_t decodeOpen(JPGHANDLE h, uint32_t denominator, Output *pixels) {
  Frame f;
  uint32_t r = readFrame(h, &f);
  if (r != JPG_OK) return r;
  const int32_t scale = scaleOf(denominator);
  if (scale != JPG_SCALE_FULL) {
    r = jpgReadScaleOutputGetImageSize(h, &f.width, &f.height, scale);
    if (r != JPG_OK) return r;
  }
  const size_t row = size_t{f.width} * f.channels * (f.precision > 8 ? 2 : 1);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(f.width);
  rect.height = static_cast<int32_t>(f.height);
  rect.stride = static_cast<int32_t>(row);
  rect.bitsPerPixel = static_cast<int32_t>(8 * f.channels);
  // One row more: the lossless decoder reads the row behind the last one.
  rect.bits = roomFor(row * (f.height + 1), pixels);
  pixels->size = row * f.height;
  return readRows(h, f, rect, scale);
}

uint32_t thumbnailOf(JPGEXIFHANDLE exif, Output *pixels) {
  struct {
    BITMAPINFO info;
    RGBQUAD others[255];
  } bitmap = {};
  BITMAPINFOHEADER *header = &bitmap.info.bmiHeader;
  header->biBitCount = 24;
  uint32_t r = jpgExifReadThumbnailToWinDIBits(exif, nullptr, &bitmap.info);
  if (r != JPG_OK) return r;
  const size_t row = (3 * static_cast<size_t>(header->biWidth) + 3) / 4 * 4;
  uint8_t *bits = roomFor(row * static_cast<size_t>(header->biHeight), pixels);
  header->biHeight = -header->biHeight;  // top-down
  return jpgExifReadThumbnailToWinDIBits(exif, bits, &bitmap.info);
}

uint32_t decodeThumbnail(JPGHANDLE h, Output *pixels) {
  JPGEXIFHANDLE exif = nullptr;
  uint32_t r = jpgReadExifReadAttributeProlog(h, &exif);
  if (r != JPG_OK) return r;
  r = thumbnailOf(exif, pixels);
  jpgReadExifReadAttributeEpilog(exif);
  return r;
}

bool decode(const Job &job, const Bytes &stream, Output *pixels) {
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(stream.size());
  const uint32_t flags = job.smooth ? JPG_READ_ACCURATE | JPG_READ_SMOOTH : 0;
  if (jpgReadPrologFromMemory(stream.data(), size, flags, &h) != JPG_OK) return false;
  const uint32_t r = job.task == Task::kExifThumbnail ? decodeThumbnail(h, pixels)
                                                      : decodeOpen(h, job.denominator, pixels);
  return jpgReadEpilog(h) == JPG_OK && r == JPG_OK;
}

JpgRect rectOf(const Picture &picture) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(picture.width);
  rect.height = static_cast<int32_t>(picture.height);
  rect.stride = static_cast<int32_t>(picture.rowBytes());
  rect.channels = static_cast<int32_t>(picture.channels);
  rect.bitsPerSample = static_cast<int32_t>(picture.bits);
  rect.bitsPerPixel = static_cast<int32_t>(picture.channels * picture.bits);
  rect.bits = const_cast<uint8_t *>(picture.pixels.data());
  return rect;
}

uint32_t encodeOpen(JPGHANDLE h, const Coding &coding, const Picture &picture) {
  const JpgRect rect = rectOf(picture);
  if (coding.predictor > 0) {
    const uint32_t r = jpgWriteSetSpatialPredictor(h, coding.predictor);
    return r == JPG_OK ? jpgWriteSpatialFromRect(h, &rect, picture.height) : r;
  }
  uint32_t r = jpgWriteSetSubsamplingFactor(h, coding.sampling);
  if (r == JPG_OK) r = jpgWriteSetQuantizationFactor(h, coding.quality);
  return r == JPG_OK ? jpgWriteFromRect(h, &rect, picture.height) : r;
}

#ifdef JPG_WRITE_AVERAGE
constexpr bool kHasOptions = true;

// Other codecs average chroma, and make tables for all that they write progressively.
uint32_t optionsOf(const Coding &coding) {
  if (coding.scans == Scans::kProgressive) return JPG_WRITE_AVERAGE | JPG_WRITE_PROGRESSIVE;
  return coding.optimal ? JPG_WRITE_AVERAGE | JPG_WRITE_OPTIMIZE : 0;
}
#else
constexpr bool kHasOptions = false;  // an older build
uint32_t optionsOf(const Coding & /*coding*/) { return 0; }
#endif

bool encode(const Job &job, const Picture &picture, Output *stream) {
  JPGHANDLE h = nullptr;
  if (jpgWritePrologToMemory(optionsOf(job.coding), &h) != JPG_OK) return false;
  const uint32_t coded = encodeOpen(h, job.coding, picture);
  void *data = nullptr;
  uint32_t size = 0;
  const uint32_t r = jpgWriteEpilogToMemory(h, &data, &size);
  if (data == nullptr) return false;
  keepBytes(static_cast<const uint8_t *>(data), size, stream);
  jpgWriteFreeBitstream(data);
  return coded == JPG_OK && r == JPG_OK;
}

// Everything except writing with a script of the caller's, and restart intervals, which no workload
// needs.
bool can(const Job &job) {
  if (job.task != Task::kEncode) return true;
  const bool plain = job.coding.scans == Scans::kSequential && !job.coding.optimal;
  const bool served = plain || (kHasOptions && job.coding.scans != Scans::kSpectral);
  return served && !job.coding.restarts;
}

}  // namespace

extern const Codec *JPG_BENCH_CODEC();
JPG_BENCH_EXPORT const Codec *JPG_BENCH_CODEC() {
  static const Codec codec = {JPG_BENCH_NAME, can, decode, encode};
  return &codec;
}

}  // namespace jpgbench
