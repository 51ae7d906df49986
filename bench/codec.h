// SPDX-License-Identifier: MIT
// The interface of a codec to the benchmarks: a name and its functions. Each one is a separate
// shared object, since different versions of a library export the same names.
#ifndef JPG_BENCH_CODEC_H
#define JPG_BENCH_CODEC_H

#include "picture.h"

namespace jpgbench {

constexpr uint32_t k420 = 0x00221111, k422 = 0x00211111, k444 = 0x00111111, kOne = 0x11;

enum class Scans {
  kSequential,
  kProgressive,  // libjpeg's standard script
  kSpectral      // progressive by spectral selection alone
};

// Settings for coding a picture.
struct Coding {
  int quality = 90;
  uint32_t sampling = k420;  // a byte a component, the first one highest
  Scans scans = Scans::kSequential;
  bool restarts = false;  // one interval a row of MCUs
  int predictor = 0;      // 1 to 7: lossless
  bool optimal = false;   // Huffman tables made for the picture, in sequential scans too
};

enum class Task { kDecode, kEncode, kExifThumbnail };

// A job for any number of pictures.
struct Job {
  Task task = Task::kDecode;
  Coding coding;
  uint32_t denominator = 1;  // decodes at 1, 1/2, 1/4 or 1/8
  uint32_t channels = 3;
  uint32_t bits = 8;
  bool smooth = false;  // decodes with interpolated chroma and the most exact integer transform

  bool lossless() const { return coding.predictor > 0; }
};

// Receives a result, kept from call to call: a decoder's rows or an encoder's buffer. The first
// call allocates it and has `keep` set; a codec whose result is in its own memory copies it only
// then.
struct Output {
  Bytes bytes;
  size_t size = 0;
  bool keep = true;
  std::vector<uint8_t *> rows;  // as an array of row pointers, for codecs that take one
};

// The functions return true if they succeeded without a warning.
struct Codec {
  const char *name;
  bool (*can)(const Job &job);
  // A whole stream, blue first, rows without a gap.
  bool (*decode)(const Job &job, const Bytes &stream, Output *pixels);
  bool (*encode)(const Job &job, const Picture &picture, Output *stream);
};

// The codecs of this build; others are null.
struct Codecs {
  const Codec *ours, *base, *libjpeg, *newLibjpeg, *avcodec, *dcmtk;
};
const Codecs &codecs();

// Copies a result of `size` bytes at `data`.
inline void keepBytes(const uint8_t *data, size_t size, Output *out) {
  out->size = size;
  if (out->keep) out->bytes.assign(data, data + size);
}

// Allocates so many bytes.
inline uint8_t *roomFor(size_t size, Output *out) {
  out->size = size;
  if (out->bytes.size() < size) out->bytes.resize(size);
  return out->bytes.data();
}

}  // namespace jpgbench

#define JPG_BENCH_EXPORT __attribute__((visibility("default")))

#endif
