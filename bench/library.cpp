#include "library.h"

#include "jpg.h"

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

uint32_t decodeOpen(JPGHANDLE h, uint32_t denominator, Bytes *pixels) {
  Frame f;
  uint32_t r = readFrame(h, &f);
  if (r != JPG_OK) return r;
  const int32_t scale = scaleOf(denominator);
  if (scale != JPG_SCALE_FULL) {
    r = jpgReadScaleOutputGetImageSize(h, &f.width, &f.height, scale);
    if (r != JPG_OK) return r;
  }
  const size_t row = size_t{f.width} * f.channels * (f.precision > 8 ? 2 : 1);
  // One row more: the lossless decoder reads the row behind the last one.
  if (pixels->size() < row * (f.height + 1)) pixels->resize(row * (f.height + 1));
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(f.width);
  rect.height = static_cast<int32_t>(f.height);
  rect.stride = static_cast<int32_t>(row);
  rect.bitsPerPixel = static_cast<int32_t>(8 * f.channels);
  rect.bits = pixels->data();
  return readRows(h, f, rect, scale);
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

// Ends a coding call: the stream, and true, when all went well.
bool finish(JPGHANDLE h, uint32_t coded, Bytes *stream) {
  void *data = nullptr;
  uint32_t size = 0;
  const uint32_t r = jpgWriteEpilogToMemory(h, &data, &size);
  if (data != nullptr) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    stream->assign(bytes, bytes + size);
    jpgWriteFreeBitstream(data);
  }
  return coded == JPG_OK && r == JPG_OK;
}

}  // namespace

bool decodeWithLibrary(const Bytes &stream, uint32_t denominator, Bytes *pixels) {
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(stream.size());
  if (jpgReadPrologFromMemory(stream.data(), size, 0, &h) != JPG_OK) return false;
  const uint32_t r = decodeOpen(h, denominator, pixels);
  return jpgReadEpilog(h) == JPG_OK && r == JPG_OK;
}

bool encodeWithLibrary(const Picture &picture, const Coding &coding, Bytes *stream) {
  JPGHANDLE h = nullptr;
  if (jpgWritePrologToMemory(0, &h) != JPG_OK) return false;
  uint32_t r = jpgWriteSetSubsamplingFactor(h, coding.sampling);
  if (r == JPG_OK) r = jpgWriteSetQuantizationFactor(h, coding.quality);
  const JpgRect rect = rectOf(picture);
  if (r == JPG_OK) r = jpgWriteFromRect(h, &rect, picture.height);
  return finish(h, r, stream);
}

bool encodeLosslesslyWithLibrary(const Picture &picture, int predictor, Bytes *stream) {
  JPGHANDLE h = nullptr;
  if (jpgWritePrologToMemory(0, &h) != JPG_OK) return false;
  uint32_t r = jpgWriteSetSpatialPredictor(h, predictor);
  const JpgRect rect = rectOf(picture);
  if (r == JPG_OK) r = jpgWriteSpatialFromRect(h, &rect, picture.height);
  return finish(h, r, stream);
}

}  // namespace jpgbench
