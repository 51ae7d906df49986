// SPDX-License-Identifier: MIT
// libjpeg-turbo, set up for the same work as the library (accurate integer transforms, chroma
// replicated or, where the job says so, interpolated, pixels with blue first) at its fastest: it
// gets the pointers of all rows at once, and an encoder's buffer is large enough for the stream.
// Compiled once for Debian's version and once for the newest.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#ifdef JPG_BENCH_LIBEXIF
#include <libexif/exif-data.h>
#endif

#include "codec.h"

#ifndef JPG_BENCH_CODEC
#define JPG_BENCH_CODEC libjpegCodec
#endif
#define TEXT_OF_VALUE(x) #x
#define TEXT_OF(x) TEXT_OF_VALUE(x)
#if LIBJPEG_TURBO_VERSION_NUMBER >= 3000000
#define JPG_BENCH_HAS_LOSSLESS 1
#else
#define JPG_BENCH_HAS_LOSSLESS 0
#endif

namespace jpgbench {
namespace {

// libjpeg calls a handler on errors, which mustn't return.
struct Failure {
  jpeg_error_mgr manager;
  std::jmp_buf back;
};

void leave(j_common_ptr info) { std::longjmp(reinterpret_cast<Failure *>(info->err)->back, 1); }

// Storage for the pointers of all rows.
uint8_t **pointRows(uint8_t *first, size_t stride, size_t count, Output *out) {
  if (out->rows.size() < count) out->rows.resize(count);
  for (size_t y = 0; y < count; y++) out->rows[y] = first + stride * y;
  return out->rows.data();
}

void readRows(jpeg_decompress_struct *info, uint8_t **rows) {
#if JPG_BENCH_HAS_LOSSLESS
  if (info->data_precision > 8) {
    while (info->output_scanline < info->output_height) {
      jpeg16_read_scanlines(info, reinterpret_cast<J16SAMPARRAY>(rows + info->output_scanline),
                            info->output_height - info->output_scanline);
    }
    return;
  }
#endif
  while (info->output_scanline < info->output_height) {
    jpeg_read_scanlines(info, rows + info->output_scanline,
                        info->output_height - info->output_scanline);
  }
}

void chooseColors(jpeg_decompress_struct *info, const Job &job) {
  if (info->num_components != 3) return;
  info->out_color_space = JCS_EXT_BGR;
  // Lossless components aren't converted.
  if (job.lossless()) info->jpeg_color_space = info->out_color_space = JCS_RGB;
}

// The work between jpeg_create_decompress() and jpeg_destroy_decompress(); no object
// with a destructor lives here, since an error jumps over it.
bool decodeInto(jpeg_decompress_struct *info, const Job &job, const uint8_t *data, size_t size,
                Output *pixels) {
  jpeg_mem_src(info, data, static_cast<unsigned long>(size));
  jpeg_read_header(info, TRUE);
  info->dct_method = JDCT_ISLOW;
  info->do_fancy_upsampling = job.smooth ? TRUE : FALSE;
  info->scale_num = 1;
  info->scale_denom = job.denominator;
  chooseColors(info, job);
  jpeg_start_decompress(info);
  const size_t stride = size_t{info->output_width} *
                        static_cast<unsigned>(info->output_components) *
                        (info->data_precision > 8 ? 2 : 1);
  uint8_t *first = roomFor(stride * info->output_height, pixels);
  readRows(info, pointRows(first, stride, info->output_height, pixels));
  jpeg_finish_decompress(info);
  return info->err->num_warnings == 0;
}

bool decodeBytes(const Job &job, const uint8_t *data, size_t size, Output *pixels) {
  jpeg_decompress_struct info;
  Failure failure;
  info.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = leave;
  volatile bool done = false;
  if (setjmp(failure.back) == 0) {
    jpeg_create_decompress(&info);
    done = decodeInto(&info, job, data, size, pixels);
  }
  jpeg_destroy_decompress(&info);
  return done;
}

#ifdef JPG_BENCH_LIBEXIF
bool decodeThumbnail(const Job &job, const Bytes &file, Output *pixels) {
  ExifData *exif = exif_data_new_from_data(file.data(), static_cast<unsigned>(file.size()));
  if (exif == nullptr) return false;
  const bool done = exif->data != nullptr && decodeBytes(job, exif->data, exif->size, pixels);
  exif_data_unref(exif);
  return done;
}
constexpr bool kReadsExif = true;
#else
bool decodeThumbnail(const Job & /*job*/, const Bytes & /*file*/, Output * /*pixels*/) {
  return false;
}
constexpr bool kReadsExif = false;
#endif

bool decode(const Job &job, const Bytes &stream, Output *pixels) {
  return job.task == Task::kExifThumbnail ? decodeThumbnail(job, stream, pixels)
                                          : decodeBytes(job, stream.data(), stream.size(), pixels);
}

// A script with spectral selection only: all DC coefficients, then luminance in two bands with
// the chroma between them.
void useSpectralScript(jpeg_compress_struct *info) {
  static const jpeg_scan_info kScript[] = {{3, {0, 1, 2}, 0, 0, 0, 0},
                                           {1, {0}, 1, 5, 0, 0},
                                           {1, {1}, 1, 63, 0, 0},
                                           {1, {2}, 1, 63, 0, 0},
                                           {1, {0}, 6, 63, 0, 0}};
  info->scan_info = kScript;
  info->num_scans = static_cast<int>(sizeof(kScript) / sizeof(*kScript));
}

void setCoding(jpeg_compress_struct *info, const Coding &coding) {
  info->dct_method = JDCT_ISLOW;
  jpeg_set_quality(info, coding.quality, TRUE);
  if (info->num_components == 3) {
    const uint32_t luma = coding.sampling >> 16 & 0xFF;
    info->comp_info[0].h_samp_factor = static_cast<int>(luma >> 4);
    info->comp_info[0].v_samp_factor = static_cast<int>(luma & 15);
  }
  if (coding.restarts) info->restart_in_rows = 1;
  if (coding.optimal) info->optimize_coding = TRUE;
  if (coding.scans == Scans::kProgressive) jpeg_simple_progression(info);
  if (coding.scans == Scans::kSpectral) useSpectralScript(info);
}

#if JPG_BENCH_HAS_LOSSLESS
void setLossless(jpeg_compress_struct *info, const Job &job) {
  if (job.channels == 3) jpeg_set_colorspace(info, JCS_RGB);
  jpeg_enable_lossless(info, job.coding.predictor, 0);
}
#else
void setLossless(jpeg_compress_struct * /*info*/, const Job & /*job*/) {}
#endif

void writeRows(jpeg_compress_struct *info, uint8_t **rows) {
#if JPG_BENCH_HAS_LOSSLESS
  if (info->data_precision > 8) {
    while (info->next_scanline < info->image_height) {
      jpeg16_write_scanlines(info, reinterpret_cast<J16SAMPARRAY>(rows + info->next_scanline),
                             info->image_height - info->next_scanline);
    }
    return;
  }
#endif
  while (info->next_scanline < info->image_height) {
    jpeg_write_scanlines(info, rows + info->next_scanline,
                         info->image_height - info->next_scanline);
  }
}

void encodeInto(jpeg_compress_struct *info, const Job &job, const Picture &picture,
                Output *stream) {
  info->image_width = picture.width;
  info->image_height = picture.height;
  info->input_components = static_cast<int>(picture.channels);
  info->in_color_space = picture.channels != 3 ? JCS_GRAYSCALE
                         : job.lossless()      ? JCS_RGB
                                               : JCS_EXT_BGR;
  info->data_precision = static_cast<int>(picture.bits);
  jpeg_set_defaults(info);
  if (job.lossless()) {
    setLossless(info, job);
  } else {
    setCoding(info, job.coding);
  }
  jpeg_start_compress(info, TRUE);
  uint8_t *first = const_cast<uint8_t *>(picture.pixels.data());
  writeRows(info, pointRows(first, picture.rowBytes(), picture.height, stream));
  jpeg_finish_compress(info);
}

// Takes the encoder's stream. The buffer is made larger than the stream, so that the encoder never
// reallocates it.
void takeStream(unsigned char *data, unsigned long size, Output *stream) {
  constexpr size_t kSpare = 65536;
  stream->size = size;
  if (data == stream->bytes.data()) return;
  stream->bytes.assign(data, data + size);
  stream->bytes.resize(size + kSpare);
  std::free(data);
}

bool encode(const Job &job, const Picture &picture, Output *stream) {
  jpeg_compress_struct info;
  Failure failure;
  info.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = leave;
  unsigned char *data = stream->bytes.empty() ? nullptr : stream->bytes.data();
  auto size = static_cast<unsigned long>(stream->bytes.size());
  const bool failed = setjmp(failure.back) != 0;
  if (!failed) {
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &data, &size);
    encodeInto(&info, job, picture, stream);
  }
  jpeg_destroy_compress(&info);
  if (!failed) takeStream(data, size, stream);
  return !failed;
}

bool can(const Job &job) {
  if (job.task == Task::kExifThumbnail) return kReadsExif;
  return JPG_BENCH_HAS_LOSSLESS != 0 || !job.lossless();
}

}  // namespace

extern const Codec *JPG_BENCH_CODEC();
JPG_BENCH_EXPORT const Codec *JPG_BENCH_CODEC() {
  static const Codec codec = {"libjpeg-turbo " TEXT_OF(LIBJPEG_TURBO_VERSION), can, decode, encode};
  return &codec;
}

}  // namespace jpgbench
