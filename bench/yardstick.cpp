#include "yardstick.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace jpgbench {
namespace {

// libjpeg calls a handler on errors, which mustn't return.
struct Failure {
  jpeg_error_mgr manager;
  std::jmp_buf back;
};

void leave(j_common_ptr info) { std::longjmp(reinterpret_cast<Failure *>(info->err)->back, 1); }

// The work between jpeg_create_decompress() and jpeg_destroy_decompress(); no object
// with a destructor lives here, since an error jumps over it.
bool decodeInto(jpeg_decompress_struct *info, const Bytes &stream, uint32_t denominator,
                Bytes *pixels) {
  jpeg_mem_src(info, stream.data(), static_cast<unsigned long>(stream.size()));
  jpeg_read_header(info, TRUE);
  info->dct_method = JDCT_ISLOW;
  info->do_fancy_upsampling = FALSE;
  info->scale_num = 1;
  info->scale_denom = denominator;
  if (info->num_components == 3) info->out_color_space = JCS_EXT_BGR;
  jpeg_start_decompress(info);
  const size_t stride = size_t{info->output_width} * static_cast<unsigned>(info->output_components);
  if (stride * info->output_height > pixels->size()) pixels->resize(stride * info->output_height);
  while (info->output_scanline < info->output_height) {
    JSAMPROW row = pixels->data() + stride * info->output_scanline;
    jpeg_read_scanlines(info, &row, 1);
  }
  jpeg_finish_decompress(info);
  return info->err->num_warnings == 0;
}

void setSampling(jpeg_compress_struct *info, uint32_t sampling) {
  const uint32_t luma = sampling >> 16 & 0xFF;
  info->comp_info[0].h_samp_factor = static_cast<int>(luma >> 4);
  info->comp_info[0].v_samp_factor = static_cast<int>(luma & 15);
}

void encodeInto(jpeg_compress_struct *info, const Picture &picture, const Coding &coding) {
  info->image_width = picture.width;
  info->image_height = picture.height;
  info->input_components = static_cast<int>(picture.channels);
  info->in_color_space = picture.channels == 3 ? JCS_EXT_BGR : JCS_GRAYSCALE;
  jpeg_set_defaults(info);
  info->dct_method = JDCT_ISLOW;
  jpeg_set_quality(info, coding.quality, TRUE);
  if (picture.channels == 3) setSampling(info, coding.sampling);
  if (coding.progressive) jpeg_simple_progression(info);
  jpeg_start_compress(info, TRUE);
  const size_t stride = size_t{picture.width} * picture.channels;
  while (info->next_scanline < info->image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(picture.pixels.data()) + stride * info->next_scanline;
    jpeg_write_scanlines(info, &row, 1);
  }
  jpeg_finish_compress(info);
}

}  // namespace

bool decodeWithLibjpeg(const Bytes &stream, uint32_t denominator, Bytes *pixels) {
  jpeg_decompress_struct info;
  Failure failure;
  info.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = leave;
  bool done = false;
  if (setjmp(failure.back) == 0) {
    jpeg_create_decompress(&info);
    done = decodeInto(&info, stream, denominator, pixels);
  }
  jpeg_destroy_decompress(&info);
  return done;
}

bool encodeWithLibjpeg(const Picture &picture, const Coding &coding, Bytes *stream) {
  jpeg_compress_struct info;
  Failure failure;
  info.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = leave;
  unsigned char *data = nullptr;
  unsigned long size = 0;
  const bool failed = setjmp(failure.back) != 0;
  if (!failed) {
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &data, &size);
    encodeInto(&info, picture, coding);
  }
  jpeg_destroy_compress(&info);
  stream->assign(data, data + size);
  std::free(data);
  return !failed;
}

}  // namespace jpgbench
